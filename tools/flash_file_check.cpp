#include "flash_file_check.h"

#include <cstdint>
#include <fstream>
#include <vector>

namespace svodb_tool {
namespace {

constexpr std::size_t kI00ImageBytes = 512 * 1024;
constexpr std::size_t kIscRows = 512;
constexpr std::size_t kIscRowDigits = 1024;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

FlashFileVerdict Problem(std::string text) { return FlashFileVerdict{false, -1, std::move(text)}; }

std::vector<std::string> Lines(std::ifstream& in) {
  std::vector<std::string> lines;
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

// The version an I00 file's name gives: "AAA-BBBNNN-CC.i00" is for logic NNN.
int32_t VersionFromI00Name(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::size_t dot = base.rfind('.');
  const std::string stem = dot == std::string::npos ? "" : base.substr(0, dot);
  if (stem.size() != 13 || stem[3] != '-' || stem[10] != '-') return -1;
  int32_t version = 0;
  for (std::size_t i = 7; i <= 9; ++i) {
    if (stem[i] < '0' || stem[i] > '9') return -1;
    version = version * 10 + (stem[i] - '0');
  }
  return version;
}

// One Intel HEX record: hex pairs, a length that matches its byte count, a
// checksum that makes the bytes sum to 0.
std::string RecordProblem(const std::string& line) {
  if (line.empty() || line[0] != ':') return "does not begin with ':'";
  if (line.size() < 11 || line.size() % 2 == 0) return "is cut short or has a stray character";
  std::vector<int> bytes;
  for (std::size_t i = 1; i + 1 < line.size(); i += 2) {
    const int high = HexDigit(line[i]), low = HexDigit(line[i + 1]);
    if (high < 0 || low < 0) return "has a character that is no hex digit at column " + std::to_string(i + 1);
    bytes.push_back(high * 16 + low);
  }
  if (bytes.size() != static_cast<std::size_t>(bytes[0]) + 5)
    return "says it holds " + std::to_string(bytes[0]) + " bytes but holds " + std::to_string(bytes.size() - 5);
  int sum = 0;
  for (int byte : bytes) sum += byte;
  if ((sum & 0xFF) != 0) return "fails its checksum";
  return "";
}

FlashFileVerdict CheckI00(const std::string& path, const std::vector<std::string>& lines) {
  if (lines.size() < 4 || lines[0].rfind("#IT:", 0) != 0)
    return Problem("line 1 of the I00 file does not begin with \"#IT:\" or the header is cut short");
  FlashFileVerdict verdict{true, VersionFromI00Name(path), ""};
  if (lines[2].rfind("#LogicVer:", 0) == 0) verdict.logicVersion = std::atoi(lines[2].c_str() + 10);
  std::size_t dataBytes = 0;
  bool ended = false;
  for (std::size_t i = 3; i < lines.size() && !ended; ++i) {
    const std::string problem = RecordProblem(lines[i]);
    if (!problem.empty()) return Problem("line " + std::to_string(i + 1) + " of the I00 file " + problem);
    const std::string type = lines[i].substr(7, 2);
    if (type == "00") dataBytes += static_cast<std::size_t>(HexDigit(lines[i][1]) * 16 + HexDigit(lines[i][2]));
    ended = type == "01";
  }
  if (!ended) return Problem("the I00 file has no end record (\":00000001FF\")");
  if (dataBytes > kI00ImageBytes) return Problem("the I00 file holds more data than the 512-Kbyte flash");
  return verdict;
}

// The rows' checksum as the drive's programming stream defines it: every
// pair from the row's end, its second digit and then its first, each
// digit's bits from bit 0 up, shifted in with the polynomial added when
// bit 31 falls out.
void FeedRowChecksum(uint32_t& value, const std::string& digits) {
  for (std::size_t end = digits.size(); end >= 2; end -= 2) {
    for (const char c : {digits[end - 1], digits[end - 2]}) {
      for (int bit = 0; bit < 4; ++bit) {
        const bool carry = (value & 0x80000000u) != 0;
        value = value * 2 + ((static_cast<uint32_t>(HexDigit(c)) >> bit) & 1u);
        if (carry) value ^= 0x04C11DB7u;
      }
    }
  }
}

// CRC-16 of ITU-T X.25 without its final complement; CR and LF skipped.
void FeedFileChecksum(uint32_t& value, const std::string& line) {
  for (const char c : line) {
    uint32_t byte = static_cast<unsigned char>(c);
    for (int step = 0; step < 8; ++step, byte >>= 1)
      value = ((value ^ byte) & 1u) != 0 ? (value >> 1) ^ 0x8408u : value >> 1;
  }
}

std::string AfterLastSeparator(const std::string& line) {
  const std::size_t cut = line.find_last_of(" \t(");
  return cut == std::string::npos ? line : line.substr(cut + 1);
}

std::optional<uint32_t> ParseHex(const std::string& text) {
  if (text.empty() || text.size() > 8) return std::nullopt;
  uint32_t value = 0;
  for (char c : text) {
    if (HexDigit(c) < 0) return std::nullopt;
    value = value * 16 + static_cast<uint32_t>(HexDigit(c));
  }
  return value;
}

// Finds the data rows and both checksums the way the library reads them,
// and names the line of the first thing that is wrong.
FlashFileVerdict CheckIsc(const std::vector<std::string>& lines) {
  uint32_t rowChecksum = 0, fileChecksum = 0xFFFF;
  std::optional<uint32_t> expectedRows;
  std::size_t rows = 0, crcLine = 0;
  bool inData = false;
  for (std::size_t i = 0; i < lines.size() && (inData || crcLine == 0 || i <= crcLine + 2); ++i) {
    const std::string& line = lines[i];
    FeedFileChecksum(fileChecksum, line);
    if (!inData && line.find("Initialize") != std::string::npos) inData = true;
    if (!inData) continue;
    if (line.find("data_CRC") != std::string::npos) {
      // A data section may start again in the trailer; the last data_CRC
      // line holds the checksum of all rows.
      const std::string field = AfterLastSeparator(line);
      expectedRows = ParseHex(field.substr(0, field.empty() ? 0 : field.size() - 1));
      inData = false;
      crcLine = i;
      continue;
    }
    const std::string digits = AfterLastSeparator(line).substr(0, kIscRowDigits);
    bool hex = digits.size() == kIscRowDigits;
    for (char c : digits) hex = hex && HexDigit(c) >= 0;
    if (!hex) return Problem("row " + std::to_string(rows + 1) + " (line " + std::to_string(i + 1) +
                             ") of the ISC file is not 1024 hex digits");
    FeedRowChecksum(rowChecksum, digits);
    ++rows;
  }
  if (crcLine != 0 && expectedRows != rowChecksum)
    return Problem("the data rows fail their checksum (data_CRC on line " + std::to_string(crcLine + 1) +
                   " of the ISC file)");
  if (crcLine == 0) return Problem("the ISC file has no data_CRC line");
  if (rows != kIscRows)
    return Problem("the ISC file has " + std::to_string(rows) + " data rows; the flash takes 512");
  const std::size_t sumLine = crcLine + 3;
  const auto expected = sumLine < lines.size() ? ParseHex(lines[sumLine]) : std::nullopt;
  if (!expected || (*expected & 0xFFFF) != (~fileChecksum & 0xFFFF))
    return Problem("line " + std::to_string(sumLine + 1) + " of the ISC file: the file fails its checksum");
  // ISC files are made for logic version 3.
  return FlashFileVerdict{true, 3, ""};
}

}  // namespace

FlashFileVerdict CheckFlashFile(const std::string& path, FlashFileKind kind) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return Problem("cannot open " + path);
  const std::vector<std::string> lines = Lines(in);
  return kind == FlashFileKind::kI00 ? CheckI00(path, lines) : CheckIsc(lines);
}

}  // namespace svodb_tool
