// --json: every command that prints data prints one JSON document instead,
// with stable snake_case field names documented in the command's help.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

namespace svodb_tool {

using Json = nlohmann::ordered_json;

bool& JsonWanted();

inline void PrintJson(const Json& document) {
  std::printf("%s\n", document.dump(2).c_str());
}

// Under --json the document, else the text as it is.
inline void PrintResult(const Json& document, const std::string& text) {
  if (JsonWanted()) {
    PrintJson(document);
  } else {
    std::fputs(text.c_str(), stdout);
  }
}

}  // namespace svodb_tool
