// Feeds arbitrary bytes to the I00 reader: the text up to the first NUL is
// the file's name (a fixed name when there is none), the rest the file.
// Checks that every answer is one the reader may give and that nothing is
// written outside the image.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "isp/i00_file.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  using namespace svodb::isp;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string_view name = "ABC-DEF004-GH.i00";
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    name = text.substr(0, nul);
    text.remove_prefix(nul + 1);
  }
  const int32_t nameVersion = VersionFromFileName(name);
  Require(nameVersion >= -1 && nameVersion <= 999);

  // Guard bytes on both sides of the image catch a write outside it.
  constexpr std::size_t kGuard = 64;
  std::vector<uint8_t> buffer(kI00ImageSize + 2 * kGuard, 0xA5);
  const std::span<uint8_t> image(buffer.data() + kGuard, kI00ImageSize);
  std::fill(image.begin(), image.end(), uint8_t{0xFF});
  LineReader lines(text);
  int32_t version = 0;
  svodb::Result result = ReadI00Header(lines, name, version);
  Require(result == 1 || result == 32);
  if (result == 1) {
    result = ReadI00Records(lines, image);
    Require(result == 1 || result == 32 || result == 43);
  }
  for (std::size_t i = 0; i < kGuard; ++i)
    Require(buffer[i] == 0xA5 && buffer[buffer.size() - 1 - i] == 0xA5);
  return 0;
}
