// The drive as the panel's JSON API shows it: identity, variables with
// their units, ranges and labels, writes that read back, comparisons and
// samples. Every function talks to the library; the caller holds the
// server's drive lock.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace svodb_tool {

// Model, mode, versions, serial number, connection and fault log.
nlohmann::json DriveInfo();

// Every variable of the catalogue, in catalogue order, with its group.
nlohmann::json AllVariables();
// One variable; none when the catalogue has no such name.
std::optional<nlohmann::json> OneVariable(const std::string& name);

struct WriteOutcome {
  int status = 200;  // the HTTP status
  nlohmann::json body;
};
// Writes {"value": number} or {"label": text} to the drive and reads the
// stored value back; the library checks the range.
WriteOutcome WriteVariable(const std::string& name, const nlohmann::json& request);

// The motor data block as its fields: {"fields": [{name, value, unit}]},
// value null where the block does not decode, unit "" where none is known;
// {"error", "code"} when the block cannot be read.
nlohmann::json MotorData();

// The online values of the names, read now.
nlohmann::json Sample(const std::vector<std::string>& names);

// The differing parameters of two sets named as the diff command names them;
// none when a side cannot be loaded.
std::optional<nlohmann::json> Comparison(const std::string& first, const std::string& second);

}  // namespace svodb_tool
