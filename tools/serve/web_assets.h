// The panel's page, built into the binary from tools/serve/web/ so that
// nothing has to be installed beside the tool.
#pragma once

#include <cstddef>
#include <span>

namespace svodb_tool {

struct WebAsset {
  const char* path;       // e.g. "/app.js"
  const char* mediaType;  // e.g. "text/javascript"
  const char* content;
  std::size_t size;
};

std::span<const WebAsset> WebAssets();

}  // namespace svodb_tool
