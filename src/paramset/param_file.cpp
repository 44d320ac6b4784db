#include "paramset/param_file.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/drive_facts.h"
#include "drive/register_map.h"
#include "drive/unit_scaling.h"
#include "platform/files.h"
#include "platform/line_reader.h"
#include "values/catalogue_queries.h"
#include "values/conversion_dispatch.h"
#include "values/drive_identity.h"
#include "values/enumerations.h"
#include "values/offline_values.h"
#include "values/online_values.h"
#include "values/scaling_context.h"

namespace svodb {
namespace {

constexpr int32_t kGearOutCode = 34;
constexpr int32_t kGearInCode = 242;
constexpr int32_t kAuxFbDivisorCode = 243;
constexpr uint32_t kSerialDrive = 1;
constexpr uint32_t kNetworkDrive = 2;
constexpr std::size_t kUnitWidth = 16;

// ------------------------------------------------------------------ text

// White space as the C locale has it; the process's locale must not change
// how a file reads.
constexpr bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

std::string_view TrimLeft(std::string_view text) {
  std::size_t start = 0;
  while (start < text.size() && IsBlank(text[start])) ++start;
  return text.substr(start);
}

// The next word of `text`, which is advanced past it; empty when none.
std::string_view TakeWord(std::string_view& text) {
  text = TrimLeft(text);
  std::size_t end = 0;
  while (end < text.size() && !IsBlank(text[end])) ++end;
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(end);
  return word;
}

// Up to `count` leading words of a line.
std::vector<std::string_view> Words(std::string_view line, std::size_t count) {
  std::vector<std::string_view> words;
  while (words.size() < count) {
    const std::string_view word = TakeWord(line);
    if (word.empty()) break;
    words.push_back(word);
  }
  return words;
}

// A leading "+" is allowed; from_chars takes only "-".
std::string_view WithoutPlus(std::string_view text) {
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) return {};
  }
  return text;
}

bool ParseNumber(std::string_view text, double& value) {
  text = WithoutPlus(text);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return !text.empty() && error == std::errc{} && end == text.data() + text.size();
}

// The integer at the start of the text ("100.000000" gives 100).
bool ParseLeadingInteger(std::string_view text, int32_t& value) {
  text = WithoutPlus(text);
  return !text.empty() && std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc{};
}

std::optional<int32_t> TruncateToInt32(double x) {
  if (!std::isfinite(x) || x <= -2147483649.0 || x >= 2147483648.0) return std::nullopt;
  return static_cast<int32_t>(x);
}

std::string Underscored(std::string_view label) {
  std::string text(label);
  std::replace(text.begin(), text.end(), ' ', '_');
  return text;
}

// The next line the reader does not pass over; a line too long stops the
// reading wherever it stands, comments included.
LineReader::Status NextContent(LineReader& lines, std::string_view& line) {
  LineReader::Status status;
  do {
    status = lines.Next(kMaxFileLineLength, line);
  } while (status == LineReader::Status::kLine && IsSkippedLine(line));
  return status;
}

// ------------------------------------------------------------ the setter

constexpr std::string_view kCloseStep = "END";

// A store through the file path leaves a value the range refuses unstored
// and goes on; only a store that could not be attempted at all fails.
Result StoreLeniently(LibraryContext& ctx, std::string_view name, int32_t raw, uint32_t mode, uint32_t node) {
  const Result result =
      ctx.registers.SetRawValue(name, raw, static_cast<int32_t>(mode), static_cast<int32_t>(node));
  return result == code::kNoResponse ? code::kInvalidParameter : code::kOk;
}

// AuxFBType's value 5, "EnDat_2.1 Linear", is the one label a file may
// spell otherwise: with its blank as an underscore (the writer's form) or
// split over two words. Every other label is matched exactly as its table
// writes it, so "Not_Clear" is not a label of SWClrFlt.
constexpr std::string_view kLabelWithBlankOwner = "AuxFBType";
constexpr int32_t kLabelWithBlankValue = 5;

