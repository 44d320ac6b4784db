// Commands that read and write the drive's values in engineering units:
// info, get, set, serial, faults and sample.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "cli.h"
#include "command_options.h"
#include "json_output.h"
#include "network.h"
#include "progress.h"
#include "safety.h"
#include "svodb/svodb.h"
#include "svodb/svodb_linux.h"
#include "values.h"

namespace svodb_tool {
namespace {

constexpr std::size_t kTextSize = 25;  // serial number and version texts

bool Connected() { return ConnectToDrive(); }

// Where get and set work: the connected drive itself, or with --node N an
// image (node 0 the drive's, 1-6 offline) through the offline functions.
struct Target {
  bool offline = false;
  int32_t (*read)(const char*, double*) = GetVariableOnline_SVODB;
  int32_t (*write)(const char*, double) = PutVariableOnline_SVODB;
};

constexpr int32_t kTheDrive = -1;  // no --node: the connected drive itself

// None when the drive or the image cannot be reached (after saying why).
std::optional<Target> ChooseTarget(int32_t node) {
  if (node == kTheDrive) return Connected() ? std::optional<Target>(Target{}) : std::nullopt;
  if (!SelectNode(node)) return std::nullopt;
  return Target{true, GetVariable_SVODB, PutVariable_SVODB};
}

CLI::Option* AddImage(CLI::App& command, int32_t& node) {
  return AddInteger(command, "--node", node, "the node", 0, 6)
      ->description("the image of node N instead of the drive: 0 the drive's, 1-6 an offline image");
}

std::string Text(int32_t (*read)(const char*, int32_t, char*), const char* name, int32_t& result) {
  char text[kTextSize] = "";
  result = read(name, 0, text);
  return text;
}

bool infoOfEveryNode = false;

void DeclareInfo(CLI::App& command) {
  infoOfEveryNode = false;
  AddEveryNode(command, infoOfEveryNode);
}

int RunInfo() {
  if (infoOfEveryNode) return InfoEveryNode();
  if (!Connected()) return kExitFailure;
  int32_t model = 0, mode = 0, driveType = 0, result = 0;
  if ((result = GetModelOnline_SVODB(&model)) != SVODB_OK) return LibraryFailure("reading the model", result);
  if ((result = GetModeOnline_SVODB(&mode)) != SVODB_OK) return LibraryFailure("reading the mode", result);
  double logicVersion = 0;
  if ((result = GetVariableOnline_SVODB("LogicVer", &logicVersion)) != SVODB_OK) {
    return LibraryFailure("reading the logic version", result);
  }
  GetDriveType_SVODB(&driveType);
  int32_t versionResult = 0, serialResult = 0;
  const std::string version = Text(GetStringOnline_SVODB, "VerLW", versionResult);
  const std::string serial = Text(GetStringOnline_SVODB, "SerialNum", serialResult);
  char message[SVODB_MESSAGE_SIZE];
  char label[SVODB_LABEL_SIZE] = "";
  const bool labelled = GetValStr_SVODB("Model", model, label);
  const ConnectionOptions& o = Connection();
  if (JsonWanted()) {
    Json info{{"model", model},
              {"model_label", labelled ? label : ""},
              {"mode", mode == 0 ? "torque" : "velocity"},
              {"logic_version", logicVersion},
              {"version_text", versionResult == SVODB_OK ? version : ""},
              {"serial_number", serialResult == SVODB_OK ? serial : ""},
              {"connection", driveType == 2 ? "network" : "serial"}};
    if (driveType != 2) info["port"] = o.port, info["baud"] = o.baudRate;
    PrintJson(info);
    return kExitOk;
  }
  std::printf("model:          %d (%s)\n", static_cast<int>(model), labelled ? label : "unknown model");
  std::printf("mode:           %d (%s)\n", static_cast<int>(mode), mode == 0 ? "torque" : "velocity");
  std::printf("logic version:  %g\n", logicVersion);
  ErrorMessage_SVODB(versionResult, message);
  std::printf("version text:   %s\n", versionResult == SVODB_OK ? version.c_str() : message);
  ErrorMessage_SVODB(serialResult, message);
  std::printf("serial number:  %s\n", serialResult == SVODB_OK ? serial.c_str() : message);
  if (driveType == 2) {
    std::printf("connection:     network\n");
  } else {
    std::printf("connection:     serial port %d at %d baud\n", static_cast<int>(o.port),
                static_cast<int>(o.baudRate));
  }
  return kExitOk;
}

// Text variables (the version text, the serial number) have no number:
// the text exports read them.
struct ReadOutcome {
  int32_t result = 0;
  double value = 0;
  std::optional<std::string> text;
};

ReadOutcome ReadVariable(const Target& target, const std::string& name) {
  ReadOutcome read;
  read.result = target.read(name.c_str(), &read.value);
  if (read.result == SVODB_OK || target.offline) return read;
  int32_t textResult = 0;
  const std::string text = Text(GetStringOnline_SVODB, name.c_str(), textResult);
  if (textResult == SVODB_OK) read = ReadOutcome{SVODB_OK, 0, text};
  return read;
}

Json ValueJson(const std::string& name, const ReadOutcome& read) {
  Json item{{"name", name}};
  if (read.text) {
    item["text"] = *read.text;
    return item;
  }
  item["value"] = read.value;
  if (IsEnumerated(name)) {
    item["label"] = LabelOf(name, static_cast<int32_t>(read.value)).value_or("");
  } else {
    item["unit"] = UnitText(name);
  }
  return item;
}

// Every variable, group by group and in the catalogue's order within a
// group; or the names asked for, as asked.
std::vector<std::string> NamesToGet(const std::vector<std::string>& names, bool all) {
  if (!all) return names;
  std::vector<std::string> grouped;
  for (const char* group : kGroups) {
    for (const std::string& name : CatalogueNames()) {
      if (GroupOf(name) == std::string_view(group)) grouped.push_back(name);
    }
  }
  return grouped;
}

struct GetOptions {
  std::vector<std::string> names;
  bool all = false;
  int32_t node = kTheDrive;
} get;

void DeclareGet(CLI::App& command) {
  get = {};
  AddVariableNames(command, "NAME", get.names, "the variables, by name in any case");
  command.add_flag("--all", get.all,
                   "every variable the drive answers, under the headings [User parameters], [Manufacturing "
                   "settings] and [Status and monitoring], in the catalogue's order within each");
  AddImage(command, get.node);
}

int RunGet() {
  const bool all = get.all;
  if (get.names.empty() == !all)
    return UsageError("get: expected variable names or --all (see svodb get --help)");
  const auto target = ChooseTarget(get.node);
  if (!target) return kExitFailure;
  int status = kExitOk;
  Json document = Json::array();
  std::string_view heading;
  for (const std::string& typed : NamesToGet(get.names, all)) {
    const std::string name = CatalogueName(typed).value_or(typed);
    const ReadOutcome read = ReadVariable(*target, name);
    if (read.result != SVODB_OK) {
      if (!all) status = LibraryFailure("get " + name, read.result);
      continue;
    }
    if (JsonWanted()) {
      document.push_back(ValueJson(name, read));
      if (all) document.back()["group"] = GroupOf(name);
    } else {
      if (all && heading != GroupOf(name)) {
        std::printf("%s[%s]\n", heading.empty() ? "" : "\n", GroupOf(name));
        heading = GroupOf(name);
      }
      std::printf("%-18s %s\n", name.c_str(),
                  read.text ? read.text->c_str() : FormatValue(name, read.value).c_str());
    }
  }
  if (JsonWanted()) PrintJson(document);
  return status;
}

struct SetOptions {
  std::string name;
  std::string value;
  int32_t node = kTheDrive;
} set;

void DeclareSet(CLI::App& command) {
  set = {};
  AddVariableName(command, "NAME", set.name);
  command.add_option("VALUE", set.value, "in engineering units, or a label of an enumerated variable")
      ->required();
  AddImage(command, set.node);
}

int RunSet() {
  const std::string name = *CatalogueName(set.name);
  // A fraction for an integer variable, or a word for a plain number, is
  // refused before the drive is touched; the labels an enumerated one takes
  // are the drive's.
  if (const std::string problem = ProblemBeforeTheDrive(name, set.value); !problem.empty())
    return UsageError("set: " + problem);
  const auto target = ChooseTarget(set.node);
  if (!target) return kExitFailure;
  std::string problem;
  const std::optional<double> value = ParseValue(name, set.value, problem);
  if (!value) return UsageError("set: " + problem);
  int32_t result = target->write(name.c_str(), *value);
  if (result != SVODB_OK) return LibraryFailure("set " + name, result);
  double back = 0;
  result = target->read(name.c_str(), &back);
  if (result != SVODB_OK) return LibraryFailure("reading " + name + " back", result);
  // The drive keeps values in its own steps: say so when the stored value
  // is not the one asked for (beyond the printed precision).
  const bool rounded = std::fabs(back - *value) > 1e-9 * (1 + std::fabs(*value));
  if (rounded) {
    std::fprintf(stderr, "svodb: set %s: asked for %s; the drive stores %s\n", name.c_str(),
                 set.value.c_str(), FormatValue(name, back).c_str());
  }
  if (JsonWanted()) {
    Json item = ValueJson(name, ReadOutcome{SVODB_OK, back, std::nullopt});
    item["asked"] = *value;
    item["rounded"] = rounded;
    PrintJson(item);
  } else {
    std::printf("%-18s %s\n", name.c_str(), FormatValue(name, back).c_str());
  }
  return kExitOk;
}

std::optional<std::string> newSerial;

void CheckSerial(const std::string& text) {
  if (text.size() > 24) throw CommandLineError("serial: a serial number has at most 24 characters");
  if (Trim(text).empty()) throw CommandLineError("serial: an empty serial number would blank the drive's");
  newSerial = text;
}

void DeclareSerial(CLI::App& command) {
  newSerial.reset();
  command.add_option_function<std::string>("TEXT", CheckSerial,
                                           "write this serial number first, at most 24 characters");
}

int RunSerial() {
  if (!Connected()) return kExitFailure;
  if (newSerial) {
    const std::string& text = *newSerial;
    int32_t read = 0;
    const std::string old = Text(GetStringOnline_SVODB, "SerialNum", read);
    if (read != SVODB_OK) return LibraryFailure("reading the serial number before the write", read);
    if (!Confirmed("replace the drive's serial number " + old + " with " + text)) return kExitUsage;
    const std::optional<Backup> backup = BackupText("serial.txt", old + "\n", "svodb serial '" + old + "'");
    if (!backup) return kExitFailure;
    ShowBackup(*backup);
    const int32_t result = PutStringOnline_SVODB("SerialNum", text.c_str());
    if (result == 12) return UsageError("serial: a serial number has at most 24 characters");
    if (result != SVODB_OK) return LibraryFailure("writing the serial number", result);
  }
  int32_t result = 0;
  const std::string serial = Text(GetStringOnline_SVODB, "SerialNum", result);
  if (result != SVODB_OK) return LibraryFailure("reading the serial number", result);
  if (JsonWanted()) {
    PrintJson(Json{{"serial_number", serial}});
  } else {
    std::printf("%s\n", serial.c_str());
  }
  return kExitOk;
}

bool allFaultRecords = false;

void DeclareFaults(CLI::App& command) {
  allFaultRecords = false;
  command.add_flag("--all", allFaultRecords, "the empty records as well");
}

// Records of the drive's fault log, 8 bytes each; an erased record reads
// all 0 or all 255.
int RunFaults() {
  const bool all = allFaultRecords;
  if (!Connected()) return kExitFailure;
  double pointer = 0;
  const int32_t result = GetVariableOnline_SVODB("FAULTHISPNTR", &pointer);
  if (result != SVODB_OK) return LibraryFailure("reading the fault pointer", result);
  Json records = Json::array();
  for (int32_t record = 0; record < 64; ++record) {
    uint8_t bytes[8] = {};
    int zeros = 0, ones = 0;
    for (int32_t b = 0; b < 8; ++b) {
      GetFaultHistory_SVODB(record, b, &bytes[b]);
      zeros += bytes[b] == 0;
      ones += bytes[b] == 255;
    }
    if (!all && (zeros == 8 || ones == 8)) continue;
    records.push_back({{"record", record}, {"bytes", std::vector<int>(std::begin(bytes), std::end(bytes))}});
  }
  std::string text = "fault pointer: " + std::to_string(static_cast<int>(pointer)) + "\nrecord  bytes 0-7\n";
  for (const Json& record : records) {
    char cell[16];
    std::snprintf(cell, sizeof cell, "%6d ", record["record"].get<int>());
    text += cell;
    for (const Json& byte : record["bytes"]) {
      std::snprintf(cell, sizeof cell, " %02X", byte.get<unsigned>());
      text += cell;
    }
    text += "\n";
  }
  PrintResult(Json{{"fault_pointer", static_cast<int>(pointer)}, {"records", records}}, text);
  return kExitOk;
}

// Runs of this many samples or more take over a second on a serial link.
constexpr int32_t kSamplesWorthProgress = 200;

struct SampleProgress {
  Progress shown;
  int32_t total = 0;
  int32_t taken = 0;
};

int ShowSampleProgress(void* context) {
  SampleProgress& progress = *static_cast<SampleProgress*>(context);
  if (progress.total >= kSamplesWorthProgress) progress.shown.Advance(++progress.taken);
  return 0;  // no message was waiting
}

struct SampleOptions {
  std::string name;
  int32_t count = 0;
} sampled;

void DeclareSample(CLI::App& command) {
  sampled = {};
  command.add_option("NAME", sampled.name, "the variable")->required();
  AddInteger(command, "N", sampled.count, "the sample count", 1, 1000000)->required();
}

int RunSample() {
  const std::string& name = sampled.name;
  const std::optional<int32_t> count = sampled.count;
  if (!Connected()) return kExitFailure;
  double mean = 0, spread = 0;
  char unit[SVODB_UNIT_SIZE] = "";
  // The library offers to handle a message once per sample: that is the
  // count the progress on standard error follows.
  SampleProgress progress{Progress("sampling", *count), *count};
  svodb_set_message_handlers(ShowSampleProgress, nullptr, &progress);
  const int32_t result = GetParmMeanRMS_SVODB(name.c_str(), *count, &mean, &spread, unit);
  svodb_set_message_handlers(nullptr, nullptr, nullptr);
  progress.shown.Finish();
  if (result != SVODB_OK) return LibraryFailure("sampling " + name, result);
  char text[256];
  std::snprintf(text, sizeof text, "%s over %d samples: mean %.6g, spread %.6g%s\n", name.c_str(),
                static_cast<int>(*count), mean, spread, unit);
  PrintResult(
      Json{{"name", name}, {"samples", *count}, {"mean", mean}, {"spread", spread}, {"unit", Trim(unit)}},
      text);
  return kExitOk;
}

// clang-format off
const Command kCommands[] = {
    {"info", "show the connected drive's model, mode, versions and serial number",
     "Reads the connected drive's model, operating mode, logic version, version text and serial number;\n"
     "with --node all of every drive that answers on the network, as one table.\n",
     RunInfo, DeclareInfo},
    {"get", "read variables of the drive in engineering units",
     "Reads each variable from the connected drive and prints its engineering value and unit, an\n"
     "enumerated value as its label and a text variable (VerLW, SerialNum) as its text; with --node N\n"
     "reads the image of node N instead. With --json: an array of {name, value, unit} ({name, value,\n"
     "label} when enumerated, {name, text}); with --all each also has its \"group\".\n",
     RunGet, DeclareGet},
    {"set", "write a variable of the drive in engineering units",
     "Writes VALUE (engineering units, or a label of an enumerated variable in any case, blanks or\n"
     "underscores alike) to the variable on the connected drive and reads it back, saying so when the\n"
     "drive stores another value; with --node N writes the image of node N instead. The working\n"
     "registers change; svodb save makes them the drive's NV. With --json: {name, value, unit or\n"
     "label, asked, rounded}.\n",
     RunSet, DeclareSet},
    {"serial", "read or write the drive's serial number",
     "Prints the drive's serial number; with TEXT writes it first, after asking on a terminal (--yes: no\n"
     "question) and saving the old number to the backups folder.\n",
     RunSerial, DeclareSerial},
    {"faults", "show the drive's fault history",
     "Prints the drive's fault pointer and the fault log's records (8 bytes each) that are not empty.\n",
     RunFaults, DeclareFaults},
    {"sample", "sample a variable for its mean and spread",
     "Reads the variable N times and prints the mean and the spread (population standard deviation).\n",
     RunSample, DeclareSample},
};
// clang-format on

}  // namespace

std::span<const Command> ValueCommands() { return kCommands; }

}  // namespace svodb_tool
