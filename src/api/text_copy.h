// Copies a text result into a caller's buffer, terminator included. The
// caller's buffer size is documented per export, never passed.
#pragma once

#include <cstring>
#include <string_view>

namespace svodb::api {

inline void CopyText(std::string_view text, char* out) {
  std::memcpy(out, text.data(), text.size());
  out[text.size()] = '\0';
}

}  // namespace svodb::api
