// The feedback-device operations against the virtual drive: per operation
// the transport calls it makes (split by the link speed in force), the
// virtual time it waits and pauses, and an estimate of its time on the
// wire. The wall time Google Benchmark reports is the library's and the
// virtual drive's own work.
//
// The wire estimate assumes 8 bytes per transport exchange (request and
// answer) at 10 bits a byte: 4.2 ms a call at 19200 baud, 0.69 ms at
// 115200. It is there to compare operations and speeds, not a promise.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <numeric>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "feedback/device_memory.h"
#include "feedback/gen1_writes.h"
#include "feedback/motor_data_block.h"
#include "feedback/trx_link.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb {
namespace {

constexpr double kBitsPerCall = 8 * 10;

// Counts each call under the speed the drive's link runs at when it comes.
class SpeedCountingTransport final : public Transport {
 public:
  explicit SpeedCountingTransport(sim::VirtualDrive& drive) : drive_(drive) {}
  uint64_t fast = 0;
  uint64_t normal = 0;

  int32_t InitComPort(int32_t p, int32_t b) override { return Count(), drive_.InitComPort(p, b); }
  int32_t InitMotoBus(const std::array<int32_t, 8>& a) override { return Count(), drive_.InitMotoBus(a); }
  int32_t KillMotoBus() override { return Count(), drive_.KillMotoBus(); }
  int32_t GetCommType() override { return Count(), drive_.GetCommType(); }
  int32_t GetVarFromFPGA(int32_t a, int32_t* d, int32_t* s) override {
    return Count(), drive_.GetVarFromFPGA(a, d, s);
  }
  int32_t PutVarToFPGA(int32_t a, int32_t d) override { return Count(), drive_.PutVarToFPGA(a, d); }
  int32_t GetVarFromEEPROM(int32_t e, int32_t* r, int32_t* d) override {
    return Count(), drive_.GetVarFromEEPROM(e, r, d);
  }
  int32_t PutVarToEEPROM(int32_t e, int32_t r, int32_t d) override {
    return Count(), drive_.PutVarToEEPROM(e, r, d);
  }
  int32_t NVEraseUnit(int32_t e) override { return Count(), drive_.NVEraseUnit(e); }
  int32_t FlushPort() override { return Count(), drive_.FlushPort(); }
  int32_t ChangeBaudRate(int32_t b) override { return Count(), drive_.ChangeBaudRate(b); }
  int32_t SendISPByte(int32_t b, int32_t* s) override { return Count(), drive_.SendISPByte(b, s); }
  int32_t GetISPStatus(int32_t* s, int32_t t) override { return Count(), drive_.GetISPStatus(s, t); }
  int32_t ChangeGetSleepTime(int32_t v) override { return Count(), drive_.ChangeGetSleepTime(v); }
  int32_t GetMaxNumMotoBusAxes(int32_t* a) override { return Count(), drive_.GetMaxNumMotoBusAxes(a); }
  void CommSVODBVersion(char* t) override { drive_.CommSVODBVersion(t); }
  void CommNCLVersion(char* t) override { drive_.CommNCLVersion(t); }

 private:
  void Count() { ++(drive_.BaudRate() == 115200 ? fast : normal); }
  sim::VirtualDrive& drive_;
};

using Block = std::array<uint32_t, kMdbSize>;

Block ValidBlock(uint32_t seed) {
  Block block{};
  for (std::size_t i = 0; i + 1 < block.size(); ++i) block[i] = (i * 13 + seed * 7) & 0xFF;
  block[383] = ~std::accumulate(block.begin(), block.end() - 1, 0u) & 0xFF;
  return block;
}

Block DriveBlock(const sim::VirtualDrive& drive) {
  const sim::MotorDataBlock bytes = drive.Trx().Block();
  Block block{};
  std::copy(bytes.begin(), bytes.end(), block.begin());
  return block;
}

// One drive with the library's state around it.
struct Bench {
  explicit Bench(int32_t generation) : drive(Config(generation)), port(drive) {
    drive.InitComPort(1, 19200);
    drive.Log().SetRecording(false);
    platform.SetTickPerRead(1);
  }
  static sim::DriveConfig Config(int32_t generation) {
    sim::DriveConfig config;
    config.feedbackGeneration = generation;
    return config;
  }

