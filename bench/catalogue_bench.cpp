// The catalogue's speed goals: loading the library builds almost nothing
// (at most 50 us of construction in a fresh process), a name lookup takes
// under 30 ns whether the name is known or not, ErrorMessage_SVODB allocates
// nothing, and the process-wide lock costs an offline GetVariable_SVODB a few
// nanoseconds at most.
//
// Loading is measured in a fresh process each iteration: the program runs
// svodb_load_probe, which times either dlopen of the shared library (mapping,
// relocation and construction together) or what is left of building the
// process objects once the compiler has built them (constinit): the first
// touch of their pages, with the cold caches of a new process.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "api/global_state.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "svodb/svodb.h"
#include "values/offline_values.h"

namespace {

std::atomic<long> g_allocations{0};

}  // namespace

// Counts every allocation of the process, so a benchmark can report how many
// one call makes. g++ takes malloc inside a replaced operator new for a
// mismatch with the free in the replaced delete; both are ours and match.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(std::size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

void FindKnownName(benchmark::State& state) {
  const svodb::Catalogue& catalogue = svodb::api::Context().db.catalogue;
  for (auto _ : state) benchmark::DoNotOptimize(catalogue.Find("CmdOffset"));
}
BENCHMARK(FindKnownName);

void FindUnknownName(benchmark::State& state) {
  const svodb::Catalogue& catalogue = svodb::api::Context().db.catalogue;
  for (auto _ : state) benchmark::DoNotOptimize(catalogue.Find("CmdOffsets"));
}
BENCHMARK(FindUnknownName);

void FindUnknownShortName(benchmark::State& state) {
  const svodb::Catalogue& catalogue = svodb::api::Context().db.catalogue;
  for (auto _ : state) benchmark::DoNotOptimize(catalogue.Find("Zz"));
}
BENCHMARK(FindUnknownShortName);

void FindRegister(benchmark::State& state) {
  const svodb::RegisterMap& registers = svodb::api::Context().registers;
  for (auto _ : state) benchmark::DoNotOptimize(registers.FindRegister("cmdoffset"));
}
BENCHMARK(FindRegister);

void ErrorMessage(benchmark::State& state) {
  std::array<char, SVODB_MESSAGE_SIZE> message{};
  const long before = g_allocations.load();
  for (auto _ : state) {
    ErrorMessage_SVODB(10408, message.data());
    benchmark::DoNotOptimize(message.data());
  }
  state.counters["allocations/call"] =
      static_cast<double>(g_allocations.load() - before) / static_cast<double>(state.iterations());
}
BENCHMARK(ErrorMessage);

// The offline read as a commissioning program makes it, lock included.
void GetVariableOffline(benchmark::State& state) {
  SetNode_SVODB(1);
  double value = 0.0;
  for (auto _ : state) {
    GetVariable_SVODB("KVP", &value);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(GetVariableOffline);

// The same read without the export's frame (lock, context, catch-all): the
// difference to GetVariableOffline is what the frame costs.
void GetOfflineValueInner(benchmark::State& state) {
  svodb::LibraryContext ctx = svodb::api::Context();
  double value = 0.0;
  for (auto _ : state) {
    svodb::GetOfflineValue(ctx, "KVP", 1, value);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(GetOfflineValueInner);

// The library's lock taken and released with no other thread about: what
// every export pays for being callable from any thread.
void LibraryLock(benchmark::State& state) {
  std::recursive_mutex& mutex = svodb::api::LibraryMutex();
  for (auto _ : state) {
    mutex.lock();
    benchmark::ClobberMemory();
    mutex.unlock();
  }
}
BENCHMARK(LibraryLock);

// Runs the probe in a fresh process and reads the time it reports (ns).
bool RunProbe(const char* what, long& elapsed_ns) {
  int pipe_ends[2];
  if (pipe(pipe_ends) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    dup2(pipe_ends[1], STDOUT_FILENO);
    execl(SVODB_LOAD_PROBE, SVODB_LOAD_PROBE, what, SVODB_LIBRARY, nullptr);
    _exit(127);
  }
  close(pipe_ends[1]);
  std::array<char, 128> text{};
  const ssize_t count = read(pipe_ends[0], text.data(), text.size() - 1);
  close(pipe_ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return count > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
         std::sscanf(text.data(), "%ld", &elapsed_ns) == 1;
}

// Besides the mean, the median and the fastest run: on a shared machine a
// fresh process is often descheduled, and a mean of 200 runs shows that more
// than the library.
void InFreshProcess(benchmark::State& state, const char* what) {
  std::vector<double> runs_us;
  for (auto _ : state) {
    long elapsed_ns = 0;
    if (!RunProbe(what, elapsed_ns)) {
      state.SkipWithError("the load probe failed");
      return;
    }
    state.SetIterationTime(static_cast<double>(elapsed_ns) * 1e-9);
    runs_us.push_back(static_cast<double>(elapsed_ns) / 1000.0);
  }
  std::sort(runs_us.begin(), runs_us.end());
  state.counters["median_us"] = runs_us[runs_us.size() / 2];
  state.counters["fastest_us"] = runs_us.front();
}
BENCHMARK_CAPTURE(InFreshProcess, load, "load")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(200);
BENCHMARK_CAPTURE(InFreshProcess, construct, "construct")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(200);

}  // namespace

BENCHMARK_MAIN();
