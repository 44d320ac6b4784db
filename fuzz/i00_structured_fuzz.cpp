// The I00 reader behind a structure-aware front end. The input chooses the
// records of a well-formed I00 file (an extended-address record, data
// records of its choice of length, offset and bytes, the end record), its
// line ends and a few line edits; a file that reads cleanly is then
// programmed or verified on a drive whose ISP answers the input scripts.
//
// Input: flags (bit 0 a verify instead of a program, bit 2 CRLF, bit 3
// program the file, bits 4-7 the segment), eight ISP script bytes, a record
// count, then per record its length, offset and data, then the line edits.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "flash_front_end.h"

namespace {

using namespace svodb::isp;
using svodb::fuzz::Hex;
using svodb::fuzz::InputCursor;
using svodb::fuzz::Require;

// The name carries no version; the header's "#LogicVer:0" matches the
// scripted drive, whose registers all read 0.
constexpr const char* kFileName = "svodb_i00_structured_fuzz.i00";

// A record in the Intel HEX layout with its checksum, which the reader does
// not check but a real file has.
std::string Record(uint32_t type, uint32_t offset, const std::vector<uint8_t>& bytes) {
  uint32_t sum = static_cast<uint32_t>(bytes.size()) + (offset >> 8) + (offset & 0xFF) + type;
  std::string line = ":" + Hex(static_cast<uint32_t>(bytes.size()), 2) + Hex(offset, 4) + Hex(type, 2);
  for (const uint8_t byte : bytes) {
    line += Hex(byte, 2);
    sum += byte;
  }
  return line + Hex((0x100 - (sum & 0xFF)) & 0xFF, 2);
}

std::vector<std::string> WellFormedLines(uint8_t flags, InputCursor& input) {
  std::vector<std::string> lines = {"#IT: svodb fuzz image", "# front end", "#LogicVer:0"};
  const uint32_t segment = flags >> 4;
  lines.push_back(Record(4, 0, {static_cast<uint8_t>(segment >> 8), static_cast<uint8_t>(segment)}));
  const int records = 1 + input.Byte() % 32;
  for (int r = 0; r < records && !input.Empty(); ++r) {
    std::vector<uint8_t> bytes(input.Byte() % 33);
    const uint16_t offset = input.Word();
    for (uint8_t& byte : bytes) byte = input.Byte();
    lines.push_back(Record(0, offset, bytes));
  }
  lines.push_back(Record(1, 0, {}));
  return lines;
}

void Program(const std::string& text, std::vector<uint8_t> script, Function function) {
  svodb::fuzz::ProgramOnScriptedDrive(kFileName, text, std::move(script), [&](svodb::LibraryContext& ctx,
                                                                               const char* fileName) {
    const svodb::Result programmed = ProgramI00File(ctx, fileName, function, 0);
    Require(programmed != 32 && programmed != 33 && programmed != 43);  // the file itself was good
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  InputCursor input(data, size);
  const uint8_t flags = input.Byte();
  std::vector<uint8_t> script(8);
  for (uint8_t& byte : script) byte = input.Byte();
  std::vector<std::string> lines = WellFormedLines(flags, input);
  svodb::fuzz::EditLines(lines, input);
  const std::string text = svodb::fuzz::Joined(lines, (flags & 4) != 0);

  int32_t version = 0;
  const svodb::Result result = svodb::fuzz::ReadI00Guarded(text, kFileName, version);
  if (result == 1 && version == 0 && (flags & 8) != 0)
    Program(text, script, (flags & 1) != 0 ? Function::kVerify : Function::kProgram);
  return 0;
}