// The value whose file label is the text, or for AuxFBType's value 5 also
// its underscored spelling.
int32_t LabelValue(LibraryContext& ctx, std::string_view name, std::string_view text, uint32_t node) {
  const int32_t value = FileLabelToValue(ctx, name, text, node);
  if (value != kNoEnumEntry || name != kLabelWithBlankOwner) return value;
  const std::string_view label = ValueToFileLabel(ctx, name, kLabelWithBlankValue, node).value_or("");
  return !label.empty() && Underscored(label) == text ? kLabelWithBlankValue : kNoEnumEntry;
}

Result LabelResult(int32_t value) {
  return value == kNoEnumTable ? code::kInvalidParameter : code::kOutOfRange;
}

// The image's logic version: the drive's own for node 0 (an unreadable
// LogicVer counts as 0, the old formats, as elsewhere for node 0).
int32_t LogicVersionOf(LibraryContext& ctx, uint32_t node) {
  if (node != 0) return ctx.db.nodes[node].logicVersion;
  int32_t logicVersion = 0;
  ReadLogicVersionOfKnownModel(ctx, logicVersion);
  return logicVersion;
}

Result SetLabelled(LibraryContext& ctx, std::string_view name, uint32_t mode, std::string_view text,
                   uint32_t node) {
  const int32_t value = LabelValue(ctx, name, text, node);
  if (value == kNoEnumTable || value == kNoEnumEntry) return LabelResult(value);
  const Result result = StoreLeniently(ctx, name, value, mode, node);
  if (result != code::kOk) return result;
  if (name == "CmdSrc") ctx.db.fileScaling.cmdSrc = value;
  return code::kOk;
}

// The five feedback bits are stored under the image's own mode.
Result SetAuxFbType(LibraryContext& ctx, std::string_view name, std::string_view text, uint32_t node) {
  const int32_t value = LabelValue(ctx, name, text, node);
  if (value == kNoEnumTable || value == kNoEnumEntry) return LabelResult(value);
  AuxFbBits bits;
  Result result = SplitAuxFBType(value, bits);
  if (result != code::kOk) return result;
  const std::pair<const char*, int32_t> stores[] = {{"AFBMitEn", bits.mitEn},
                                                    {"AFBHallsDis", bits.hallsDis},
                                                    {"AFBDivisorSrc", bits.divisorSrc},
                                                    {"AFBEnDatEnb", bits.enDatEnb},
                                                    {"AFBSrc", bits.src}};
  const auto units = static_cast<int32_t>(ctx.db.nodes[node].mode);
  for (const auto& [field, raw] : stores) {
    result = ctx.registers.SetRawValue(field, raw, units, static_cast<int32_t>(node));
    if (result != code::kOk) return result;
  }
  return code::kOk;
}

Result SetScaled(LibraryContext& ctx, std::string_view name, int32_t conversionCode, uint32_t mode,
                 uint32_t modelCode, std::string_view text, uint32_t node) {
  double value = 0.0;
  if (!ParseNumber(text, value)) return code::kOutOfRange;
  ScalingInputs inputs = ScalingInputsFor(ctx, node, conversionCode);
  inputs.modelCode = modelCode;
  inputs.commandUnits = mode;
  int32_t raw = 0;
  const Result result = UserToRaw(conversionCode, value, inputs, raw);
  if (result != code::kOk) return result;
  return StoreLeniently(ctx, name, raw, mode, node);
}

// Below logic 3 the current limits are steps 0-3 whose labels are the
// percentages "0", "33", "67" and "100"; a file may give them as numbers.
Result SetCurrentLimit(LibraryContext& ctx, std::string_view name, uint32_t mode, uint32_t modelCode,
                       std::string_view text, uint32_t node) {
  if (LogicVersionOf(ctx, node) >= 3) {
    return SetScaled(ctx, name, name == "ILmtPlus" ? 44 : 43, mode, modelCode, text, node);
  }
  int32_t percent = 0;
  if (!ParseLeadingInteger(text, percent)) return code::kOutOfRange;
  return SetLabelled(ctx, name, mode, std::to_string(percent), node);
}

