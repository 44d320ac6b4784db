// Runs in a fresh process for the catalogue benchmark and prints one time in
// nanoseconds:
//   svodb_load_probe load LIBRARY   how long dlopen of the library takes:
//                                   mapping, relocation and the construction
//                                   of its process objects;
//   svodb_load_probe construct      how long the process objects take to
//                                   become usable: they are constant images
//                                   the compiler built (constinit, as in the
//                                   library), so what is left is the first
//                                   touch of each of their pages, with cold
//                                   caches and untouched pages.
#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string_view>

#include "catalog/catalogue_rows.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "drive/register_rows.h"
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

// The same objects, initialised the same way as the library's process-wide
// ones.
SVODB_PROCESS_CONSTINIT svodb::ParameterDatabase g_database{svodb::CatalogueRows()};
SVODB_PROCESS_CONSTINIT svodb::RegisterMap g_registers{svodb::RegisterRows()};
SVODB_PROCESS_CONSTINIT svodb::MdbFieldList g_mdbFields;
SVODB_PROCESS_CONSTINIT svodb::TrxFieldList g_trxFields;

template <typename T>
void TouchEveryPage(T& object) {
  constexpr std::size_t kPage = 4096;
  auto* bytes = reinterpret_cast<volatile unsigned char*>(&object);
  for (std::size_t offset = 0; offset < sizeof(T); offset += kPage) bytes[offset] = bytes[offset];
}

int Construct() {
  const auto start = Clock::now();
  TouchEveryPage(g_database);
  TouchEveryPage(g_registers);
  TouchEveryPage(g_mdbFields);
  TouchEveryPage(g_trxFields);
  std::printf("%lld\n", Since(start));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string_view(argv[1]) == "load") return Load(argv[2]);
  if (argc >= 2 && std::string_view(argv[1]) == "construct") return Construct();
  return 2;
}
