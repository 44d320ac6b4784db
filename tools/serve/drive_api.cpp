#include "serve/drive_api.h"

#include <cmath>
#include <cstdint>
#include <sstream>

#include "catalog/catalogue_table.h"
#include "cli.h"
#include "enumerations.h"
#include "feedback/motor_data_block.h"
#include "serve/tool_run.h"
#include "set_comparison.h"
#include "svodb/svodb.h"
#include "values.h"

namespace svodb_tool {
namespace {

using nlohmann::json;

std::string Message(int32_t code) {
  char message[SVODB_MESSAGE_SIZE] = "";
  ErrorMessage_SVODB(code, message);
  return std::string(message) + " (code " + std::to_string(code) + ")";
}

// "key:   value" lines of a command's output as pairs.
json KeyValueLines(const std::string& text) {
  json pairs = json::array();
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    const auto colon = line.find(':');
    if (colon == std::string::npos) continue;
    pairs.push_back({Trim(line.substr(0, colon)), Trim(line.substr(colon + 1))});
  }
  return pairs;
}

bool Asked(bool(SVODB_CALL* query)(const char*, uint8_t*), const char* name) {
  uint8_t value = 0;
  return query(name, &value) && value != 0;
}

const char* Availability(const char* name) {
  int32_t enabled = 1;
  if (GetParamEnabled_SVODB(name, 0, &enabled) != SVODB_OK) return "unknown";
  return enabled == 1 ? "enabled" : enabled == 0 ? "disabled" : "not available on this model";
}

json Labels(const std::string& name) {
  json labels = json::array();
  const auto entries = EnumerationOf(name);
  if (!entries) return labels;
  for (const EnumEntry& entry : *entries) {
    if (entry.display) labels.push_back({{"value", entry.value}, {"label", *entry.display}});
  }
  return labels;
}

// The present value: a number, a text for the text variables, or why not.
void AddValue(const char* name, json& variable) {
  double value = 0;
  const int32_t result = GetVariableOnline_SVODB(name, &value);
  if (result == SVODB_OK) {
    variable["value"] = std::isfinite(value) ? json(value) : json(nullptr);
    return;
  }
  char text[SVODB_ONLINE_TEXT_SIZE] = "";
  if (GetStringOnline_SVODB(name, 0, text) == SVODB_OK) {
    variable["text"] = Trim(text);
    return;
  }
  variable["error"] = Message(result);
}

json VariableJson(const svodb::VariableRecord& record) {
  json variable = {{"name", record.name},
                   {"group", GroupOf(record.name)},
                   {"description", record.description == nullptr ? "" : record.description},
                   {"readOnly", Asked(ReadOnly_SVODB, record.name)},
                   {"availability", Availability(record.name)}};
  int32_t code = 0;
  double minimum = 0, maximum = 0, defaultValue = 0;
  char unit[SVODB_UNIT_SIZE] = "";
  if (GetProp_SVODB(record.name, &code, &minimum, &maximum, &defaultValue, unit) == SVODB_OK) {
    variable["units"] = Trim(unit);
    variable["min"] = minimum;
    variable["max"] = maximum;
    variable["default"] = defaultValue;
  }
  variable["labels"] = Labels(record.name);
  AddValue(record.name, variable);
  return variable;
}

const svodb::VariableRecord* FindRecord(const std::string& name) {
  for (const svodb::VariableRecord& record : svodb::kCatalogueTable) {
    if (record.name != nullptr && name == record.name) return &record;
  }
  return nullptr;
}

// The value a request asks for: a number, or the value of a label.
std::optional<double> RequestedValue(const std::string& name, const json& request) {
  if (!request.is_object()) return std::nullopt;
  const auto value = request.find("value");
  if (value != request.end() && value->is_number()) return value->get<double>();
  const auto label = request.find("label");
  if (label == request.end() || !label->is_string()) return std::nullopt;
  const auto entries = EnumerationOf(name);
  if (!entries) return std::nullopt;
  for (const EnumEntry& entry : *entries) {
    if (entry.display == label->get<std::string>()) return entry.value;
  }
  return std::nullopt;
}

}  // namespace

json DriveInfo() {
  const ToolRun info = RunToolCommand("info", {});
  const ToolRun faults = RunToolCommand("faults", {});
  return {{"connected", info.exitCode == kExitOk},
          {"problem", Trim(info.err)},
          {"identity", KeyValueLines(info.out)},
          {"faults", faults.exitCode == kExitOk ? faults.out : Trim(faults.err)}};
}

json AllVariables() {
  json variables = json::array();
  for (const svodb::VariableRecord& record : svodb::kCatalogueTable) {
    if (record.name == nullptr) break;
    variables.push_back(VariableJson(record));
  }
  return variables;
}

std::optional<json> OneVariable(const std::string& name) {
  const svodb::VariableRecord* record = FindRecord(name);
  if (record == nullptr) return std::nullopt;
  return VariableJson(*record);
}

WriteOutcome WriteVariable(const std::string& name, const json& request) {
  if (FindRecord(name) == nullptr) return {404, {{"error", "no variable " + name}}};
  const std::optional<double> value = RequestedValue(name, request);
  if (!value || !std::isfinite(*value)) {
    return {400, {{"error", "expected {\"value\": a number} or {\"label\": one of the variable's labels}"}}};
  }
  const int32_t result = PutVariableOnline_SVODB(name.c_str(), *value);
  if (result != SVODB_OK) return {422, {{"error", Message(result)}, {"code", result}}};
  return {200, *OneVariable(name)};
}

json MotorData() {
  int32_t result = Connect();
  if (result == SVODB_OK) result = LoadShowData_TRXMDB();
  if (result != SVODB_OK) return {{"error", Message(result)}, {"code", result}};
  json fields = json::array();
  for (const svodb::MdbField& field : svodb::kMdbFieldTable) {
    if (field.name[0] == '\0') break;
    char text[SVODB_TRX_FIELD_TEXT_SIZE] = "";
    char unit[SVODB_UNIT_SIZE] = "";
    const bool shown = GetMotorData_TRXMDB(field.name, text) == SVODB_OK;
    GetDataUnit_TRXMDB(field.name, unit);
    // The table marks a text field's unit as "...": no unit.
    const std::string known = Trim(unit) == "..." ? "" : Trim(unit);
    fields.push_back(
        {{"name", field.name}, {"value", shown ? json(Trim(text)) : json(nullptr)}, {"unit", known}});
  }
  return {{"fields", fields}};
}

json Sample(const std::vector<std::string>& names) {
  json values = json::object();
  for (const std::string& name : names) {
    double value = 0;
    const int32_t result = GetVariableOnline_SVODB(name.c_str(), &value);
    values[name] = result == SVODB_OK && std::isfinite(value) ? json(value) : json(nullptr);
  }
  return values;
}

std::optional<json> Comparison(const std::string& first, const std::string& second) {
  const std::optional<SetComparison> comparison = CompareParameterSets(first, second);
  if (!comparison) return std::nullopt;
  json rows = json::array();
  for (const DifferingParameter& row : comparison->differing) {
    rows.push_back({{"name", row.name}, {"now", row.first}, {"other", row.second}});
  }
  // The drive's working image stays current for the calls that follow.
  SetNode_SVODB(0);
  return json{{"compared", comparison->compared}, {"differing", rows}};
}

}  // namespace svodb_tool
