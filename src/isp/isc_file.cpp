#include "isp/isc_file.h"

#include <array>
#include <cstdio>
#include <memory>

#include "platform/platform.h"

namespace svodb::isp {

namespace {

constexpr uint32_t kRowPolynomial = 0x04C11DB7;
constexpr uint16_t kX25Polynomial = 0x8408;  // reflected 0x1021

// Eight steps of the row checksum from (index << 24) with no bits fed.
constexpr std::array<uint32_t, 256> MakeRowTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t index = 0; index < 256; ++index) {
    uint32_t value = index << 24;
    for (int bit = 0; bit < 8; ++bit)
      value = (value << 1) ^ ((value & 0x80000000u) != 0 ? kRowPolynomial : 0);
    table[index] = value;
  }
  return table;
}

// Table k takes a byte through k + 1 steps, so four characters can be fed
// at once.
using X25Tables = std::array<std::array<uint16_t, 256>, 4>;

constexpr X25Tables MakeX25Tables() {
  X25Tables tables{};
  for (uint32_t index = 0; index < 256; ++index) {
    uint32_t value = index;
    for (int bit = 0; bit < 8; ++bit) value = (value & 1u) != 0 ? (value >> 1) ^ kX25Polynomial : value >> 1;
    tables[0][index] = static_cast<uint16_t>(value);
  }
  for (std::size_t k = 1; k < tables.size(); ++k) {
    for (std::size_t index = 0; index < 256; ++index) {
      const uint16_t previous = tables[k - 1][index];
      tables[k][index] = static_cast<uint16_t>((previous >> 8) ^ tables[0][previous & 0xFFu]);
    }
  }
  return tables;
}

constexpr std::array<uint32_t, 256> kRowTable = MakeRowTable();
constexpr X25Tables kX25 = MakeX25Tables();

constexpr bool IsLineEnd(unsigned char c) noexcept { return c == '\r' || c == '\n'; }

// Bits 0-3 of the digit in the order they are fed, as the top-first nibble.
constexpr uint32_t FedNibble(int32_t digit) noexcept {
  const auto d = static_cast<uint32_t>(digit);
  return ((d & 1u) << 3) | ((d & 2u) << 1) | ((d & 4u) >> 1) | ((d & 8u) >> 3);
}

// Per character: its digit, and the bits the row checksum is fed from it.
struct CharacterDigit {
  int16_t digit;
  uint8_t fed;
};

constexpr std::array<CharacterDigit, 256> MakeDigitTable() {
  std::array<CharacterDigit, 256> table{};
  for (unsigned c = 0; c < 256; ++c) {
    const int32_t digit = HexDigit(static_cast<unsigned char>(c));
    table[c] = CharacterDigit{static_cast<int16_t>(digit), static_cast<uint8_t>(FedNibble(digit))};
  }
  return table;
}
constexpr std::array<CharacterDigit, 256> kDigits = MakeDigitTable();

constexpr bool IsBlank(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// What follows the line's last blank or '('.
std::string_view LastItem(std::string_view line) noexcept {
  for (std::size_t i = line.size(); i > 0; --i) {
    if (IsBlank(line[i - 1]) || line[i - 1] == '(') return line.substr(i);
  }
  return line;
}

bool Contains(std::string_view line, std::string_view word) noexcept {
  return line.find(word) != std::string_view::npos;
}

enum class Section : uint8_t { kPreamble, kData, kTrailer1, kTrailer2, kFileChecksum, kIgnored };

// Appends the row's 512 bytes, last pair first.
Result AddRow(std::string_view line, IscContent& content) {
  const std::string_view hex = LastItem(line);
  if (hex.size() < kIscRowHexCharacters || content.rowCount == kIscRowCount) return code::kWrongFileFormat;
  uint8_t* out = content.rows.data() + content.rowCount * kIscRowBytes;
  const auto* pair = reinterpret_cast<const unsigned char*>(hex.data()) + kIscRowHexCharacters - 2;
  RowChecksum checksum = content.rowChecksum;  // kept apart from the stores into the row
  for (std::size_t k = 0; k < kIscRowBytes; ++k, pair -= 2) {
    const CharacterDigit high = kDigits[pair[0]];
    const CharacterDigit low = kDigits[pair[1]];
    out[k] = static_cast<uint8_t>(static_cast<uint32_t>(high.digit * 16 + low.digit));
    checksum.FeedBits((uint32_t{low.fed} << 4) | high.fed);
  }
  content.rowChecksum = checksum;
  ++content.rowCount;
  return code::kOk;
}

}  // namespace

