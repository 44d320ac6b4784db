// Loads the library named on the command line into this fresh process and
// prints how long dlopen took in nanoseconds: mapping, relocation and the
// construction of the library's process objects.
#include <dlfcn.h>

#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const auto start = std::chrono::steady_clock::now();
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  const auto end = std::chrono::steady_clock::now();
  if (library == nullptr) return 1;
  std::printf("%lld\n", static_cast<long long>(std::chrono::nanoseconds(end - start).count()));
  return 0;
}
