// Empties the folder given and writes a configuration file of each kind
// into it, for the tool's end-to-end flash tests: sample.isc (any logic
// version 3 drive) and ABC-DEF004-GH.i00 (logic version 4, by its name).
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "isp/flash_files.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  using namespace svodb::testing;
  const std::filesystem::path folder(argv[1]);
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "sample.isc", std::ios::binary) << MakeIscFile(RandomBytes(kIscImageBytes, 21));
  std::ofstream(folder / "ABC-DEF004-GH.i00", std::ios::binary)
      << MakeI00File(RandomBytes(kI00ImageBytes, 22), -1);
  return std::ofstream(folder / "sample.isc", std::ios::app) ? 0 : 1;
}