// The drive keeps the analog command scaling as two counts computed from
// gain, offset and source together, so they are set once all three are
// known.
Result SetCommandCounts(LibraryContext& ctx, uint32_t mode, uint32_t modelCode, uint32_t node) {
  const FileCommandScaling& held = ctx.db.fileScaling;
  const CommandSetup setup{modelCode, mode, TruncateToInt32(held.cmdSrc).value_or(0)};
  int32_t plus = 0, minus = 0;
  Result result = PwmPlusFromCommand(setup, held.cmdGain, held.cmdOffset, plus);
  if (result != code::kOk) return result;
  result = PwmMinusFromCommand(setup, held.cmdGain, held.cmdOffset, minus);
  if (result != code::kOk) return result;
  result = StoreLeniently(ctx, "PWMPlus", plus, mode, node);
  if (result != code::kOk) return result;
  return StoreLeniently(ctx, "PWMMinus", minus, mode, node);
}

Result ApplyFileText(LibraryContext& ctx, std::string_view name, uint32_t mode, uint32_t modelCode,
                     std::string_view text, uint32_t node) {
  if (name == kCloseStep) return SetCommandCounts(ctx, mode, modelCode, node);
  if (name == "ILmtMinus" || name == "ILmtPlus") return SetCurrentLimit(ctx, name, mode, modelCode, text, node);
  const int32_t c = ctx.db.catalogue.GetConversionCode(name);
  if (c >= 0 && c <= 2) return SetLabelled(ctx, name, mode, text, node);
  if (c == kAuxFbTypeCode) return SetAuxFbType(ctx, name, text, node);
  if (KindOf(c) == ValueKind::kUnitScaled) return SetScaled(ctx, name, c, mode, modelCode, text, node);
  if (c == kCmdGainCode || c == kCmdOffsetCode) {
    double value = 0.0;
    if (!ParseNumber(text, value)) return code::kOutOfRange;
    (c == kCmdGainCode ? ctx.db.fileScaling.cmdGain : ctx.db.fileScaling.cmdOffset) = value;
    return code::kOk;
  }
  return code::kInvalidParameter;
}

// ------------------------------------------------------------ the writer

void AppendPadded(std::string& text, std::string_view field, std::size_t width) {
  text += field;
  if (field.size() < width) text.append(width - field.size(), ' ');
}

std::string FixedSix(double value) {
  char buffer[400];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 6);
  if (error != std::errc{}) return "0.000000";  // no double needs more room
  return std::string(buffer, end);
}

std::string Integer(double value) {
  if (!std::isfinite(value) || std::fabs(value) >= 9.2e18) return FixedSix(value);
  return std::to_string(static_cast<long long>(value));
}

std::string Label(LibraryContext& ctx, std::string_view name, double value, uint32_t node) {
  const std::optional<int32_t> truncated = TruncateToInt32(value);
  if (truncated) {
    if (const auto label = ValueToFileLabel(ctx, name, *truncated, node)) return Underscored(*label);
  }
  return "NoLabel_" + Integer(value);
}

// Scaled numbers take the unit column of the command source and mode, the
// others unit 0.
enum class Form { kLeftOut, kLabel, kNumber, kScaledNumber, kInteger };

Form ValueForm(std::string_view name, int32_t conversionCode, const ParameterFileIdentity& identity) {
  const int32_t c = conversionCode;
  if (c >= 0 && c <= 2) return Form::kLabel;
  if (c == kGearOutCode || c == kGearInCode) return identity.driveType == kSerialDrive ? Form::kNumber : Form::kLeftOut;
  if (c == kAuxFbDivisorCode) return identity.driveType == kNetworkDrive ? Form::kNumber : Form::kLeftOut;
  if (name == "FBDivisor") return Form::kInteger;
  if (c == kAuxFbTypeCode) return identity.driveType == kNetworkDrive ? Form::kLabel : Form::kLeftOut;
  return identity.commandSourceClass <= 2 ? Form::kScaledNumber : Form::kLeftOut;
}

