// ISC configuration files: a text whose data rows hold the flash image as
// hexadecimal byte pairs, with a 32-bit checksum over the rows and a CRC-16
// over the text.
//
// Line rules: lines before the first one containing "Initialize" are the
// preamble; that line and every following one are data rows until a line
// containing "data_CRC", whose last item holds the row checksum. The two
// lines after it are the trailer (a line containing "Initialize" there
// starts data rows again), the third holds the file checksum, and later
// lines are ignored. Of a data row, what follows its last blank or '(' holds
// 512 byte pairs in its first 1024 characters, taken from the end.
//
// What the drive would take as garbage is refused before anything is sent,
// as "Wrong file format" (32): a line longer than 2047 characters, a data
// row with fewer than 1024 characters, other than exactly 512 data rows, and
// a file without its "data_CRC" line or its file checksum line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "catalog/result_codes.h"
#include "context.h"
#include "isp/isp_protocol.h"
#include "platform/line_reader.h"

namespace svodb::isp {

inline constexpr std::size_t kIscRowCount = 512;
inline constexpr std::size_t kIscRowBytes = 512;
inline constexpr std::size_t kIscRowHexCharacters = 2 * kIscRowBytes;
inline constexpr std::size_t kIscMaxLineLength = 2047;
inline constexpr std::size_t kIscRowsPerProgressStep = 25;
inline constexpr int32_t kIscProgressTotal = 542;

// A character as a hex digit: a letter is its lower-case code minus 87, any
// other character its code minus '0'. Nothing is validated: the checksums
// stand guard over the text.
constexpr int32_t HexDigit(unsigned char c) noexcept {
  const unsigned lower = c | 0x20u;
  return lower >= 'a' && lower <= 'z' ? static_cast<int32_t>(lower) - 87 : static_cast<int32_t>(c) - '0';
}

// value * 16 + digit over the text, modulo 2^32; 0 for an empty text.
uint32_t HexValue(std::string_view text) noexcept;

// The rows' 32-bit checksum: the generator polynomial 0x04C11DB7 with the
// bits shifted in at the bottom, fed for each pair the low digit's bits 0-3
// and then the high digit's.
class RowChecksum {
 public:
  void FeedPair(int32_t highDigit, int32_t lowDigit) noexcept;
  // Eight bits at once, the first fed in bit 7.
  void FeedBits(uint32_t bits) noexcept;
  uint32_t Value() const noexcept { return value_; }

 private:
  uint32_t value_ = 0;
};

// The CRC-16 of ITU-T X.25 as a running register (initial 0xFFFF, no final
// complement). Line ends (CR, LF) are not fed.
class TextCrc16 {
 public:
  void Feed(std::string_view text) noexcept;
  uint16_t Register() const noexcept { return value_; }

 private:
  uint16_t value_ = 0xFFFF;
};

struct IscContent {
  std::vector<uint8_t> rows;  // kIscRowCount * kIscRowBytes once read
  std::size_t rowCount = 0;
  RowChecksum rowChecksum;
  TextCrc16 fileCrc;
  uint32_t expectedRowChecksum = 0;
  uint16_t expectedFileChecksum = 0;
  bool sawDataCrc = false;
  bool sawFileChecksum = false;
};

// Reads the lines into content; everyStep runs after every 25th data row.
// 1 or 32.
Result ReadIsc(LineReader& lines, IscContent& content, const std::function<void()>& everyStep);
// 42 when the rows do not match their checksum, 41 when the text does not.
Result CheckIsc(const IscContent& content);

// HandleISCFile_SVODB: reads and checks the file, then programs (or
// verifies) the flash with its 512 rows, posting 542 progress steps.
Result ProgramIscFile(LibraryContext& ctx, const char* fileName, Function function, uintptr_t window);

}  // namespace svodb::isp
