// Runs a fuzz target over the files given and the files of the folders
// given, in name order: how the checked-in corpora are replayed as
// regression tests without libFuzzer. A crash or abort fails the run, and
// so does finding no input at all (a corpus that went missing).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const fs::path path(argv[i]);
    if (fs::is_directory(path)) {
      for (const auto& entry : fs::directory_iterator(path))
        if (entry.is_regular_file()) inputs.push_back(entry.path());
    } else {
      inputs.push_back(path);
    }
  }
  std::sort(inputs.begin(), inputs.end());
  for (const fs::path& path : inputs) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "cannot read %s\n", path.string().c_str());
      return 1;
    }
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::printf("%s\n", path.filename().string().c_str());
    std::fflush(stdout);  // the name stays visible when the input crashes
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs\n", inputs.size());
  return inputs.empty() ? 1 : 0;
}
