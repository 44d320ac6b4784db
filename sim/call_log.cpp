#include "call_log.h"

namespace svodb::sim {

namespace {

constexpr std::array<std::string_view, kOperationCount> kOperationNames{
    "InitComPort",      "InitMotoBus",      "KillMotoBus",    "GetCommType",        "GetVarFromFPGA",
    "PutVarToFPGA",     "GetVarFromEEPROM", "PutVarToEEPROM", "NVEraseUnit",        "FlushPort",
    "ChangeBaudRate",   "SendISPByte",      "GetISPStatus",   "ChangeGetSleepTime", "GetMaxNumMotoBusAxes",
    "CommSVODBVersion", "CommNCLVersion",
};

std::size_t IndexOf(Operation operation) noexcept { return static_cast<std::size_t>(operation); }

void AppendList(std::string& out, const int32_t* values, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) out += ", ";
    out += std::to_string(values[i]);
  }
}

}  // namespace

std::string_view OperationName(Operation operation) noexcept {
  const std::size_t index = IndexOf(operation);
  return index < kOperationNames.size() ? kOperationNames[index] : std::string_view("?");
}

CallRecord::CallRecord(Operation op, std::initializer_list<int32_t> args) noexcept : operation(op) {
  for (int32_t value : args) {
    if (argumentCount == arguments.size()) break;
    arguments[argumentCount++] = value;
  }
}

void CallRecord::SetOutputs(std::initializer_list<int32_t> values) noexcept {
  outputCount = 0;
  for (int32_t value : values) {
    if (outputCount == outputs.size()) break;
    outputs[outputCount++] = value;
  }
}

std::optional<int32_t> CallRecord::FirstArgument() const noexcept {
  if (argumentCount == 0) return std::nullopt;
  return arguments[0];
}

std::string CallRecord::ToString() const {
  std::string out(OperationName(operation));
  out += '(';
  AppendList(out, arguments.data(), argumentCount);
  out += ')';
  if (result) out += " -> " + std::to_string(*result);
  if (outputCount != 0) {
    out += " [";
    AppendList(out, outputs.data(), outputCount);
    out += ']';
  } else if (!result) {
    out += " [\"" + text + "\"]";
  }
  return out;
}

void CallLog::Record(const CallRecord& record) {
  ++total_;
  ++counts_[IndexOf(record.operation)];
  if (recording_) records_.push_back(record);
}

std::vector<std::string> CallLog::Lines() const {
  std::vector<std::string> lines;
  lines.reserve(records_.size());
  for (const CallRecord& record : records_) lines.push_back(record.ToString());
  return lines;
}

std::string CallLog::Text() const {
  std::string text;
  for (const CallRecord& record : records_) text += record.ToString() + '\n';
  return text;
}

std::size_t CallLog::Count(Operation operation) const noexcept {
  const std::size_t index = IndexOf(operation);
  return index < counts_.size() ? counts_[index] : 0;
}

void CallLog::Clear() noexcept {
  records_.clear();
  counts_.fill(0);
  total_ = 0;
}

}  // namespace svodb::sim
