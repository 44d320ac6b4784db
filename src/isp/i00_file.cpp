#include "isp/i00_file.h"

#include <array>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "drive/drive_facts.h"
#include "drive/register_transfers.h"
#include "drive/transport.h"
#include "platform/platform.h"

namespace svodb::isp {

namespace {

constexpr std::string_view kHeaderTag = "#IT:";
constexpr std::string_view kVersionTag = "#LogicVer:";
constexpr std::size_t kCountAt = 1, kOffsetAt = 3, kTypeAt = 7, kDataAt = 9;

bool EqualsIgnoringCase(std::string_view text, std::string_view lower) noexcept {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] - 'A' + 'a') : text[i];
    if (c != lower[i]) return false;
  }
  return true;
}

bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::string_view Characters(std::string_view line, std::size_t at, std::size_t count) noexcept {
  return at < line.size() ? line.substr(at, count) : std::string_view();
}

constexpr int8_t kNotHex = -1;

constexpr std::array<int8_t, 256> MakeHexTable() {
  std::array<int8_t, 256> table{};
  table.fill(kNotHex);
  for (int c = 0; c < 10; ++c) table[static_cast<std::size_t>('0' + c)] = static_cast<int8_t>(c);
  for (int c = 0; c < 6; ++c) {
    table[static_cast<std::size_t>('a' + c)] = static_cast<int8_t>(10 + c);
    table[static_cast<std::size_t>('A' + c)] = static_cast<int8_t>(10 + c);
  }
  return table;
}
constexpr std::array<int8_t, 256> kHex = MakeHexTable();

int8_t HexOf(char c) noexcept { return kHex[static_cast<unsigned char>(c)]; }

// The leading hex digits of the characters, as a "0x"-prefixed number reads
// in base 16: none gives 0.
uint32_t HexNumber(std::string_view line, std::size_t at, std::size_t count) noexcept {
  uint32_t value = 0;
  for (const char c : Characters(line, at, count)) {
    const int8_t digit = HexOf(c);
    if (digit == kNotHex) break;
    value = value * 16 + static_cast<uint32_t>(digit);
  }
  return value;
}

// HexNumber of two characters that are there.
uint8_t HexByte(const char* pair) noexcept {
  const int8_t high = HexOf(pair[0]);
  if (high == kNotHex) return 0;
  const int8_t low = HexOf(pair[1]);
  return static_cast<uint8_t>(low == kNotHex ? high : high * 16 + low);
}

// A decimal number as the C library's atoi reads it, held to 32 bits.
int32_t DecimalNumber(std::string_view text) noexcept {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  int64_t value = 0;
  for (; i < text.size() && IsDigit(text[i]); ++i) {
    value = value * 10 + (text[i] - '0');
    if (value > std::numeric_limits<int32_t>::max()) value = int64_t{std::numeric_limits<int32_t>::max()} + 1;
  }
  value = negative ? -value : value;
  if (value > std::numeric_limits<int32_t>::max()) value = std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(value);
}

// A line that must be there: 32 for the end of the file, an over-long line
// or a failed read.
Result NextLine(LineReader& lines, std::string_view& line) {
  return lines.Next(kI00MaxLineLength, line) == LineReader::Status::kLine ? code::kOk
                                                                          : code::kWrongFileFormat;
}

bool IsRecordLine(std::string_view line) noexcept { return !line.empty() && line.front() == ':'; }

}  // namespace

int32_t VersionFromFileName(std::string_view fileName) {
  std::size_t separator = fileName.rfind('\\');
  if (separator == std::string_view::npos) separator = fileName.rfind('/');
  const std::string_view base =
      separator == std::string_view::npos ? fileName : fileName.substr(separator + 1);
  const std::size_t baseDot = base.rfind('.');
  const std::string_view stem =
      baseDot == std::string_view::npos ? std::string_view() : base.substr(0, baseDot);
  const std::size_t dot = fileName.rfind('.');
  const std::string_view extension =
      dot == std::string_view::npos ? std::string_view() : fileName.substr(dot + 1);
  if (EqualsIgnoringCase(extension, "isc")) return 3;
  if (EqualsIgnoringCase(extension, "i00") && stem.size() == 13 && stem[3] == '-' && stem[10] == '-' &&
      IsDigit(stem[7]) && IsDigit(stem[8]) && IsDigit(stem[9])) {
    return (stem[7] - '0') * 100 + (stem[8] - '0') * 10 + (stem[9] - '0');
  }
  return kUnknownFileVersion;
}