Result FileVersionToWrite(LibraryContext& ctx, const ParameterFileIdentity& identity, uint32_t node,
                          int32_t& version) {
  if (identity.versionGiven) {
    version = identity.fileVersion;
    return code::kOk;
  }
  if (node != 0) {
    version = ctx.db.nodes[node].logicVersion;
    return code::kOk;
  }
  const Result result = ReadLogicVersionOfKnownModel(ctx, version);
  return result != code::kOk && result >= kFileWritten ? code::kSystemError : result;
}

Result AppendHeader(LibraryContext& ctx, const ParameterFileIdentity& identity, uint32_t node, std::string& text) {
  text += identity.manufacturing ? kMfgFileToken : kUserFileToken;
  text += ' ';
  text += kLineEnd;

  int32_t version = 0;
  const Result result = FileVersionToWrite(ctx, identity, node, version);
  if (result != code::kOk) return result;
  text += "FileVersion ";
  text += std::to_string(version);
  text += ' ';
  text += kLineEnd;

  const auto model = ValueToFileLabel(ctx, "Model", static_cast<int32_t>(identity.modelCode), node);
  if (!model) return code::kWrongModel;
  text += "DriveModel ";
  text += *model;
  text += ' ';
  if (identity.driveType == kSerialDrive) text += "(-STD)";
  if (identity.driveType == kNetworkDrive) text += "(-NET)";
  text += kLineEnd;

  if (identity.mode != 0 && identity.mode != 1) return code::kWrongOpMode;
  text += identity.mode == 1 ? "ActiveCMDUnits Velocity" : "ActiveCMDUnits Torque/Current";
  text += kLineEnd;
  return code::kOk;
}

Result AppendParameter(LibraryContext& ctx, const VariableRecord& entry, const ParameterFileIdentity& identity,
                       uint32_t node, std::string& text) {
  const std::string_view name = entry.name;
  double value = 0.0;
  Result result = GetOfflineValue(ctx, name, node, value);
  if (result != code::kOk) return result;
  const int32_t conversionCode = EffectiveConversionCode(ctx, name, node);
  if (conversionCode >= 4 && conversionCode <= 9) return code::kWrongDataType;

  std::string written;
  int unitColumn = 0;
  switch (ValueForm(name, conversionCode, identity)) {
    case Form::kLeftOut:
      return code::kOk;
    case Form::kLabel:
      written = Label(ctx, name, value, node);
      break;
    case Form::kInteger:
      written = Integer(value);
      break;
    case Form::kNumber:
      written = FixedSix(value);
      break;
    case Form::kScaledNumber:
      written = FixedSix(value);
      unitColumn = UnitColumn(static_cast<int32_t>(identity.commandSourceClass), identity.mode);
      break;
  }
  const char* unit = entry.units[static_cast<std::size_t>(unitColumn)];
  AppendPadded(text, name, kMaxFileNameLength);
  text += " = ";
  AppendPadded(text, written, kMaxFileValueLength);
  text += ' ';
  AppendPadded(text, unit != nullptr ? unit : "", kUnitWidth);
  text += kLineEnd;
  return code::kOk;
}

// ------------------------------------------------------------ the reader

// The count of a failing parameter line goes in the hundreds while it fits
// two places below 99, the closing step's mark.
Result LineFailure(int32_t count, Result result) {
  return count < 99 ? WithDetail(result, count) : result;
}

bool TooLong(const std::vector<std::string_view>& words) {
  return std::any_of(words.begin(), words.end(),
                     [](std::string_view word) { return word.size() > kMaxHeaderWordLength; });
}

