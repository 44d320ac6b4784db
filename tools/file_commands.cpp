// Commands that move whole parameter sets between the drive's NV memory,
// offline images and parameter files: backup, restore, defaults and diff.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "catalog/catalogue_table.h"
#include "cli.h"
#include "command_options.h"
#include "json_output.h"
#include "network.h"
#include "progress.h"
#include "safety.h"
#include "set_comparison.h"
#include "svodb/svodb.h"
#include "svodb/svodb_linux.h"
#include "values.h"

namespace svodb_tool {
namespace {

// The first word of each kind of parameter file.
constexpr std::string_view kUserFileWord = "Drive--X700_Base_Unit";
constexpr std::string_view kMfgFileWord = "Drive--X700_Base_Unit--Mfg";

// The offline image a file is checked in before it goes to the drive; the
// library stages user files for NV in node 1 and leaves this one alone.
constexpr int32_t kCheckNode = 6;
// An offline image is a logic-3 drive until something says otherwise.
constexpr int32_t kOfflineLogic = 3;
constexpr int32_t kInitialModel = 31;
constexpr int32_t kTorqueUnits = 0;
// A result code the tool looks at: the file reader adds it to the line's own code.
constexpr int32_t kReadFileContext = 50000;
constexpr int32_t kClosingStepLine = 99;
// A model code fits the drive's 5-bit Model field.
constexpr int32_t kMaxModelCode = 31;

// ---- parameter files as text --------------------------------------------------

// A line of a parameter file as the library's reader takes it.
struct FileLine {
  int number;  // 1-based, as an editor shows it
  int kind;    // an svodb_file_line_kind
  std::string text, name, value, rest;
};

// A parameter file as the reader takes it: the header (up to and with the
// fourth line that is not skipped) and every line after it.
struct ParameterText {
  std::vector<FileLine> header;
  std::vector<FileLine> body;
};

bool IsSkippedKind(int kind) { return kind == SVODB_LINE_SKIPPED; }
bool IsSkipped(const FileLine& line) { return IsSkippedKind(line.kind); }

int TakeFileLine(void* context, const svodb_file_line* line) {
  auto& text = *static_cast<ParameterText*>(context);
  // Skipped lines before the fourth header line belong to the header.
  const auto headerLines =
      std::ranges::count_if(text.header, [](const FileLine& l) { return !IsSkipped(l); });
  const bool inHeader = line->kind == SVODB_LINE_HEADER || (IsSkippedKind(line->kind) && headerLines < 4);
  (inHeader ? text.header : text.body)
      .push_back({line->number, line->kind, line->text, line->name, line->value, line->rest});
  return 1;
}

// The file's lines as the library reads them; none when it cannot be
// opened. A line too long for the library ends the lines (loading the
// file says so).
std::optional<ParameterText> ReadParameterText(const std::string& path) {
  ParameterText text;
  if (svodb_read_file_lines(path.c_str(), TakeFileLine, &text) == SVODB_CANT_OPEN_FILE) return std::nullopt;
  return text;
}

// The line with its runs of white space made single blanks, for messages.
std::string Collapsed(const std::string& line) {
  std::string text;
  for (char c : line) {
    const bool blank = c == ' ' || c == '\t';
    if (blank && (text.empty() || text.back() == ' ')) continue;
    text += blank ? ' ' : c;
  }
  if (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

std::vector<const FileLine*> Significant(const std::vector<FileLine>& lines) {
  std::vector<const FileLine*> significant;
  for (const FileLine& line : lines)
    if (!IsSkipped(line)) significant.push_back(&line);
  return significant;
}

std::string Joined(const std::vector<FileLine>& lines) {
  std::string text;
  for (const FileLine& line : lines) text += line.text + "\n";
  return text;
}

enum class FileKind { kUser, kManufacturing, kOther };

FileKind KindOf(const ParameterText& text) {
  const auto header = Significant(text.header);
  if (header.empty()) return FileKind::kOther;
  const std::string& word = header[0]->name;
  if (word == kUserFileWord) return FileKind::kUser;
  if (word == kMfgFileWord) return FileKind::kManufacturing;
  return FileKind::kOther;
}

const char* KindName(FileKind kind) { return kind == FileKind::kManufacturing ? "manufacturing" : "user"; }

// The version the file's header gives, when it is an integer.
std::optional<int32_t> FileVersionOf(const ParameterText& text) {
  const auto header = Significant(text.header);
  if (header.size() < 2 || header[1]->name != "FileVersion") return std::nullopt;
  return ParseInt32(header[1]->value);
}

// The catalogue's spelling of the name of each parameter line.
std::vector<std::string> ParameterNames(const ParameterText& text) {
  std::vector<std::string> names;
  char name[SVODB_NAME_SIZE];
  for (const FileLine* line : Significant(text.body)) {
    const std::string& word = line->name;
    if (word.size() < SVODB_NAME_SIZE && GetStdVarName_SVODB(word.c_str(), name)) names.emplace_back(name);
  }
  return names;
}

// A file in the temporary folder, removed when it goes out of scope.
class TemporaryFile {
 public:
  TemporaryFile() {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    std::string pattern = ((error ? std::filesystem::path("/tmp") : folder) / "svodb-XXXXXX").string();
    const int descriptor = mkstemp(pattern.data());
    if (descriptor < 0) return;
    close(descriptor);
    path_ = pattern;
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!path_.empty()) std::remove(path_.c_str());
  }

  // Replaces the file's content; false (after saying why) when it cannot.
  bool Write(const std::string& text) {
    std::ofstream out;
    if (!path_.empty()) out.open(path_, std::ios::binary | std::ios::trunc);
    if (out << text && out.flush()) return true;
    std::fprintf(stderr, "svodb: cannot write a temporary file%s%s\n", path_.empty() ? "" : " ",
                 path_.c_str());
    return false;
  }
  const char* Path() const { return path_.c_str(); }

 private:
  std::string path_;
};

std::string Message(int32_t code) {
  char message[SVODB_MESSAGE_SIZE];
  ErrorMessage_SVODB(code, message);
  return message;
}

// ---- drive models ------------------------------------------------------------

std::optional<std::string> ModelFileLabel(int32_t model) {
  char label[SVODB_LABEL_SIZE] = "";
  if (model < 0 || model > kMaxModelCode || svodb_file_label("Model", model, label) != SVODB_OK)
    return std::nullopt;
  return std::string(label);
}

std::string Lowered(std::string text) {
  for (char& c : text) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

// A model code (e.g. 31) or the start of its label up to an underscore
// (e.g. "X7102" or "x7102_240Vac"), without regard to case.
std::optional<int32_t> ParseModel(const std::string& text) {
  if (const std::optional<int32_t> code = ParseInt32(text)) {
    if (ModelFileLabel(*code)) return code;
    return std::nullopt;
  }
  const std::string wanted = Lowered(text);
  for (int32_t code = 0; code <= kMaxModelCode; ++code) {
    const std::optional<std::string> label = ModelFileLabel(code);
    if (!label) continue;
    const std::string lowered = Lowered(*label);
    if (lowered == wanted || lowered.rfind(wanted + "_", 0) == 0) return code;
  }
  return std::nullopt;
}

std::string ModelName(int32_t model) {
  const std::optional<std::string> label = ModelFileLabel(model);
  return label ? *label : "model " + std::to_string(model);
}

const char* DriveTypeName(int32_t driveType) { return driveType == 2 ? "network" : "serial"; }

// ---- the drive -----------------------------------------------------------------

// Opens the connection and reads the drive's version text, which decides
// which variables the drive supports and the layout of its DeadBand. Logic
// older than 3 has no version text and needs none.
bool ConnectAndIdentify() {
  if (!ConnectToDrive()) return false;
  char text[SVODB_ONLINE_TEXT_SIZE] = "";
  const int32_t result = GetStringOnline_SVODB("VerLW", 0, text);
  if (result == SVODB_OK) return true;
  double logic = 0;
  if (result == SVODB_WRONG_LOGIC_VERSION && GetVariableOnline_SVODB("LogicVer", &logic) == SVODB_OK &&
      logic < 3)
    return true;
  LibraryFailure("reading the drive's version text", result);
  return false;
}

int32_t DriveTypeOfConnection() { return Connection().network.empty() ? 1 : 2; }

// ---- images ---------------------------------------------------------------------

// The parameters a whole image holds that a file can show: the user and the
// manufacturing file sets, as far as the logic version has them.
std::vector<std::string> FileSetNames(int32_t logic) {
  std::vector<std::string> names;
  for (const svodb::VariableRecord& record : svodb::kCatalogueTable) {
    if (record.name == nullptr) break;
    const bool user = record.Has(svodb::kUserFlag) && record.Has(svodb::kListedFlag);
    const bool inFile = record.Has(svodb::kNvFlag) && record.Has(svodb::kPresentedFlag);
    if (inFile && (user || !record.Has(svodb::kUserFlag)) && record.minLogicVersion <= logic)
      names.emplace_back(record.name);
  }
  return names;
}

bool Selected(int32_t node) {
  const int32_t result = SetNode_SVODB(node);
  if (result != SVODB_OK) LibraryFailure("selecting node " + std::to_string(node), result);
  return result == SVODB_OK;
}

// Makes the node a fresh image of a drive of the model, drive type, logic
// version and command units (0 torque/current, 1 velocity) and loads the
// factory defaults into it. The header of a parameter file is how an image
// takes all of its identity, logic version included; LogicVer then chooses
// the generation of the default tables.
bool LoadDefaultsImage(int32_t node, int32_t model, int32_t driveType, int32_t logic, int32_t units) {
  const std::optional<std::string> label = ModelFileLabel(model);
  if (!label) {
    UsageError("no model has the code " + std::to_string(model));
    return false;
  }
  SetupOfflineNode_SVODB(node);
  if (!Selected(node)) return false;
  TemporaryFile header;
  if (!header.Write(std::string(kUserFileWord) + "\nFileVersion " + std::to_string(logic) + "\nDriveModel " +
                    *label + (driveType == 2 ? " (-NET)" : " (-STD)") + "\nActiveCMDUnits " +
                    (units == 1 ? "Velocity" : "Torque/Current") + "\n")) {
    return false;
  }
  int32_t result = RDFromFileUser_SVODB(header.Path());
  if (result == SVODB_OK) result = PutVariable_SVODB("LogicVer", logic);
  if (result == SVODB_OK) result = SetParamsArray_SVODB();
  if (result != SVODB_OK) {
    LibraryFailure("loading the defaults of " + *label + " into node " + std::to_string(node), result);
    return false;
  }
  return true;
}

// A value of the current node as the tool shows it: an enumerated value by
// its label, a number with its unit.
struct ShownValue {
  int32_t result = 0;
  double value = 0;
  std::string text;

  bool SameAs(const ShownValue& other) const {
    if (result != SVODB_OK || other.result != SVODB_OK) return result == other.result;
    return value == other.value || (std::isnan(value) && std::isnan(other.value));
  }
  std::optional<double> Number() const {
    return result == SVODB_OK && std::isfinite(value) ? std::optional<double>(value) : std::nullopt;
  }
};

ShownValue ShowValue(const std::string& name) {
  ShownValue shown;
  shown.result = GetVariable_SVODB(name.c_str(), &shown.value);
  shown.text = shown.result == SVODB_OK
                   ? FormatValue(name, shown.value)
                   : "? (" + Message(shown.result) + ", code " + std::to_string(shown.result) + ")";
  return shown;
}

// ---- svodb backup ---------------------------------------------------------------

struct BackupOptions {
  std::string path;  // the file, or with --node all the folder
  bool mfg = false;
  bool everyNode = false;
} backup;

void DeclareBackup(CLI::App& command) {
  backup = {};
  command.add_option("FILE", backup.path, "the parameter file; with --node all the folder for the files")
      ->required();
  command.add_flag("--mfg", backup.mfg, "a manufacturing file of the fourteen factory settings");
  AddEveryNode(command, backup.everyNode)
      ->description(
          "every drive that answers on the network (see svodb scan), each into a file of FOLDER named by its "
          "address and serial number: node<N>-<serial>.par");
}

int BackupDrive(const std::string& file) {
  const bool mfg = backup.mfg;
  if (!MayWriteOutput("backup", file)) return kExitUsage;
  if (!ConnectAndIdentify() || !Selected(0)) return kExitFailure;
  int32_t result = 0;
  {
    const ElapsedTime elapsed("reading the drive's NV memory");
    result = mfg ? GetMfgParamsNV_SVODBT(file.c_str()) : GetUserParamsNV_SVODBT(file.c_str());
  }
  if (result != SVODB_OK) return LibraryFailure("backing up the drive's NV memory to " + file, result);
  const std::optional<ParameterText> written = ReadParameterText(file);
  const std::size_t count = written ? Significant(written->body).size() : 0;
  const std::string set = mfg ? "manufacturing" : "user";
  PrintResult(Json{{"file", file}, {"set", set}, {"parameters", count}},
              "saved " + std::to_string(count) + " " + set + " parameters of the drive's NV memory to " +
                  file + "\n");
  return kExitOk;
}

int RunBackup() {
  if (!backup.everyNode) return BackupDrive(backup.path);
  if (!EveryNodeReachable("backup")) return kExitUsage;
  return BackupEveryNode(backup.path, BackupDrive);
}

// ---- svodb restore ---------------------------------------------------------------

// The drive keeps its command scaling as two counts that a user file's
// CmdGain, CmdOffset and CmdSrc lines set together; a file without all
// three would give the drive counts computed from no gain at all.
bool HasCommandScaling(const std::string& file, const std::vector<std::string>& names) {
  std::string missing;
  for (const char* name : {"CmdGain", "CmdOffset", "CmdSrc"}) {
    if (std::ranges::find(names, name) == names.end())
      missing += std::string(missing.empty() ? "" : ", ") + name;
  }
  if (missing.empty()) return true;
  std::fprintf(stderr,
               "svodb: %s: no line for %s: a user file sets the drive's command scaling from CmdGain, "
               "CmdOffset and CmdSrc together\n",
               file.c_str(), missing.c_str());
  return false;
}

// Loads the file into the check node; the library's code.
int32_t LoadForCheck(const char* path, bool mfg) {
  SetupOfflineNode_SVODB(kCheckNode);
  SetNode_SVODB(kCheckNode);
  return mfg ? RDFromFileMfg_SVODB(path) : RDFromFileUser_SVODB(path);
}

// Lines that load but may not say what the writer meant: a name listed
// twice (the later line wins) and a number without the unit column its
// variable has (a line cut short looks just like that).
void WarnAboutLines(const std::string& file, const ParameterText& text) {
  std::vector<std::pair<std::string, int>> seen;
  char name[SVODB_NAME_SIZE];
  for (const FileLine* line : Significant(text.body)) {
    const std::string& word = line->name;
    if (word.size() >= SVODB_NAME_SIZE || !GetStdVarName_SVODB(word.c_str(), name)) continue;
    const auto first = std::ranges::find(seen, std::string(name), &std::pair<std::string, int>::first);
    if (first != seen.end()) {
      std::fprintf(stderr,
                   "svodb: warning: %s:%d: %s is listed again (first on line %d); the later line wins\n",
                   file.c_str(), line->number, name, first->second);
    } else {
      seen.emplace_back(name, line->number);
    }
    const std::string& value = line->value;
    const bool hasUnit = line->rest.find_first_not_of(" \t\r\n\v\f") != std::string::npos;
    const bool numeric = !value.empty() && (std::isdigit(static_cast<unsigned char>(value[0])) ||
                                            value[0] == '-' || value[0] == '.');
    if (numeric && !hasUnit && !UnitText(name).empty()) {
      std::fprintf(stderr, "svodb: warning: %s:%d: %s = %s has no unit column (%s); is the line cut short?\n",
                   file.c_str(), line->number, name, value.c_str(), UnitText(name).c_str());
    }
  }
}

// Checks a parameter file without the drive and reports every line that
// fails. The reader stops at the first failing line, so each line is loaded
// on its own behind the file's header, and then the file as a whole.
bool CheckParameterFile(const std::string& file, bool mfg) {
  const std::optional<ParameterText> text = ReadParameterText(file);
  if (!text) {
    std::fprintf(stderr, "svodb: restore: cannot open %s\n", file.c_str());
    return false;
  }
  const FileKind kind = KindOf(*text);
  if (kind != FileKind::kOther && (kind == FileKind::kManufacturing) != mfg) {
    std::fprintf(stderr, "svodb: %s: this is a %s file; %s\n", file.c_str(), KindName(kind),
                 mfg ? "leave out --mfg" : "restore it with --mfg");
    return false;
  }
  TemporaryFile scratch;
  if (!scratch.Write(Joined(text->header))) return false;
  const int32_t headerResult = LoadForCheck(scratch.Path(), mfg);
  if (headerResult != SVODB_OK) {
    std::fprintf(stderr, "%s: the header: %s (code %d)\n", file.c_str(), Message(headerResult).c_str(),
                 static_cast<int>(headerResult));
    return false;
  }
  int failures = 0;
  for (const FileLine& line : text->body) {
    if (line.text.find_first_not_of(" \t\v\f") == std::string::npos) continue;
    if (!scratch.Write(Joined(text->header) + line.text + "\n")) return false;
    const int32_t result = LoadForCheck(scratch.Path(), mfg);
    if (result == SVODB_OK) continue;
    ++failures;
    // One line behind the header fails as the file's first parameter line
    // (50000 + 100 + code) or in the closing step that follows it (99).
    const int32_t inner = result - kReadFileContext;
    const int32_t lineCode = inner > 0 && inner < 10000 ? inner % 100 : result;
    const bool closing = inner > 0 && inner / 100 == kClosingStepLine;
    std::fprintf(stderr, "%s:%d: %s: %s%s (code %d)\n", file.c_str(), line.number,
                 Collapsed(line.text).c_str(),
                 closing ? "the command scaling it leads to cannot be set: " : "", Message(lineCode).c_str(),
                 static_cast<int>(lineCode));
  }
  const int32_t whole = LoadForCheck(file.c_str(), mfg);
  if (whole != SVODB_OK && failures == 0) {
    std::fprintf(stderr, "%s: %s (code %d)\n", file.c_str(), Message(whole).c_str(), static_cast<int>(whole));
    return false;
  }
  if (failures > 0) {
    std::fprintf(stderr, "svodb: %s: %d line%s fail%s\n", file.c_str(), failures, failures == 1 ? "" : "s",
                 failures == 1 ? "s" : "");
    return false;
  }
  if (!mfg && !HasCommandScaling(file, ParameterNames(*text))) return false;
  WarnAboutLines(file, *text);
  int32_t model = 0;
  GetModel_SVODB(&model);
  // Under --json the restore's document says it.
  if (!JsonWanted())
    std::printf("%s: every line loads (%s file for %s, %zu parameters)\n", file.c_str(),
                mfg ? "manufacturing" : "user", ModelName(model).c_str(), ParameterNames(*text).size());
  std::fflush(stdout);  // before any complaint of the drive's
  return true;
}

// ---- the restore plan -------------------------------------------------------------

// The images a plan compares: the drive's NV as it is, and as it will be
// with the file loaded on top (as the restore itself loads it).
constexpr int32_t kNowNode = 4;
constexpr int32_t kAfterNode = 5;

struct PlanRow {
  std::string name;
  ShownValue now;
  ShownValue after;
  std::string asked;  // the file's text where the stored value differs from it
};

// What a restore of a file would do to the connected drive, found without
// writing anything; a dry run and the real restore both print it.
struct RestorePlan {
  std::string fileModel, driveModel;
  std::vector<PlanRow> changes;
  std::size_t parameterCount = 0;
};

int32_t ReadNvInto(int32_t node, bool mfg) {
  SetupOfflineNode_SVODB(node);
  const int32_t result = SetNode_SVODB(node);
  if (result != SVODB_OK) return result;
  return mfg ? RDFromNVMfg_SVODB() : RDFromNVUser_SVODB();
}

std::optional<double> FileNumber(const ParameterText& text, const std::string& name) {
  std::optional<double> number;
  char standard[SVODB_NAME_SIZE];
  for (const FileLine* line : Significant(text.body)) {
    const std::string& word = line->name;
    if (word.size() >= SVODB_NAME_SIZE || !GetStdVarName_SVODB(word.c_str(), standard) || name != standard)
      continue;
    std::istringstream fields(line->value);
    double value = 0;
    number = fields >> value ? std::optional<double>(value) : std::nullopt;
  }
  return number;
}

// A file of a newer logic version sets parameters that the drive lacks and
// that a restore would drop without a word; an older one the library
// converts. False after saying why.
bool FileLogicFitsDrive(const std::string& file) {
  const std::optional<ParameterText> text = ReadParameterText(file);
  const std::optional<int32_t> fileLogic = text ? FileVersionOf(*text) : std::nullopt;
  double driveLogic = 0;
  const int32_t result = GetVariableOnline_SVODB("LogicVer", &driveLogic);
  if (result != SVODB_OK) return LibraryFailure("reading the drive's logic version", result) == kExitOk;
  if (!fileLogic || *fileLogic <= static_cast<int32_t>(driveLogic)) return true;
  std::fprintf(stderr, "svodb: restore: %s is for logic %d; the drive has logic %d\n", file.c_str(),
               static_cast<int>(*fileLogic), static_cast<int>(driveLogic));
  return false;
}

// The model, drive type and logic version the file names (from the check
// image) against the connected drive's; none after saying why they differ.
bool FileFitsDrive(const std::string& file, RestorePlan& plan) {
  int32_t fileModel = 0, driveModel = 0, fileType = 0;
  SetNode_SVODB(kCheckNode);
  GetModel_SVODB(&fileModel);
  GetDriveType_SVODB(&fileType);
  int32_t result = GetModelOnline_SVODB(&driveModel);
  if (result != SVODB_OK) return LibraryFailure("reading the drive's model", result) == kExitOk;
  plan.fileModel = ModelName(fileModel);
  plan.driveModel = ModelName(driveModel);
  if (fileModel != driveModel) {
    std::fprintf(stderr, "svodb: restore: %s is for %s; the drive is %s\n", file.c_str(),
                 plan.fileModel.c_str(), plan.driveModel.c_str());
    return false;
  }
  if (fileType != 0 && fileType != DriveTypeOfConnection()) {
    std::fprintf(stderr, "svodb: restore: %s is for a %s drive; this one is on a %s connection\n",
                 file.c_str(), DriveTypeName(fileType), DriveTypeName(DriveTypeOfConnection()));
    return false;
  }
  return FileLogicFitsDrive(file);
}

std::optional<RestorePlan> MakeRestorePlan(const std::string& file, bool mfg) {
  RestorePlan plan;
  if (!FileFitsDrive(file, plan)) return std::nullopt;
  int32_t result = ReadNvInto(kNowNode, mfg);
  if (result == SVODB_OK) result = ReadNvInto(kAfterNode, mfg);
  if (result != SVODB_OK) {
    LibraryFailure("reading the drive's NV memory", result);
    return std::nullopt;
  }
  result = mfg ? RDFromFileMfg_SVODB(file.c_str()) : RDFromFileUser_SVODB(file.c_str());
  if (result != SVODB_OK) {
    LibraryFailure("loading " + file + " over the drive's NV", result);
    return std::nullopt;
  }
  const std::optional<ParameterText> text = ReadParameterText(file);
  const std::vector<std::string> names = text ? ParameterNames(*text) : std::vector<std::string>{};
  plan.parameterCount = std::set<std::string>(names.begin(), names.end()).size();
  for (const std::string& name : std::set<std::string>(names.begin(), names.end())) {
    PlanRow row{name, {}, {}, ""};
    SetNode_SVODB(kAfterNode);
    row.after = ShowValue(name);
    const std::optional<double> asked = FileNumber(*text, name);
    // The file's six decimals against the stored value: a difference
    // beyond the file's own rounding is the drive's step.
    const bool enumerated = UnitText(name).empty();
    if (asked && !enumerated && row.after.result == SVODB_OK &&
        std::fabs(*asked - row.after.value) > 1e-6 * (1 + std::fabs(*asked))) {
      char number[32];
      std::snprintf(number, sizeof number, "%.10g", *asked);
      row.asked = number;
    }
    SetNode_SVODB(kNowNode);
    row.now = ShowValue(name);
    if (!row.now.SameAs(row.after) || !row.asked.empty()) plan.changes.push_back(row);
  }
  return plan;
}

Json Value(const ShownValue& shown) { return shown.Number() ? Json(*shown.Number()) : Json(); }

// Under --json the plan and its outcome are one document, printed at the end.
Json RestoreDocument(const std::string& file, bool mfg, const RestorePlan& plan) {
  Json changes = Json::array();
  for (const PlanRow& row : plan.changes) {
    changes.push_back({{"name", row.name},
                       {"now", Value(row.now)},
                       {"now_text", row.now.text},
                       {"after", Value(row.after)},
                       {"after_text", row.after.text},
                       {"asked", row.asked.empty() ? Json() : Json(row.asked)}});
  }
  return {{"file", file},
          {"set", mfg ? "manufacturing" : "user"},
          {"model", plan.fileModel},
          {"parameters", plan.parameterCount},
          {"changes", changes},
          {"written", false}};
}

void PrintRestorePlan(const RestorePlan& plan) {
  if (JsonWanted()) return;
  if (plan.changes.empty()) {
    std::printf("the drive's NV memory already holds these %zu parameters\n", plan.parameterCount);
    return;
  }
  std::printf("%-16s  %-24s  %s\n", "Parameter", "now (NV)", "after");
  for (const PlanRow& row : plan.changes)
    std::printf("%-16s  %-24s  %s\n", row.name.c_str(), row.now.text.c_str(), row.after.text.c_str());
  std::printf("%zu of %zu parameters change\n", plan.changes.size(), plan.parameterCount);
  std::fflush(stdout);  // the table before its warnings
  for (const PlanRow& row : plan.changes) {
    if (!row.asked.empty())
      std::fprintf(stderr, "svodb: warning: %s: the file asks for %s; the drive will store %s\n",
                   row.name.c_str(), row.asked.c_str(), row.after.text.c_str());
  }
}

struct RestoreOptions {
  std::string file;
  bool mfg = false;
  bool dryRun = false;
} restore;

void DeclareRestore(CLI::App& command) {
  restore = {};
  command.add_option("FILE", restore.file, "the parameter file")->required();
  command.add_flag("--mfg", restore.mfg,
                   "FILE is a manufacturing file: only its factory settings are written");
  command.add_flag("--dry-run", restore.dryRun,
                   "stop after the plan; it makes every check the restore makes");
}

int RunRestore() {
  const std::string& file = restore.file;
  const bool mfg = restore.mfg, dryRun = restore.dryRun;
  if (!CheckParameterFile(file, mfg)) {
    std::fprintf(stderr, "svodb: restore: nothing was written to the drive\n");
    return kExitUsage;
  }
  if (!ConnectAndIdentify()) return kExitFailure;
  const std::optional<RestorePlan> plan = MakeRestorePlan(file, mfg);
  if (!plan) {
    std::fprintf(stderr, "svodb: restore: nothing was written to the drive\n");
    return kExitUsage;
  }
  PrintRestorePlan(*plan);
  Json document = RestoreDocument(file, mfg, *plan);
  document["dry_run"] = dryRun;
  if (dryRun) {
    PrintResult(document, "--dry-run: nothing was written to the drive\n");
    return kExitOk;
  }
  if (!Confirmed("write " + file + " to the drive's NV memory")) return kExitUsage;
  const std::optional<Backup> backup = BackupDriveParameters();
  if (!backup) return kExitFailure;
  ShowBackup(*backup);
  // The library loads a user file into node 1 and a manufacturing file into
  // the current node and writes the whole set from there: with the drive's
  // NV read into that image first, parameters the file does not list keep
  // the values the drive has.
  const int32_t staging = mfg ? 0 : 1;
  if (!Selected(staging)) return kExitFailure;
  int32_t result = mfg ? RDFromNVMfg_SVODB() : RDFromNVUser_SVODB();
  if (result != SVODB_OK) return LibraryFailure("reading the drive's NV memory", result);
  if (!Selected(0)) return kExitFailure;
  {
    const ElapsedTime elapsed("writing the drive's NV memory");
    result = mfg ? SetMfgParamsNV_SVODBT(file.c_str()) : SetUserParamsNV_SVODBT(file.c_str());
  }
  if (result != SVODB_OK) return LibraryFailure("restoring " + file + " to the drive's NV memory", result);
  document["written"] = true;
  PrintResult(document, "wrote " + file +
                            " to the drive's NV memory; the drive runs with it after its next power-up\n");
  return kExitOk;
}

// ---- svodb defaults ---------------------------------------------------------------

bool IsModel(const std::string& text) { return ParseModel(text).has_value(); }

// What "defaults" was asked for; the model, image and logic a new image has
// unless the line says otherwise.
struct DefaultsOptions {
  std::string model;
  int32_t node = 1;
  int32_t logic = kOfflineLogic;
  std::string out;
} defaults;

void DeclareDefaults(CLI::App& command) {
  defaults = {};
  AddWord(command, "--model", defaults.model, IsModel,
          "is no model (a code such as 31, or a name such as X7102)")
      ->description("a model code (e.g. 31) or name (e.g. X7102); default 31")
      ->type_name("M");
  AddInteger(command, "--node", defaults.node, "the offline image", 1, 6)
      ->description("the offline image to load them into, 1-6 (default 1)");
  command.add_option("--out", defaults.out, "write the defaults to this user file")->type_name("FILE");
  AddInteger(command, "--logic", defaults.logic, "the logic version", 2, 4)
      ->description("the drive's logic version, 2-4 (default 3), which chooses the default tables");
  // A bare --network asks for the defaults of a network drive; with a value
  // it is the global option, there as everywhere.
  AddNetwork(command, "the defaults of a network drive; with A,B[,...] the network connection too", true);
}

int RunDefaults() {
  const std::optional<int32_t> model = defaults.model.empty() ? kInitialModel : ParseModel(defaults.model);
  const std::optional<int32_t> logic = defaults.logic;
  const std::optional<std::string> out =
      defaults.out.empty() ? std::nullopt : std::optional<std::string>(defaults.out);
  if (out && !MayWriteOutput("defaults", *out)) return kExitUsage;
  const bool network = !Connection().network.empty() || Connection().networkDrive;
  const int32_t imageNode = defaults.node;
  const int32_t driveType = network ? 2 : 1;
  // The tables give their values in torque/current units.
  if (!LoadDefaultsImage(imageNode, *model, driveType, *logic, kTorqueUnits)) return kExitFailure;
  const std::string what = "the factory defaults of " + ModelName(*model) + " (" + DriveTypeName(driveType) +
                           " drive, logic " + std::to_string(*logic) + ")";
  Json document{{"model", ModelName(*model)}, {"drive_type", DriveTypeName(driveType)}, {"logic", *logic}};
  if (out) {
    const int32_t result = WRToFileUser_SVODB(out->c_str());
    if (result != SVODB_OK) return LibraryFailure("writing " + *out, result);
    document["file"] = *out;
    PrintResult(document, "wrote " + what + " to " + *out + "\n");
    return kExitOk;
  }
  document["node"] = imageNode;
  std::string text = what + " in node " + std::to_string(imageNode) + ":\n";
  Json parameters = Json::array();
  for (const std::string& name : FileSetNames(*logic)) {
    const ShownValue shown = ShowValue(name);
    parameters.push_back({{"name", name}, {"value", Value(shown)}, {"text", shown.text}});
    char line[256];
    std::snprintf(line, sizeof line, "  %-16s %s\n", name.c_str(), shown.text.c_str());
    text += line;
  }
  document["parameters"] = parameters;
  PrintResult(document, text);
  return kExitOk;
}

// ---- svodb diff ------------------------------------------------------------------

enum class SourceKind { kFile, kNode, kDrive, kDefaults };

// One side of a comparison and the image it was loaded into.
struct Side {
  std::string given;  // as on the command line
  SourceKind kind = SourceKind::kFile;
  int32_t node = 0;
  std::optional<int32_t> model;  // defaults:MODEL
  int32_t driveType = 1;
  int32_t logic = kOfflineLogic;
  int32_t units = kTorqueUnits;
  std::vector<std::string> names;  // the parameters it holds
  std::vector<ShownValue> values;  // for the compared names
};

bool ParseSide(const std::string& given, Side& side) {
  side.given = given;
  if (given == "drive") {
    side.kind = SourceKind::kDrive;
  } else if (given.rfind("node:", 0) == 0) {
    side.kind = SourceKind::kNode;
    const std::optional<int32_t> node = ParseInt32(given.substr(5));
    if (!node || *node < 0 || *node > 6) {
      UsageError("diff: the node must be an integer from 0 to 6, not '" + given.substr(5) + "'");
      return false;
    }
    side.node = *node;
  } else if (given == "defaults" || given.rfind("defaults:", 0) == 0) {
    side.kind = SourceKind::kDefaults;
    if (given != "defaults") {
      side.model = ParseModel(given.substr(9));
      if (!side.model) {
        UsageError("diff: '" + given.substr(9) +
                   "' is no model (a code such as 31, or a name such as X7102)");
        return false;
      }
    }
  }
  return true;
}

int32_t ModelOfCurrentNode() {
  int32_t model = 0;
  GetModel_SVODB(&model);
  return model;
}

bool LoadFileSide(Side& side) {
  const std::optional<ParameterText> text = ReadParameterText(side.given);
  if (!text) {
    UsageError("diff: cannot open '" + side.given + "' (sides are FILE, node:N, drive or defaults[:MODEL])");
    return false;
  }
  const FileKind kind = KindOf(*text);
  if (kind == FileKind::kOther) {
    UsageError("diff: " + side.given + " is no parameter file");
    return false;
  }
  SetupOfflineNode_SVODB(side.node);
  if (!Selected(side.node)) return false;
  const char* path = side.given.c_str();
  const int32_t result =
      kind == FileKind::kManufacturing ? RDFromFileMfg_SVODB(path) : RDFromFileUser_SVODB(path);
  if (result != SVODB_OK) {
    LibraryFailure("loading " + side.given, result);
    return false;
  }
  side.names = ParameterNames(*text);
  side.model = ModelOfCurrentNode();
  GetMode_SVODB(&side.units);
  GetDriveType_SVODB(&side.driveType);
  const std::optional<int32_t> version = FileVersionOf(*text);
  side.logic = version && *version >= 2 && *version <= 4 ? *version : kOfflineLogic;
  return true;
}

bool LoadDriveSide(Side& side, bool& connected) {
  if (!connected && !ConnectAndIdentify()) return false;
  connected = true;
  if (!Selected(side.node)) return false;
  // node:0 is what the drive runs with, "drive" what it starts with.
  const bool workingRegisters = side.kind == SourceKind::kNode;
  const int32_t result = workingRegisters ? RDFromDriveUser_SVODB() : RDFromNVUser_SVODB();
  if (result != SVODB_OK) {
    LibraryFailure(
        workingRegisters ? "reading the drive's working registers" : "reading the drive's NV memory", result);
    return false;
  }
  double logic = 0;
  const int32_t logicResult = GetVariableOnline_SVODB("LogicVer", &logic);
  if (logicResult != SVODB_OK) {
    LibraryFailure("reading the drive's logic version", logicResult);
    return false;
  }
  side.logic = static_cast<int32_t>(logic);
  side.driveType = DriveTypeOfConnection();
  if (side.node != 0) SetDriveType_SVODB(side.driveType);
  side.model = ModelOfCurrentNode();
  GetModeOnline_SVODB(&side.units);
  side.names = FileSetNames(side.logic);
  return true;
}

// Defaults take what the other side does not say from the other side: its
// model, drive type, logic version and command units.
bool LoadDefaultsSide(Side& side, const Side& other) {
  const bool otherKnown = other.kind != SourceKind::kDefaults;
  const int32_t model = side.model.value_or(otherKnown && other.model ? *other.model : kInitialModel);
  side.driveType = otherKnown ? other.driveType : DriveTypeOfConnection();
  side.logic = otherKnown ? other.logic : kOfflineLogic;
  side.units = otherKnown ? other.units : kTorqueUnits;
  side.model = model;
  if (!LoadDefaultsImage(side.node, model, side.driveType, side.logic, side.units)) return false;
  side.names = FileSetNames(side.logic);
  return true;
}

bool LoadSide(Side& side, const Side& other, bool& connected) {
  switch (side.kind) {
    case SourceKind::kFile: return LoadFileSide(side);
    case SourceKind::kDrive: return LoadDriveSide(side, connected);
    case SourceKind::kDefaults: return LoadDefaultsSide(side, other);
    case SourceKind::kNode:
      if (side.node == 0) return LoadDriveSide(side, connected);
      SetupOfflineNode_SVODB(side.node);
      if (!Selected(side.node)) return false;
      side.model = ModelOfCurrentNode();
      GetMode_SVODB(&side.units);
      side.names = FileSetNames(kOfflineLogic);
      return true;
  }
  return false;
}

bool ReadValues(Side& side, const std::vector<std::string>& names) {
  if (!Selected(side.node)) return false;
  for (const std::string& name : names) side.values.push_back(ShowValue(name));
  return true;
}

}  // namespace

std::optional<SetComparison> CompareParameterSets(const std::string& first, const std::string& second) {
  Side sides[2];
  if (!ParseSide(first, sides[0]) || !ParseSide(second, sides[1])) return std::nullopt;
  // Each side gets an image of its own: node:N its node, the others the
  // first offline images that no side names.
  std::set<int32_t> taken;
  for (const Side& side : sides)
    if (side.kind == SourceKind::kNode) taken.insert(side.node);
  for (Side& side : sides) {
    if (side.kind == SourceKind::kNode) continue;
    side.node = 1;
    while (taken.contains(side.node)) ++side.node;
    taken.insert(side.node);
  }
  // Defaults last, so that they can follow the other side.
  bool connected = false;
  for (int pass = 0; pass < 2; ++pass) {
    for (int i = 0; i < 2; ++i) {
      if ((sides[i].kind == SourceKind::kDefaults) != (pass == 1)) continue;
      if (!LoadSide(sides[i], sides[1 - i], connected)) return std::nullopt;
    }
  }

  std::vector<std::string> names;
  for (const svodb::VariableRecord& record : svodb::kCatalogueTable) {
    if (record.name == nullptr) break;
    const auto holds = [&](const Side& side) {
      return std::ranges::find(side.names, record.name) != side.names.end();
    };
    if (holds(sides[0]) && holds(sides[1])) names.emplace_back(record.name);
  }
  for (Side& side : sides) {
    if (!ReadValues(side, names)) return std::nullopt;
  }
  SetComparison comparison;
  comparison.compared = names.size();
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (sides[0].values[i].SameAs(sides[1].values[i])) continue;
    const ShownValue& first = sides[0].values[i];
    const ShownValue& second = sides[1].values[i];
    comparison.differing.push_back({names[i], first.text, second.text, first.Number(), second.Number()});
  }
  return comparison;
}

namespace {

Json DiffDocument(const std::string& first, const std::string& second, const SetComparison& comparison) {
  const auto number = [](const std::optional<double>& value) { return value ? Json(*value) : Json(); };
  Json rows = Json::array();
  for (const DifferingParameter& row : comparison.differing) {
    rows.push_back({{"name", row.name},
                    {"first", number(row.firstValue)},
                    {"first_text", row.first},
                    {"second", number(row.secondValue)},
                    {"second_text", row.second}});
  }
  return {{"first", first}, {"second", second}, {"compared", comparison.compared}, {"differing", rows}};
}

struct DiffOptions {
  std::string first;
  std::string second;
  bool everyNode = false;
} diff;

void DeclareDiff(CLI::App& command) {
  diff = {};
  command.add_option("A", diff.first, "the first parameter set")->required();
  command.add_option("B", diff.second, "the second parameter set")->required();
  AddEveryNode(command, diff.everyNode)
      ->description(
          "compare on every drive that answers on the network (see svodb scan), in one table with the "
          "drive's "
          "address in its first column");
}

int RunDiff() {
  if (diff.everyNode) return EveryNodeReachable("diff") ? DiffEveryNode(diff.first, diff.second) : kExitUsage;
  const std::vector<std::string> args{diff.first, diff.second};
  const std::optional<SetComparison> comparison = CompareParameterSets(args[0], args[1]);
  if (!comparison) return kExitUsage;
  if (JsonWanted()) {
    PrintJson(DiffDocument(args[0], args[1], *comparison));
    return comparison->differing.empty() ? kExitOk : kExitFailure;
  }
  if (comparison->differing.empty()) {
    std::printf("no differences in %zu parameters\n", comparison->compared);
    return kExitOk;
  }
  std::size_t width = args[0].size();
  for (const DifferingParameter& row : comparison->differing) width = std::max(width, row.first.size());
  const int w = static_cast<int>(width);
  std::printf("%-16s  %-*s  %s\n", "Parameter", w, args[0].c_str(), args[1].c_str());
  for (const DifferingParameter& row : comparison->differing) {
    std::printf("%-16s  %-*s  %s\n", row.name.c_str(), w, row.first.c_str(), row.second.c_str());
  }
  std::printf("%zu of %zu parameters differ\n", comparison->differing.size(), comparison->compared);
  return kExitFailure;
}

// clang-format off
const Command kCommands[] = {
    {"backup", "save the drive's NV memory to a parameter file",
     "Reads the drive's NV memory (the parameters it starts with) and writes it to FILE as a user file\n"
     "of the parameters the drive's version supports; with --mfg as a manufacturing file of the\n"
     "fourteen factory settings. An existing FILE is replaced only with --force.\n",
     RunBackup, DeclareBackup},
    {"restore", "check a parameter file and write it to the drive's NV memory",
     "Checks FILE without the drive and reports every line that does not load, with its line number;\n"
     "only a file without such lines is written to the drive's NV memory (after a check of its model\n"
     "against the drive's). The drive runs with it after its next power-up. Parameters the file does\n"
     "not list keep the drive's values; a user file must list CmdGain, CmdOffset and CmdSrc, from\n"
     "which the drive's command scaling is set.\n"
     "Before writing, the file's model, drive type and logic version (not newer than the drive's) are\n"
     "checked against the drive's and the plan is shown: each parameter that changes, as the drive's\n"
     "NV holds it now and after the restore, with warnings for names listed twice, numbers without\n"
     "their unit column and values the drive will store rounded. Then it asks (--yes: no question) and\n"
     "saves the drive's NV to the backups folder.\n",
     RunRestore, DeclareRestore},
    {"defaults", "show the factory defaults of a model, or write them to a file",
     "Loads the factory user and manufacturing defaults into an offline image and shows them, or with\n"
     "--out writes them to FILE as a user file.\n",
     RunDefaults, DeclareDefaults},
    {"diff", "show the parameters that differ between two parameter sets",
     "Compares two parameter sets and shows, in engineering units, the parameters that differ. Each of\n"
     "A and B is one of:\n"
     "  FILE              a user or manufacturing parameter file (told apart by its first word)\n"
     "  drive             the drive's NV memory\n"
     "  node:0            the drive's working registers (what it runs with now)\n"
     "  node:N            offline image N (1-6) as a new image holds it\n"
     "  defaults[:MODEL]  the factory defaults of MODEL; without MODEL, of the other side's model,\n"
     "                    and always of the other side's drive type, logic version and units\n"
     "Only parameters both sets hold are compared. Exit status: 0 the sets are equal, 1 they differ,\n"
     "2 bad usage or a failure.\n",
     RunDiff, DeclareDiff},
};
// clang-format on

}  // namespace

std::span<const Command> FileCommands() { return kCommands; }

}  // namespace svodb_tool
