// Writes a configuration file of each kind into a new or empty folder, for
// the tool's end-to-end flash tests: sample.isc (any logic version 3 drive)
// and ABC-DEF004-GH.i00 (logic version 4, by its name). It never deletes
// anything: a folder that holds files is refused.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "isp/flash_files.h"

int main(int argc, char** argv) {
  const bool help = argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0);
  if (help || argc != 2 || argv[1][0] == '-') {
    std::fprintf(help ? stdout : stderr, "usage: svodb_flash_samples FOLDER (new or empty)\n");
    return help ? 0 : 2;
  }
  using namespace svodb::testing;
  const std::filesystem::path folder(argv[1]);
  std::error_code error;
  if (std::filesystem::exists(folder, error) &&
      (!std::filesystem::is_directory(folder, error) || !std::filesystem::is_empty(folder, error))) {
    std::fprintf(stderr, "svodb_flash_samples: %s is not a new or empty folder\n", argv[1]);
    return 2;
  }
  std::filesystem::create_directories(folder, error);
  const auto write = [&](const char* name, const std::string& text) {
    return static_cast<bool>(std::ofstream(folder / name, std::ios::binary) << text << std::flush);
  };
  const bool written = write("sample.isc", MakeIscFile(RandomBytes(kIscImageBytes, 21))) &&
                       write("ABC-DEF004-GH.i00", MakeI00File(RandomBytes(kI00ImageBytes, 22), -1));
  if (!written) std::fprintf(stderr, "svodb_flash_samples: cannot write into %s\n", argv[1]);
  return written ? 0 : 1;
}
