// Flash programming speed. Goals: the library's own work per streamed byte
// under 20 ns against a transport that answers at once (the transport's own
// time, a serial byte at 115200 baud taking some 87 us, dwarfs it), and a
// whole ISC or I00 file read and checked in under 5 ms.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "drive/transport.h"
#include "isp/flash_files.h"
#include "isp/i00_file.h"
#include "isp/isc_file.h"
#include "isp/isp_protocol.h"
#include "virtual_platform.h"

namespace {

using namespace svodb;

// A serial link whose drive takes every byte and is always ready.
class InstantTransport final : public NoTransport {
 public:
  int32_t GetCommType() override { return kSerialConnection; }
  int32_t SendISPByte(int32_t byte, int32_t* status) override {
    sum_ += static_cast<uint32_t>(byte);
    *status = isp::status::kReady;
    return code::kOk;
  }
  int32_t GetISPStatus(int32_t* status, int32_t) override {
    *status = isp::status::kReady;
    return code::kOk;
  }
  uint32_t Sum() const { return sum_; }

 private:
  uint32_t sum_ = 0;
};

void StreamI00Image(benchmark::State& state) {
  ParameterDatabase db;
  RegisterMap registers;
  InstantTransport transport;
  sim::VirtualPlatform platform;
  LibraryContext ctx{db, registers, transport, platform};
  const std::vector<uint8_t> image = testing::RandomBytes(isp::kI00ImageSize, 1);
  const std::span<const uint8_t> blocks(image);
  for (auto _ : state) {
    isp::IspSession session(ctx);
    for (std::size_t block = 0; block < isp::kI00BlockCount; ++block) {
      const auto ended = session.StreamUnit(blocks.subspan(block * isp::kI00BlockSize, isp::kI00BlockSize),
                                            block + 1 == isp::kI00BlockCount);
      if (ended) state.SkipWithError("the stream ended early");
    }
    benchmark::DoNotOptimize(transport.Sum());
  }
  state.counters["per_byte"] =
      benchmark::Counter(static_cast<double>(image.size()),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(StreamI00Image)->Unit(benchmark::kMillisecond);

// A generated file on disk for the length of the process.
class FileOnDisk {
 public:
  FileOnDisk(const std::string& name, const std::string& text)
      : path_(std::filesystem::temp_directory_path() / ("svodb_bench_" + name)) {
    std::ofstream(path_, std::ios::binary) << text;
  }
  ~FileOnDisk() { std::filesystem::remove(path_); }
  std::string Path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

void ReadIscFile(benchmark::State& state) {
  static const FileOnDisk file("config.isc",
                               testing::MakeIscFile(testing::RandomBytes(isp::kIscRowCount * 512, 2)));
  for (auto _ : state) {
    const File handle(std::fopen(file.Path().c_str(), "rb"), &std::fclose);
    LineReader lines(handle.get());
    isp::IscContent content;
    const Result read = isp::ReadIsc(lines, content, [] {});
    if (read != code::kOk || isp::CheckIsc(content) != code::kOk)
      state.SkipWithError("the file did not read");
    benchmark::DoNotOptimize(content.rows.data());
  }
}
BENCHMARK(ReadIscFile)->Unit(benchmark::kMillisecond);

void ReadI00File(benchmark::State& state) {
  static const FileOnDisk file("ABC-DEF004-GH.i00",
                               testing::MakeI00File(testing::RandomBytes(isp::kI00ImageSize, 3), 4));
  std::vector<uint8_t> image(isp::kI00ImageSize);
  for (auto _ : state) {
    const File handle(std::fopen(file.Path().c_str(), "rb"), &std::fclose);
    std::fill(image.begin(), image.end(), uint8_t{0xFF});
    LineReader lines(handle.get());
    int32_t version = 0;
    if (isp::ReadI00Header(lines, file.Path(), version) != code::kOk ||
        isp::ReadI00Records(lines, image) != code::kOk) {
      state.SkipWithError("the file did not read");
    }
    benchmark::DoNotOptimize(image.data());
  }
}
BENCHMARK(ReadI00File)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