  // Runs op once per iteration and reports the counters per operation.
  template <typename Op>
  void Run(benchmark::State& st, Op op) {
    const uint64_t fast0 = port.fast, normal0 = port.normal;
    uint64_t virtualMs = 0;
    for (auto _ : st) {
      const uint32_t before = platform.Now();
      benchmark::DoNotOptimize(op());
      virtualMs += platform.Now() - before;
    }
    const double n = static_cast<double>(st.iterations());
    const double fastCalls = static_cast<double>(port.fast - fast0) / n;
    const double normalCalls = static_cast<double>(port.normal - normal0) / n;
    st.counters["calls"] = fastCalls + normalCalls;
    st.counters["calls_115200"] = fastCalls;
    st.counters["calls_19200"] = normalCalls;
    st.counters["virtual_ms"] = static_cast<double>(virtualMs) / n;
    st.counters["wire_ms_est"] = 1000.0 * kBitsPerCall * (fastCalls / 115200 + normalCalls / 19200);
  }

  sim::VirtualDrive drive;
  SpeedCountingTransport port;
  sim::VirtualPlatform platform;
  ParameterDatabase db;
  RegisterMap registers;
  LibraryContext ctx{db, registers, port, platform};
  FeedbackState state;
  MdbFieldList mdbFields;
  TrxFieldList trxFields;
  FeedbackContext fc{ctx, state, mdbFields, trxFields};
};

void BM_Gen1ReadWord(benchmark::State& st) {
  Bench b(1);
  EnableTrxDiag(b.ctx);
  SelectTrxBitMode(b.ctx);
  OpenTrxLink(b.ctx, b.state.link);
  b.Run(st, [&] { return ReadTrxWord(b.ctx, b.state.link, 100); });
}

// arg: how many words of the block differ from the drive's copy.
void BM_Gen1WriteVerifyBlock(benchmark::State& st) {
  Bench b(1);
  const auto words = static_cast<std::size_t>(st.range(0));
  Block blocks[2] = {DriveBlock(b.drive), DriveBlock(b.drive)};
  for (std::size_t w = 0; w < words; ++w) {
    blocks[1][2 * w] = (blocks[1][2 * w] + 1) & 0xFF;
    blocks[1][2 * w + 1] = (blocks[1][2 * w + 1] + 255) & 0xFF;
  }
  int turn = 0;
  b.Run(st, [&] {
    MdbMismatch mismatch;
    turn ^= words != 0 ? 1 : 0;
    return WriteVerifyTrxMdb(b.fc, blocks[turn], mismatch);
  });
}

void BM_Gen1WriteWholeBlock(benchmark::State& st) {
  Bench b(1);
  const Block blocks[2] = {ValidBlock(1), ValidBlock(2)};
  int turn = 0;
  b.Run(st, [&] { return WriteTrxMdb(b.fc, blocks[turn ^= 1]); });
}

void BM_Gen1WriteParameter(benchmark::State& st) {
  Bench b(1);
  b.Run(st, [&] { return WriteTrx(b.fc, "SINGain", 700); });
}

void BM_CheckGeneration(benchmark::State& st) {
  Bench b(static_cast<int32_t>(st.range(0)));
  b.Run(st, [&] {
    uint32_t generation = 0, speed = 0, supported = 0;
    return CheckGenOfTrx(b.ctx, generation, speed, supported);
  });
}

void BM_Gen2ReadMemory(benchmark::State& st) {
  Bench b(2);
  std::vector<uint32_t> out(kTrx2ImageSize);
  b.Run(st, [&] {
    return ReadTrx2Memory(b.ctx, b.state.image,
                          std::span<uint32_t, kTrx2ImageSize>(out.data(), kTrx2ImageSize));
  });
}

void BM_Gen2WriteVerifyBlock(benchmark::State& st) {
  Bench b(2);
  const Block blocks[2] = {ValidBlock(1), ValidBlock(2)};
  int turn = 0;
  b.Run(st, [&] { return WriteVerifyTrx2Mdb(b.ctx, b.state.image, blocks[turn ^= 1], 5, 118); });
}

void BM_ReadDriveCopy(benchmark::State& st) {
  Bench b(1);
  Block out{};
  b.Run(st, [&] { return ReadTrxMdb(b.ctx, out); });
}

void BM_CheckDriveCopy(benchmark::State& st) {
  Bench b(1);
  const Block copy = DriveBlock(b.drive);
  b.Run(st, [&] {
    MdbMismatch mismatch;
    return CheckTrxMdb(b.ctx, copy, mismatch);
  });
}

BENCHMARK(BM_Gen1ReadWord);
BENCHMARK(BM_Gen1WriteVerifyBlock)->Arg(0)->Arg(1)->Arg(192)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Gen1WriteWholeBlock)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Gen1WriteParameter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CheckGeneration)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Gen2ReadMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Gen2WriteVerifyBlock)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadDriveCopy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CheckDriveCopy)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace svodb

BENCHMARK_MAIN();
