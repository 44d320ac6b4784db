// --json: every command that prints data prints one JSON document instead,
// with stable snake_case field names documented in the command's help.
#pragma once

#include <cstdio>

#include <nlohmann/json.hpp>

namespace svodb_tool {

using Json = nlohmann::ordered_json;

bool& JsonWanted();

inline void PrintJson(const Json& document) {
  std::printf("%s\n", document.dump(2).c_str());
}

}  // namespace svodb_tool
