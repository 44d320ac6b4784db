#include "catalog/result_codes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

#include "catalog/catalogue.h"

namespace svodb {
namespace {

struct BaseMessage {
  int32_t base;
  const char* text;
};

// Bases not listed here, success among them, read "System Error".
// clang-format off
constexpr BaseMessage kBaseMessages[] = {
    {code::kNoResponse,         "No Response from drive"},
    {code::kNoSuchPort,         "No such communication port"},
    {code::kOutputError,        "Output error"},
    {code::kWrongAddress,       "Wrong FPGA or EEPROM address in drive"},
    {code::kWrongData,          "Sending wrong data to FPGA"},
    {code::kFpgaError,          "Error reported from FPGA"},
    {code::kNvAddressMismatch,  "Address in FPGA and EEPROM don't match"},
    {code::kInvalidParameter,   "Invalid parameter"},
    {code::kWrongModel,         "Wrong model"},
    {code::kTransferError,      "Error during data transfer"},
    {code::kWrongLogicVersion,  "Wrong logic version"},
    {code::kWrongDataType,      "Wrong data type"},
    {code::kWrongOpMode,        "Wrong OpMode"},
    {code::kOutOfRange,         "Data is out of range"},
    {code::kCantOpenFile,       "Can't open file"},
    {code::kWrongFileFormat,    "Wrong file format"},
    {code::kWrongFileVersion,   "Wrong file version"},
    {code::kWrongTrxData,       "Wrong TRX data"},
    {code::kTrxChecksum,        "Wrong Checksum of TRX data"},
    {code::kTrxReadBack,        "Wrong when reading back checking TRX data"},
    {code::kTrxNotReady,        "TRX is not ready"},
    {code::kTrxDiagnosticsOn,   "Error when enable TRX diagnostics mode"},
    {code::kTrxDiagnosticsOff,  "Error when disable TRX diagnostics mode"},
    {code::kTrxEepromReady,     "Error when checking TRX EEPROM Ready"},
};

// Indexed by context 1-10; the drive's tools spell "geting" this way.
constexpr const char* kContextSuffixes[] = {
    nullptr,
    " when loading from FPGA",
    " when sending to FPGA",
    " when loading from EEPROM",
    " when sending to EEPROM",
    " when reading file",
    " when writing file",
    " when erasing EEPROM",
    " when geting drive mode or model",
    " when checking drive logic version",
    " when loading default value",
};
// clang-format on

const char* BaseText(int32_t base) {
  for (const BaseMessage& message : kBaseMessages) {
    if (message.base == base) return message.text;
  }
  return "System Error";
}

bool NamesVariable(Context context) {
  switch (context) {
    case Context::kLoadFromFpga:
    case Context::kSendToFpga:
    case Context::kLoadFromNv:
    case Context::kSendToNv:
    case Context::kWriteFile:
      return true;
    default:
      return false;
  }
}

// Appends into a fixed buffer, cutting at its end; keeps room for the
// terminator.
class MessageWriter {
 public:
  explicit MessageWriter(std::span<char> out) noexcept : out_(out) {}

  MessageWriter& Append(std::string_view text) noexcept {
    const std::size_t room = out_.size() - 1 - length_;
    const std::size_t count = std::min(room, text.size());
    std::memcpy(out_.data() + length_, text.data(), count);
    length_ += count;
    return *this;
  }

  std::size_t Finish() noexcept {
    out_[length_] = '\0';
    return length_;
  }

 private:
  std::span<char> out_;
  std::size_t length_ = 0;
};

void AppendContextTail(const Catalogue& catalogue, const CodeParts& parts, MessageWriter& writer) noexcept {
  const auto context = static_cast<Context>(parts.context);
  writer.Append(kContextSuffixes[parts.context]);
  if (NamesVariable(context) && parts.detail >= 1) {
    if (const char* name = catalogue.NameAt(parts.detail)) writer.Append(" at variable--").Append(name);
  } else if (context == Context::kReadFile) {
    char entry[60];
    std::snprintf(entry, sizeof entry, " at No.%d variable", static_cast<int>(parts.detail));
    writer.Append(entry);
  }
}

}  // namespace

std::size_t ComposeErrorMessage(const Catalogue& catalogue, Result code, std::span<char> out) noexcept {
  if (out.empty()) return 0;
  MessageWriter writer(out);
  const CodeParts parts = Decompose(code);
  writer.Append(BaseText(parts.base));
  if (parts.context >= 1 && parts.context < static_cast<int32_t>(std::size(kContextSuffixes))) {
    AppendContextTail(catalogue, parts, writer);
  }
  return writer.Finish();
}

std::string ErrorMessage(const Catalogue& catalogue, Result code) {
  std::array<char, kMessageCapacity> message{};
  const std::size_t length = ComposeErrorMessage(catalogue, code, message);
  return std::string(message.data(), length);
}

}  // namespace svodb
