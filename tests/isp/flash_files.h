// Configuration files for tests and benchmarks, laid out as the drive's
// tools write them. Their checksums are computed here bit by bit, as the
// file format defines them, independently of the library's table-driven
// code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace svodb::testing {

inline constexpr std::size_t kIscImageBytes = 512 * 512;
inline constexpr std::size_t kI00ImageBytes = 512 * 1024;

inline std::vector<uint8_t> RandomBytes(std::size_t count, uint32_t seed) {
  std::mt19937 generator(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(generator());
  return bytes;
}

inline std::string Hex(uint32_t value, int digits) {
  std::string text(static_cast<std::size_t>(digits), '0');
  for (int i = digits - 1; i >= 0; --i, value >>= 4)
    text[static_cast<std::size_t>(i)] = "0123456789ABCDEF"[value & 15u];
  return text;
}

// The rows' checksum: every pair from the row's end, its second digit and
// then its first, each digit's bits from bit 0 up, shifted in at the bottom
// with the polynomial added when bit 31 falls out. Hex digits only.
inline uint32_t ReferenceRowChecksum(const std::vector<std::string>& rowsHex) {
  uint32_t value = 0;
  for (const std::string& hex : rowsHex) {
    for (std::size_t end = hex.size(); end >= 2; end -= 2) {
      for (const char c : {hex[end - 1], hex[end - 2]}) {
        const auto digit = static_cast<uint32_t>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
        for (int bit = 0; bit < 4; ++bit) {
          const bool carry = (value & 0x80000000u) != 0;
          value = value * 2 + ((digit >> bit) & 1u);
          if (carry) value ^= 0x04C11DB7u;
        }
      }
    }
  }
  return value;
}

// CRC-16 of ITU-T X.25 without its final complement; CR and LF skipped.
inline uint16_t ReferenceCrc16(std::string_view text) {
  uint32_t value = 0xFFFF;
  for (const char c : text) {
    uint32_t byte = static_cast<unsigned char>(c);
    if (byte == '\r' || byte == '\n') continue;
    for (int step = 0; step < 8; ++step, byte >>= 1)
      value = ((value ^ byte) & 1u) != 0 ? (value >> 1) ^ 0x8408u : value >> 1;
  }
  return static_cast<uint16_t>(value);
}

// A well-formed ISC file whose 512 rows hold the image, byte k of a row at
// characters 1022 - 2k and 1023 - 2k. With restartAt, the rows from there
// on form a second data section that starts in the first trailer line of
// the first.
inline std::string MakeIscFile(std::span<const uint8_t> image, std::size_t restartAt = 0) {
  std::vector<std::string> rows;
  std::string text = "// svodb test configuration\nSTATE RESET;\n";
  for (std::size_t r = 0; r < 512; ++r) {
    if (r != 0 && r == restartAt) text += "! data_CRC (0)\n";
    rows.emplace_back();
    for (std::size_t k = 512; k > 0; --k) rows.back() += Hex(image[r * 512 + k - 1], 2);
    const bool first = r == 0 || r == restartAt;
    text += (first ? "! Initialize SDR 4096 TDI (" : "SDR 4096 TDI (") + rows.back() + ");\n";
  }
  text += "! data_CRC (" + Hex(ReferenceRowChecksum(rows), 8) + ")\nSTATE IDLE;\n! end\n";
  return text + Hex(static_cast<uint16_t>(~ReferenceCrc16(text)), 4) + "\n! not read\n";
}

// An I00 file: the header (with "#LogicVer:" unless logicVersion is
// negative), an extended-address record for segment 0, data records of 32
// bytes, and the end record.
inline std::string MakeI00File(std::span<const uint8_t> data, int logicVersion) {
  std::string text = "#IT: svodb test image\n# made by the tests\n";
  text += logicVersion >= 0 ? "#LogicVer:" + std::to_string(logicVersion) + "\n" : "# no version line\n";
  text += ":020000040000FA\n";
  for (std::size_t at = 0; at < data.size(); at += 32) {
    const std::size_t count = data.size() - at < 32 ? data.size() - at : 32;
    std::string record =
        Hex(static_cast<uint32_t>(count), 2) + Hex(static_cast<uint32_t>(at & 0xFFFF), 4) + "00";
    uint32_t sum = static_cast<uint32_t>(count + (at & 0xFF) + ((at >> 8) & 0xFF));
    for (std::size_t i = 0; i < count; ++i) {
      record += Hex(data[at + i], 2);
      sum += data[at + i];
    }
    text += ":" + record + Hex((0x100 - (sum & 0xFF)) & 0xFF, 2) + "\n";
  }
  return text + ":00000001FF\n";
}

}  // namespace svodb::testing
