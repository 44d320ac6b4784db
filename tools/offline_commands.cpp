// Commands about what a setup tool shows for a variable: enum (its values
// and labels) and props (its conversion code, limits, default and unit), on
// the connected drive or an offline image.
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "cli.h"
#include "command_options.h"
#include "enumerations.h"
#include "json_output.h"
#include "svodb/svodb.h"
#include "values.h"

namespace svodb_tool {
namespace {

// The variable and the image (node 0, the drive's, by default) both
// commands ask about.
struct VariableOptions {
  std::string name;
  int32_t node = 0;
} variable;

void DeclareVariable(CLI::App& command) {
  variable = {};
  AddVariableName(command, "NAME", variable.name);
  AddInteger(command, "--node", variable.node, "the node", 0, 6)
      ->description("the image: 0 the connected drive's (the default), 1-6 an offline image");
}

int RunEnum() {
  const std::optional<int32_t> node = variable.node;
  const std::optional<std::string> known = CatalogueName(variable.name);
  if (!SelectNode(*node)) return kExitFailure;
  const auto listed = EnumerationOf(*known);
  if (!listed) return UsageError("enum: " + *known + " has no enumeration");
  Json entries = Json::array();
  if (!JsonWanted()) std::printf("%5s  %6s  %-44s  %s\n", "Index", "Value", "Display label", "File label");
  for (const EnumEntry& entry : *listed) {
    if (JsonWanted()) {
      entries.push_back(Json{{"index", entry.index},
                             {"value", entry.value},
                             {"label", entry.display ? Json(*entry.display) : Json()},
                             {"file_label", entry.file ? Json(*entry.file) : Json()}});
      continue;
    }
    std::printf("%5d  %6d  %-44s  %s\n", static_cast<int>(entry.index), static_cast<int>(entry.value),
                entry.display.value_or("(not offered)").c_str(), entry.file.value_or("-").c_str());
  }
  if (JsonWanted()) PrintJson(entries);
  return kExitOk;
}

int RunProps() {
  const std::vector<std::string> rest{*CatalogueName(variable.name)};
  const std::optional<int32_t> node = variable.node;
  if (!SelectNode(*node)) return kExitFailure;
  int32_t code = 0;
  double minimum = 0, maximum = 0, defaultValue = 0;
  char unit[SVODB_UNIT_SIZE] = "";
  const int32_t result = GetProp_SVODB(rest[0].c_str(), &code, &minimum, &maximum, &defaultValue, unit);
  if (result != SVODB_OK && result != SVODB_SYSTEM_ERROR) return LibraryFailure("props " + rest[0], result);
  if (JsonWanted()) {
    PrintJson(Json{{"name", CatalogueName(rest[0]).value_or(rest[0])},
                   {"conversion_code", code},
                   {"minimum", minimum},
                   {"maximum", maximum},
                   {"default", defaultValue},
                   {"unit", result == SVODB_OK ? Json(Trim(unit)) : Json()}});
    return kExitOk;
  }
  std::printf(
      "name:             %s\nconversion code:  %d\nminimum:          %.10g\nmaximum:          %.10g\n"
      "default:          %.10g\nunit:             %s\n",
      rest[0].c_str(), static_cast<int>(code), minimum, maximum, defaultValue,
      result == SVODB_OK ? Trim(unit).c_str() : "(unknown: the command source cannot be read)");
  return kExitOk;
}

// clang-format off
const Command kCommands[] = {
    {"enum", "list the values and labels of an enumerated variable",
     "Lists index, value, display label and file label of each entry, as they read for the connected\n"
     "drive (node 0, the default) or for offline image N (1-6).\n",
     RunEnum, DeclareVariable},
    {"props", "show a variable's conversion code, limits, default and unit",
     "Shows the property answers a setup tool builds an input field from, for the connected drive's\n"
     "image (node 0, the default) or offline image N (1-6).\n",
     RunProps, DeclareVariable},
};
// clang-format on

}  // namespace

std::span<const Command> OfflineCommands() { return kCommands; }

}  // namespace svodb_tool
