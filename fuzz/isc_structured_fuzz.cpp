// The ISC reader behind a structure-aware front end. The input chooses the
// content of a well-formed ISC file (a pattern repeated over the 512 rows),
// its line ends, a few line edits, and whether the row and file checksums
// are put right after the edits; a file that reads and checks cleanly is
// then programmed on a drive whose ISP answers the input also scripts.
//
// Input: flags (bit 0 keep the row checksum right, bit 1 keep the file
// checksum right, bit 2 CRLF, bit 3 program the file), a pattern length and
// that many pattern bytes, eight ISP script bytes, then the line edits.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "flash_front_end.h"
#include "isp/isc_file.h"

namespace {

using namespace svodb::isp;
using svodb::LineReader;
using svodb::fuzz::Hex;
using svodb::fuzz::InputCursor;
using svodb::fuzz::Require;

constexpr std::size_t kFirstRowLine = 2;
constexpr std::size_t kDataCrcLine = kFirstRowLine + kIscRowCount;
constexpr std::size_t kFileChecksumLine = kDataCrcLine + 3;

std::vector<std::string> WellFormedLines(const std::vector<uint8_t>& pattern) {
  std::vector<std::string> lines = {"// svodb fuzz configuration", "STATE RESET;"};
  std::size_t at = 0;
  for (std::size_t row = 0; row < kIscRowCount; ++row) {
    std::string line = row == 0 ? "! Initialize SDR 4096 TDI (" : "SDR 4096 TDI (";
    for (std::size_t k = 0; k < kIscRowBytes; ++k) line += Hex(pattern[at++ % pattern.size()], 2);
    lines.push_back(line + ");");
  }
  lines.insert(lines.end(), {"! data_CRC (0)", "STATE IDLE;", "! end", "0000", "! not read"});
  return lines;
}

svodb::Result ReadText(const std::string& text, IscContent& content) {
  LineReader lines(text);
  const svodb::Result read = ReadIsc(lines, content, [] {});
  return read == svodb::code::kOk ? CheckIsc(content) : read;
}

// Puts the checksums the reader computed into the lines that state them,
// where the edits left those lines in place.
void PutChecksumsRight(std::vector<std::string>& lines, bool crlf, bool rows, bool file) {
  IscContent content;
  if (rows && lines.size() > kDataCrcLine && lines[kDataCrcLine].starts_with("! data_CRC")) {
    ReadText(svodb::fuzz::Joined(lines, crlf), content);
    lines[kDataCrcLine] = "! data_CRC (" + Hex(content.rowChecksum.Value(), 8) + ")";
  }
  if (file && lines.size() > kFileChecksumLine) {
    content = IscContent{};
    ReadText(svodb::fuzz::Joined(lines, crlf), content);
    lines[kFileChecksumLine] = Hex(static_cast<uint16_t>(~content.fileCrc.Register()), 4);
  }
}

// The well-formed file of the last pattern: building one and working out
// its checksums reads half a megabyte three times, which a run of inputs
// with the same pattern need not repeat.
std::vector<std::string> WellFormed(const std::vector<uint8_t>& pattern, bool crlf) {
  static std::vector<uint8_t> lastPattern;
  static bool lastCrlf = false;
  static std::vector<std::string> lastLines;
  if (lastLines.empty() || pattern != lastPattern || crlf != lastCrlf) {
    lastLines = WellFormedLines(pattern);
    PutChecksumsRight(lastLines, crlf, true, true);
    lastPattern = pattern;
    lastCrlf = crlf;
  }
  return lastLines;
}

void Program(const std::string& text, std::vector<uint8_t> script) {
  svodb::fuzz::ProgramOnScriptedDrive("svodb_isc_structured_fuzz.isc", text, std::move(script),
                                      [](svodb::LibraryContext& ctx, const char* fileName) {
                                        const svodb::Result programmed =
                                            ProgramIscFile(ctx, fileName, Function::kProgram, 0);
                                        Require(programmed != 32 && programmed != 41);  // the file was good
                                      });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  InputCursor input(data, size);
  const uint8_t flags = input.Byte();
  std::vector<uint8_t> pattern(1 + input.Byte() % 64);
  for (uint8_t& byte : pattern) byte = input.Byte();
  std::vector<uint8_t> script(8);
  for (uint8_t& byte : script) byte = input.Byte();

  const bool crlf = (flags & 4) != 0;
  std::vector<std::string> lines = WellFormed(pattern, crlf);
  svodb::fuzz::EditLines(lines, input);
  PutChecksumsRight(lines, crlf, (flags & 1) != 0, (flags & 2) != 0);

  const std::string text = svodb::fuzz::Joined(lines, crlf);
  IscContent content;
  const svodb::Result result = ReadText(text, content);
  Require(result == 1 || result == 32 || result == 41 || result == 42);
  Require(content.rowCount <= kIscRowCount && content.rows.size() == kIscRowCount * kIscRowBytes);
  if (result == 1 && (flags & 8) != 0) Program(text, script);
  return 0;
}
