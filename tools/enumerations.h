// The entries of an enumerated variable as the library lists them, for
// every front end that shows or takes labels.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace svodb_tool {

struct EnumEntry {
  int32_t index = 0;
  int32_t value = 0;
  std::optional<std::string> display;  // none: not offered on this drive
  std::optional<std::string> file;     // the label parameter files use
};

// The current node's entries of the variable; none when it has no
// enumeration.
std::optional<std::vector<EnumEntry>> EnumerationOf(const std::string& name);

}  // namespace svodb_tool