Result ReadI00Header(LineReader& lines, std::string_view fileName, int32_t& fileVersion) {
  std::string_view line;
  if (NextLine(lines, line) != code::kOk || !line.starts_with(kHeaderTag)) return code::kWrongFileFormat;
  if (NextLine(lines, line) != code::kOk || NextLine(lines, line) != code::kOk) return code::kWrongFileFormat;
  fileVersion = line.starts_with(kVersionTag) ? DecimalNumber(line.substr(kVersionTag.size()))
                                              : VersionFromFileName(fileName);
  return code::kOk;
}

Result ReadI00Records(LineReader& lines, std::span<uint8_t> image) {
  std::string_view line;
  if (NextLine(lines, line) != code::kOk || !IsRecordLine(line)) return code::kWrongFileFormat;
  uint64_t base = 0;
  if (Characters(line, kTypeAt, 2) == "04") {
    base = uint64_t{HexNumber(line, kDataAt, 4)} << 16;
    if (NextLine(lines, line) != code::kOk || !IsRecordLine(line)) return code::kWrongFileFormat;
  }
  if (Characters(line, kTypeAt, 2) == "00") base += HexNumber(line, kOffsetAt, 4);

  uint64_t position = base;
  for (;;) {
    const std::string_view type = Characters(line, kTypeAt, 2);
    if (type == "01") break;
    if (type == "00") {
      const std::size_t count = HexNumber(line, kCountAt, 2);
      if (line.size() < kDataAt + 2 * count) return code::kWrongFileFormat;
      // Nothing of a file that reaches beyond the image is used.
      if (position + count > image.size()) return kImageOverflow;
      const char* pair = line.data() + kDataAt;
      for (std::size_t j = 0; j < count; ++j, pair += 2) image[position + j] = HexByte(pair);
      position += count;
    }
    const LineReader::Status got = lines.Next(kI00MaxLineLength, line);
    if (got == LineReader::Status::kEnd) break;
    if (got != LineReader::Status::kLine) return code::kWrongFileFormat;
  }
  return code::kOk;
}

Result ProgramI00File(LibraryContext& ctx, const char* fileName, Function function, uintptr_t window) {
  std::vector<uint8_t> image(kI00ImageSize, 0xFF);
  Progress progress(ctx.platform, window, kI00ProgressTotal);
  {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(fileName, "rb"), &std::fclose);
    if (!file) return code::kCantOpenFile;
    progress.Post();
    LineReader lines(file.get());
    int32_t fileVersion = kUnknownFileVersion;
    if (const Result header = ReadI00Header(lines, fileName, fileVersion); header != code::kOk) return header;
    // A drive whose version cannot be read matches no file.
    int32_t driveVersion = 0;
    if (ReadLogicVersion(ctx, driveVersion) != code::kOk || driveVersion != fileVersion) {
      return code::kWrongFileVersion;
    }
    if (const Result records = ReadI00Records(lines, image); records != code::kOk) return records;
  }
  progress.Post();

  IspSession session(ctx);
  ctx.transport.PutVarToFPGA(kSpiEnableRegister, kSpiEnableOn);
  progress.Post();
  if (const auto ended = StreamImage(session, progress, function, std::span<const uint8_t>(image), kI00BlockSize,
                                     kStatusReadFailed)) {
    return *ended;
  }
  ctx.transport.PutVarToFPGA(kSpiEnableRegister, 0);
  progress.Post();
  return code::kOk;
}

}  // namespace svodb::isp
