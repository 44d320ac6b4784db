// Feeds arbitrary bytes to the I00 reader: the text up to the first NUL is
// the file's name (a fixed name when there is none), the rest the file.
// Checks that every answer is one the reader may give and that nothing is
// written outside the image.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "flash_front_end.h"
#include "isp/i00_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  using namespace svodb::isp;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string_view name = "ABC-DEF004-GH.i00";
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    name = text.substr(0, nul);
    text.remove_prefix(nul + 1);
  }
  const int32_t nameVersion = VersionFromFileName(name);
  svodb::fuzz::Require(nameVersion >= -1 && nameVersion <= 999);

  int32_t version = 0;
  svodb::fuzz::ReadI00Guarded(text, name, version);
  return 0;
}