uint32_t HexValue(std::string_view text) noexcept {
  uint32_t value = 0;
  for (const char c : text)
    value = value * 16u + static_cast<uint32_t>(HexDigit(static_cast<unsigned char>(c)));
  return value;
}

void RowChecksum::FeedPair(int32_t highDigit, int32_t lowDigit) noexcept {
  FeedBits((FedNibble(lowDigit) << 4) | FedNibble(highDigit));
}

void RowChecksum::FeedBits(uint32_t bits) noexcept {
  value_ = ((value_ << 8) | bits) ^ kRowTable[value_ >> 24];
}

void TextCrc16::Feed(std::string_view text) noexcept {
  const auto* c = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = c + text.size();
  uint32_t value = value_;
  for (; end - c >= 4; c += 4) {
    if (IsLineEnd(c[0]) || IsLineEnd(c[1]) || IsLineEnd(c[2]) || IsLineEnd(c[3])) break;
    value = kX25[3][(value ^ c[0]) & 0xFFu] ^ kX25[2][((value >> 8) ^ c[1]) & 0xFFu] ^ kX25[1][c[2]] ^
            kX25[0][c[3]];
  }
  for (; c != end; ++c) {
    if (!IsLineEnd(*c)) value = (value >> 8) ^ kX25[0][(value ^ *c) & 0xFFu];
  }
  value_ = static_cast<uint16_t>(value);
}

Result ReadIsc(LineReader& lines, IscContent& content, const std::function<void()>& everyStep) {
  content.rows.assign(kIscRowCount * kIscRowBytes, 0);
  Section section = Section::kPreamble;
  std::string_view line;
  for (;;) {
    const LineReader::Status got = lines.Next(kIscMaxLineLength, line);
    if (got == LineReader::Status::kEnd) break;
    if (got != LineReader::Status::kLine) return code::kWrongFileFormat;
    if (section == Section::kIgnored) continue;
    if (section == Section::kFileChecksum) {
      content.expectedFileChecksum = static_cast<uint16_t>(HexValue(line) & 0xFFFFu);
      content.sawFileChecksum = true;
      section = Section::kIgnored;
      continue;
    }
    content.fileCrc.Feed(line);
    bool isRow = false;
    switch (section) {
      case Section::kData:
        if (Contains(line, "data_CRC")) {
          const std::string_view item = LastItem(line);
          content.expectedRowChecksum = HexValue(item.substr(0, item.empty() ? 0 : item.size() - 1));
          content.sawDataCrc = true;
          section = Section::kTrailer1;
        } else {
          isRow = true;
        }
        break;
      case Section::kPreamble:
      case Section::kTrailer1:
      case Section::kTrailer2:
        if (Contains(line, "Initialize")) {
          section = Section::kData;
          isRow = true;
        } else if (section != Section::kPreamble) {
          section = section == Section::kTrailer1 ? Section::kTrailer2 : Section::kFileChecksum;
        }
        break;
      default: break;
    }
    if (!isRow) continue;
    if (AddRow(line, content) != code::kOk) return code::kWrongFileFormat;
    if (content.rowCount % kIscRowsPerProgressStep == 0) everyStep();
  }
  const bool complete = content.rowCount == kIscRowCount && section != Section::kData && content.sawDataCrc &&
                        content.sawFileChecksum;
  return complete ? code::kOk : code::kWrongFileFormat;
}

Result CheckIsc(const IscContent& content) {
  if (content.rowChecksum.Value() != content.expectedRowChecksum) return kRowChecksum;
  const auto complement = static_cast<uint16_t>(~content.fileCrc.Register());
  if (complement != content.expectedFileChecksum) return kFileChecksum;
  return code::kOk;
}

Result ProgramIscFile(LibraryContext& ctx, const char* fileName, Function function, uintptr_t window) {
  IscContent content;
  Progress progress(ctx.platform, window, kIscProgressTotal);
  {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(fileName, "rb"), &std::fclose);
    if (!file) return code::kCantOpenFile;
    progress.Post();
    LineReader lines(file.get());
    const Result read = ReadIsc(lines, content, [&] { progress.Post(); });
    if (read != code::kOk) {
      progress.Post();
      return read;
    }
  }
  progress.Post();
  if (const Result checked = CheckIsc(content); checked != code::kOk) return checked;

  IspSession session(ctx);
  progress.Post();
  if (const auto ended = StreamImage(session, progress, function, std::span<const uint8_t>(content.rows),
                                     kIscRowBytes, kNotReady)) {
    return *ended;
  }
  progress.Post();
  return code::kOk;
}

}  // namespace svodb::isp