struct ReadOutputs {
  uint32_t& modelCode;
  uint32_t& mode;
  int32_t& fileVersion;
};

Result ReadHeader(LibraryContext& ctx, LineReader& lines, bool manufacturing, bool skipVersion, uint32_t node,
                  const ReadOutputs& out, bool& unitsGiven) {
  NodeState& image = ctx.db.nodes[node];
  std::string_view line;

  if (NextContent(lines, line) != LineReader::Status::kLine) return code::kWrongFileFormat;
  const std::vector<std::string_view> kind = Words(line, 1);
  if (kind.empty() || kind[0] != (manufacturing ? kMfgFileToken : kUserFileToken)) return code::kWrongFileFormat;

  if (NextContent(lines, line) != LineReader::Status::kLine) return code::kWrongFileFormat;
  const std::vector<std::string_view> version = Words(line, 2);
  if (version.size() < 2 || TooLong(version) || version[0] != "FileVersion") return code::kWrongFileFormat;
  if (skipVersion) {
    out.fileVersion = 1;
  } else {
    double number = 0.0;
    const std::optional<int32_t> truncated =
        ParseNumber(version[1], number) ? TruncateToInt32(number) : std::nullopt;
    if (!truncated) return code::kWrongFileFormat;
    out.fileVersion = *truncated;
    image.logicVersion = *truncated;
    ctx.registers.SetCurrentLimitLayout(*truncated);
  }

  if (NextContent(lines, line) != LineReader::Status::kLine) return code::kWrongFileFormat;
  const std::vector<std::string_view> model = Words(line, 3);
  if (model.size() < 2 || TooLong(model)) return code::kWrongFileFormat;
  if (model.size() == 3 && model[2].size() > kMaxEditionLength) return code::kWrongFileFormat;
  if (model.size() == 2) image.driveType = kSerialDrive;
  if (model.size() == 3 && model[2] == "(-STD)") image.driveType = kSerialDrive;
  if (model.size() == 3 && model[2] == "(-NET)") image.driveType = kNetworkDrive;
  if (model[0] != "DriveModel") return code::kWrongFileFormat;
  const int32_t modelCode = FileLabelToValue(ctx, "Model", model[1], node);
  if (modelCode == kNoEnumTable) return code::kSystemError;
  if (modelCode == kNoEnumEntry) return code::kWrongModel;
  image.modelCode = static_cast<uint32_t>(modelCode);
  out.modelCode = image.modelCode;

  int32_t mode = 1;
  const LineReader::Status status = NextContent(lines, line);
  if (status == LineReader::Status::kTooLong) return code::kWrongFileFormat;
  unitsGiven = status == LineReader::Status::kLine;
  if (unitsGiven) {
    const std::vector<std::string_view> units = Words(line, 2);
    if (units.size() < 2 || TooLong(units) || units[0] != "ActiveCMDUnits") return code::kWrongFileFormat;
    if (units[1] == "Torque/Current") {
      mode = 0;
    } else if (units[1] != "Velocity") {
      return code::kWrongOpMode;
    }
  }
  const Result result = SetModeFromFile(ctx, node, mode);
  if (result != code::kOk) return result;
  out.mode = image.mode;
  return code::kOk;
}

// AuxFBType's value 5 written with its blank runs on into the next word;
// take both when together they are that label.
std::string ValueText(LibraryContext& ctx, const ParameterLine& line, uint32_t node) {
  std::string_view rest = line.rest;
  const std::string_view next = TakeWord(rest);
  if (!next.empty() && line.name == kLabelWithBlankOwner) {
    std::string joined(line.value);
    joined += ' ';
    joined += next;
    if (FileLabelToValue(ctx, line.name, joined, node) == kLabelWithBlankValue) return joined;
  }
  return std::string(line.value);
}

