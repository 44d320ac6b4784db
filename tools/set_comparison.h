// Two parameter sets compared value by value, as `svodb diff` names them:
// FILE, drive, node:N or defaults[:MODEL].
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace svodb_tool {

struct DifferingParameter {
  std::string name;
  std::string first;  // as shown: a label, or a number and its unit
  std::string second;
  std::optional<double> firstValue;  // none where the set has no value for it
  std::optional<double> secondValue;
};

struct SetComparison {
  std::size_t compared = 0;  // the parameters both sets hold
  std::vector<DifferingParameter> differing;
};

// None (after saying why on standard error) when a side cannot be loaded.
// Uses offline images 1-6 for the sides that are not nodes.
std::optional<SetComparison> CompareParameterSets(const std::string& first, const std::string& second);

}  // namespace svodb_tool
