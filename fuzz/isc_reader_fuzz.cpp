// Feeds arbitrary bytes to the ISC reader as an ISC file, from memory and
// through a file, and checks that both readings agree and that every answer
// is one the reader may give.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "isp/isc_file.h"

namespace {

using namespace svodb::isp;
using svodb::LineReader;

svodb::Result Read(LineReader& lines, IscContent& content, int& steps) {
  const svodb::Result read = ReadIsc(lines, content, [&] { ++steps; });
  return read == svodb::code::kOk ? CheckIsc(content) : read;
}

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  IscContent fromMemory;
  int memorySteps = 0;
  LineReader memory(text);
  const svodb::Result result = Read(memory, fromMemory, memorySteps);
  Require(result == 1 || result == 32 || result == 41 || result == 42);
  Require(fromMemory.rowCount <= kIscRowCount && fromMemory.rows.size() == kIscRowCount * kIscRowBytes);
  Require(memorySteps == static_cast<int>(fromMemory.rowCount / kIscRowsPerProgressStep));

  std::FILE* file = std::tmpfile();
  if (file == nullptr) return 0;
  if (std::fwrite(data, 1, size, file) == size && std::fseek(file, 0, SEEK_SET) == 0) {
    IscContent fromFile;
    int fileSteps = 0;
    LineReader lines(file);
    Require(Read(lines, fromFile, fileSteps) == result);
    Require(fromFile.rows == fromMemory.rows && fileSteps == memorySteps);
  }
  std::fclose(file);
  return 0;
}