Result ReadParameters(LibraryContext& ctx, LineReader& lines, uint32_t mode, uint32_t modelCode, uint32_t node) {
  std::vector<std::string>& names = ctx.db.parameterFileNames[node];
  std::string_view line;
  int32_t count = 0;
  for (;;) {
    const LineReader::Status status = NextContent(lines, line);
    if (status == LineReader::Status::kEnd) return code::kOk;
    if (status == LineReader::Status::kTooLong) return code::kWrongFileFormat;
    ParameterLine parsed;
    if (!ParseParameterLine(line, parsed)) return code::kWrongFileFormat;
    if (++count > static_cast<int32_t>(kMaxParameterFileLines)) return code::kTooLong;
    names.emplace_back(parsed.name);
    const Result result = SetFromFileText(ctx, parsed.name, mode, modelCode, ValueText(ctx, parsed, node), node);
    if (parsed.name == "EncOutPPR" && node != 0) ctx.db.nodes[node].encoderOutputFlag = 1;
    if (result != code::kOk) return LineFailure(count, result);
  }
}

}  // namespace

// ---------------------------------------------------------------- public

bool IsSkippedLine(std::string_view line) {
  line = TrimLeft(line);
  return line.empty() || line.front() == '#';
}

bool ParseParameterLine(std::string_view line, ParameterLine& parsed) {
  std::string_view rest = line;
  const std::string_view name = TakeWord(rest);
  if (name.empty() || name.size() > kMaxFileNameLength) return false;
  // The name ends at a blank: "KVP=5" is one word, not a name and a value.
  const std::string_view afterName = TrimLeft(rest);
  if (afterName.size() == rest.size() || afterName.empty() || afterName.front() != '=') return false;
  rest = afterName.substr(1);
  const std::string_view value = TakeWord(rest);
  if (value.empty() || value.size() > kMaxFileValueLength) return false;
  parsed = ParameterLine{name, value, rest};
  return true;
}

Result SetFromFileText(LibraryContext& ctx, std::string_view name, uint32_t mode, uint32_t modelCode,
                       std::string_view text, uint32_t node) {
  if (node > kMaxNode) return code::kOutOfRange;
  try {
    return ApplyFileText(ctx, name, mode, modelCode, text, node);
  } catch (...) {
    return code::kSystemError;
  }
}

Result FormatParameterFile(LibraryContext& ctx, const ParameterList& list, const ParameterFileIdentity& identity,
                           uint32_t node, std::string& text) {
  if (node > kMaxNode) return code::kOutOfRange;
  try {
    std::string built;
    Result result = AppendHeader(ctx, identity, node, built);
    for (auto entry = list.begin(); result == code::kOk && entry != list.end(); ++entry) {
      result = *entry != nullptr && (*entry)->name != nullptr ? AppendParameter(ctx, **entry, identity, node, built)
                                                              : code::kInvalidParameter;
    }
    if (result != code::kOk) return result;
    text = std::move(built);
    return kFileWritten + static_cast<Result>(list.size());
  } catch (...) {
    return code::kSystemError;
  }
}

Result WriteParameterFile(LibraryContext& ctx, const std::string& fileName, ParameterList list, bool manufacturing,
                          uint32_t modelCode, uint32_t mode, uint32_t driveType, uint32_t commandSourceClass,
                          int32_t fileVersion, bool versionGiven, uint32_t node) {
  if (node > kMaxNode) return code::kOutOfRange;
  FileSystem& files = ActiveFileSystem();
  std::string temporary;
  bool opened = false;
  try {
    const bool inPlace = files.WrittenInPlace(fileName);
    temporary = inPlace ? fileName : fileName + std::string(kTemporarySuffix);
    std::unique_ptr<OutputFile> out = files.OpenForWriting(temporary);
    if (out == nullptr) return code::kCantOpenFile;
    opened = true;
    const ParameterFileIdentity identity{manufacturing,      modelCode,   mode,        driveType,
                                         commandSourceClass, fileVersion, versionGiven};
    std::string text;
    Result result = FormatParameterFile(ctx, list, identity, node, text);
    if (result >= kFileWritten && !(out->Write(text) && out->Close())) result = code::kCantOpenFile;
    out.reset();
    if (inPlace) return result;
    if (result >= kFileWritten && !files.Replace(temporary, fileName)) result = code::kCantOpenFile;
    if (result < kFileWritten) files.Remove(temporary);
    return result;
  } catch (...) {
    if (opened && temporary != fileName) files.Remove(temporary);
    return code::kSystemError;
  }
}

