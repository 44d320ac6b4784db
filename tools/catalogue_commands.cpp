// svodb vars and svodb error: the catalogue and the result codes.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include "catalog/catalogue_table.h"
#include "cli.h"
#include "command_options.h"
#include "json_output.h"
#include "svodb/svodb.h"

namespace svodb_tool {
namespace {

// ---- svodb vars ------------------------------------------------------------

struct VariableRow {
  int32_t position;
  std::string name;
  std::string units;
  std::string flags;
  const char* description;
  std::string availability;  // with --drive: enabled, disabled, n/a
  std::string change;        // with --drive: static, dynamic
};

std::string Trimmed(const char* text) {
  std::string s = text == nullptr ? "" : text;
  const auto first = s.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

// The distinct unit texts of the four unit columns, joined with "/".
std::string JoinedUnits(const svodb::Units& units) {
  std::string joined;
  for (const char* unit : units) {
    const std::string text = Trimmed(unit);
    if (text.empty() || joined == text || joined.find("/" + text) != std::string::npos ||
        joined.rfind(text + "/", 0) == 0) {
      continue;
    }
    joined += (joined.empty() ? "" : "/") + text;
  }
  return joined;
}

bool Asked(bool(SVODB_CALL* query)(const char*, uint8_t*), const char* name) {
  uint8_t value = 0;
  return query(name, &value) && value != 0;
}

// The flags a user cares about: R read-only, S status, T can come from the
// motor's feedback device, E fixed while enabled, U user parameter, N kept
// in NV memory.
std::string FlagLetters(const char* name, const svodb::VariableRecord& record) {
  std::string letters = "------";
  if (Asked(ReadOnly_SVODB, name)) letters[0] = 'R';
  if (Asked(StatVar_SVODB, name)) letters[1] = 'S';
  if (Asked(TRXSelect_SVODB, name)) letters[2] = 'T';
  if (Asked(EnabledUnchange_SVODB, name)) letters[3] = 'E';
  if (record.Has(svodb::kUserFlag)) letters[4] = 'U';
  if (record.Has(svodb::kNvFlag)) letters[5] = 'N';
  return letters;
}

std::string Availability(const char* name) {
  int32_t enabled = 1;
  const int32_t result = GetParamEnabled_SVODB(name, 0, &enabled);
  if (result != SVODB_OK) return "?";
  return enabled == 1 ? "enabled" : enabled == 0 ? "disabled" : "n/a";
}

std::string Change(const char* name) {
  int32_t dynamic = 0;
  if (GetParamStaticOrDynamic_SVODB(name, &dynamic) != SVODB_OK) return "?";
  return dynamic != 0 ? "dynamic" : "static";
}

std::vector<VariableRow> CatalogueRows(bool withDrive) {
  std::vector<VariableRow> rows;
  char name[SVODB_NAME_SIZE];
  for (int32_t position = 1; position <= GetVarNum_SVODB(); ++position) {
    if (!GetVarName_SVODB(position, name)) continue;
    const svodb::VariableRecord& record = svodb::kCatalogueTable[static_cast<std::size_t>(position - 1)];
    rows.push_back({position, name, JoinedUnits(record.units), FlagLetters(name, record), record.description,
                    withDrive ? Availability(name) : "", withDrive ? Change(name) : ""});
  }
  return rows;
}

// The flag letters as booleans under stable names.
void PrintVarsJson(const std::vector<VariableRow>& rows) {
  constexpr const char* kFlagNames[] = {"read_only",           "status",         "from_feedback_device",
                                        "fixed_while_enabled", "user_parameter", "kept_in_nv"};
  Json document = Json::array();
  for (const VariableRow& row : rows) {
    Json flags = Json::object();
    for (std::size_t i = 0; i < std::size(kFlagNames); ++i) flags[kFlagNames[i]] = row.flags[i] != '-';
    Json item{{"position", row.position},
              {"name", row.name},
              {"units", row.units},
              {"flags", flags},
              {"description", row.description}};
    if (!row.availability.empty()) item["availability"] = row.availability, item["change"] = row.change;
    document.push_back(item);
  }
  PrintJson(document);
}

void PrintTable(const std::vector<VariableRow>& rows) {
  std::size_t nameWidth = 4, unitWidth = 5;
  for (const VariableRow& row : rows) {
    nameWidth = std::max(nameWidth, row.name.size());
    unitWidth = std::max(unitWidth, row.units.size());
  }
  const int nw = static_cast<int>(nameWidth), uw = static_cast<int>(unitWidth);
  const bool drive = !rows.empty() && !rows.front().availability.empty();
  std::printf("%3s  %-*s  %-*s  %-6s  ", "Pos", nw, "Name", uw, "Units", "Flags");
  if (drive) std::printf("%-8s  %-7s  ", "State", "Changes");
  std::printf("Description\n");
  for (const VariableRow& row : rows) {
    std::printf("%3d  %-*s  %-*s  %-6s  ", static_cast<int>(row.position), nw, row.name.c_str(), uw,
                row.units.c_str(), row.flags.c_str());
    if (drive) std::printf("%-8s  %-7s  ", row.availability.c_str(), row.change.c_str());
    std::printf("%s\n", row.description);
  }
  std::printf(
      "\nFlags: R read-only, S status, T from the motor's feedback device, "
      "E fixed while enabled, U user parameter, N kept in NV memory\n");
}

bool varsOfDrive = false;

void DeclareVars(CLI::App& command) {
  varsOfDrive = false;
  command.add_flag(
      "--drive", varsOfDrive,
      "add, for the connected drive, whether each variable is enabled, disabled or not applicable "
      "(n/a) and whether it changes by itself (dynamic) or only when written");
}

int RunVars() {
  const bool drive = varsOfDrive;
  if (drive && !ConnectToDrive()) return kExitFailure;
  const std::vector<VariableRow> rows = CatalogueRows(drive);
  if (JsonWanted()) {
    PrintVarsJson(rows);
  } else {
    PrintTable(rows);
  }
  return kExitOk;
}

// ---- svodb error -------------------------------------------------------------

std::string errorCode;

bool IsInt32(const std::string& text) { return ParseInt32(text).has_value(); }

void DeclareError(CLI::App& command) {
  AddWord(command, "CODE", errorCode, IsInt32, "is not a 32-bit integer")
      ->description("a result code, decimal or 0x hexadecimal")
      ->required();
}

int RunError() {
  const int32_t code = *ParseInt32(errorCode);
  char message[SVODB_MESSAGE_SIZE];
  ErrorMessage_SVODB(code, message);
  PrintResult(Json{{"code", code}, {"message", message}}, std::to_string(code) + ": " + message + "\n");
  return kExitOk;
}

// clang-format off
const Command kCommands[] = {
    {"vars", "list the variable catalogue",
     "Lists every variable: position, name, units, flags and description. With --json: an array of\n"
     "{position, name, units, flags: {read_only, status, from_feedback_device, fixed_while_enabled,\n"
     "user_parameter, kept_in_nv}, description [, availability, change]}.\n",
     RunVars, DeclareVars},
    {"error", "explain a result code",
     "Prints the library's message for a result code.\n",
     RunError, DeclareError},
};
// clang-format on

}  // namespace

std::span<const Command> CatalogueCommands() { return kCommands; }

}  // namespace svodb_tool
