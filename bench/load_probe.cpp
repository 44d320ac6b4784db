// Runs in a fresh process for the catalogue benchmark and prints one time in
// nanoseconds:
//   svodb_load_probe load LIBRARY   how long dlopen of the library takes:
//                                   mapping, relocation and the construction
//                                   of its process objects;
//   svodb_load_probe construct      how long building the process objects
//                                   takes, as loading builds them, with cold
//                                   caches and untouched pages.
#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <new>
#include <string_view>

#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "feedback/gen1_writes.h"
#include "feedback/motor_data_block.h"

namespace {

using Clock = std::chrono::steady_clock;

long long Since(Clock::time_point start) {
  return static_cast<long long>(std::chrono::nanoseconds(Clock::now() - start).count());
}

int Load(const char* library) {
  const auto start = Clock::now();
  void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  const long long elapsed = Since(start);
  if (handle == nullptr) return 1;
  std::printf("%lld\n", elapsed);
  return 0;
}

// The same objects in the same order as the library's process-wide ones.
int Construct() {
  alignas(svodb::ParameterDatabase) static unsigned char database[sizeof(svodb::ParameterDatabase)];
  alignas(svodb::RegisterMap) static unsigned char registers[sizeof(svodb::RegisterMap)];
  alignas(svodb::MdbFieldList) static unsigned char mdb[sizeof(svodb::MdbFieldList)];
  alignas(svodb::TrxFieldList) static unsigned char trx[sizeof(svodb::TrxFieldList)];
  const auto start = Clock::now();
  new (database) svodb::ParameterDatabase;
  new (registers) svodb::RegisterMap;
  new (mdb) svodb::MdbFieldList;
  new (trx) svodb::TrxFieldList;
  std::printf("%lld\n", Since(start));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string_view(argv[1]) == "load") return Load(argv[2]);
  if (argc >= 2 && std::string_view(argv[1]) == "construct") return Construct();
  return 2;
}