Result ReadParameterStream(LibraryContext& ctx, std::istream& input, bool manufacturing, bool skipVersion,
                           uint32_t& modelCode, uint32_t& mode, int32_t& fileVersion, uint32_t node) {
  if (node > kMaxNode) return code::kOutOfRange;
  try {
    LineReader lines(input.rdbuf());
    bool unitsGiven = false;
    Result result =
        ReadHeader(ctx, lines, manufacturing, skipVersion, node, ReadOutputs{modelCode, mode, fileVersion}, unitsGiven);
    if (result != code::kOk) return result;
    NodeState& image = ctx.db.nodes[node];
    if (node != 0) image.encoderOutputFlag = 0;
    ctx.db.parameterFileNames[node].clear();
    if (unitsGiven) {
      result = ReadParameters(ctx, lines, image.mode, image.modelCode, node);
      if (result != code::kOk) return result;
    }
    result = SetFromFileText(ctx, kCloseStep, image.mode, image.modelCode, {}, node);
    return result == code::kOk ? kFileRead : WithDetail(result, 99);
  } catch (...) {
    return code::kSystemError;
  }
}

namespace {

constexpr std::size_t kHeaderLineCount = 4;

FileLineView Classified(int32_t number, std::string_view text, std::size_t headerLinesBefore) {
  FileLineView line{number, FileLineKind::kSkipped, text, {}};
  if (IsSkippedLine(text)) return line;
  if (headerLinesBefore < kHeaderLineCount) {
    std::string_view rest = text;
    const std::string_view first = TakeWord(rest);
    const std::string_view second = TakeWord(rest);
    line.kind = FileLineKind::kHeader;
    line.parts = ParameterLine{first, second, rest};
    return line;
  }
  line.kind = ParseParameterLine(text, line.parts) ? FileLineKind::kParameter : FileLineKind::kMalformed;
  return line;
}

}  // namespace

Result ForEachFileLine(const std::string& fileName, const std::function<bool(const FileLineView&)>& each) {
  try {
    const std::unique_ptr<std::istream> input = ActiveFileSystem().OpenForReading(fileName);
    if (input == nullptr) return code::kCantOpenFile;
    LineReader lines(input->rdbuf());
    std::string_view text;
    std::size_t headerLines = 0;
    for (int32_t number = 1;; ++number) {
      const LineReader::Status status = lines.Next(kMaxFileLineLength, text);
      if (status == LineReader::Status::kEnd) return code::kOk;
      if (status != LineReader::Status::kLine) return code::kWrongFileFormat;
      const FileLineView line = Classified(number, text, headerLines);
      if (line.kind == FileLineKind::kHeader) ++headerLines;
      if (!each(line)) return code::kOk;
    }
  } catch (...) {
    return code::kSystemError;
  }
}

Result ReadParameterFile(LibraryContext& ctx, const std::string& fileName, bool manufacturing, bool skipVersion,
                         uint32_t& modelCode, uint32_t& mode, int32_t& fileVersion, uint32_t node) {
  if (node > kMaxNode) return code::kOutOfRange;
  try {
    const std::unique_ptr<std::istream> input = ActiveFileSystem().OpenForReading(fileName);
    if (input == nullptr) return code::kCantOpenFile;
    return ReadParameterStream(ctx, *input, manufacturing, skipVersion, modelCode, mode, fileVersion, node);
  } catch (...) {
    return code::kSystemError;
  }
}

}  // namespace svodb
