// What the feedback-device tests share: the virtual drive on the serial
// port with a ticking virtual clock, the library's and the subsystem's
// contexts, a transport that alters chosen answers of the drive, and a
// decoder of the Microwire frames on the port's lines.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "feedback/feedback_context.h"
#include "feedback/gen1_writes.h"
#include "feedback/motor_data_block.h"
#include "sim/forwarding_transport.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb::testing {

using Block = std::array<uint32_t, kMdbSize>;

// A valid block whose bytes differ from the drive's factory block.
inline Block TestBlock(uint32_t seed = 1) {
  Block block{};
  for (std::size_t i = 0; i + 1 < block.size(); ++i) block[i] = (i * 13 + seed * 7) & 0xFF;
  const uint32_t sum = std::accumulate(block.begin(), block.end() - 1, 0u);
  block[383] = ~sum & 0xFF;
  return block;
}

inline Block BlockOfDrive(const sim::MotorDataBlock& bytes) {
  Block block{};
  std::copy(bytes.begin(), bytes.end(), block.begin());
  return block;
}

// Forwards to the drive; reads of FPGA registers pass through `alter`,
// which sees the register, the read's 1-based number among reads of that
// register and the value, and may change it.
class TamperedTransport final : public ForwardingTransport {
 public:
  using ForwardingTransport::ForwardingTransport;
  std::function<void(int32_t address, int readNumber, int32_t& data)> alter;

  int32_t GetVarFromFPGA(int32_t address, int32_t* data, int32_t* second) override {
    const int32_t result = drive_.GetVarFromFPGA(address, data, second);
    const int number = ++reads_[static_cast<std::size_t>(address & 0xFF)];
    if (result == 1 && alter) alter(address, number, *data);
    return result;
  }

 private:
  std::array<int, 256> reads_{};
};

// One chip-select period on the bit-mode lines: the bits clocked in on
// rising clock edges, most significant first.
struct MicrowireFrame {
  std::vector<int> bits;

  // The 11-bit header, or -1 when fewer bits were sent.
  int Header() const {
    if (bits.size() < 11) return -1;
    int header = 0;
    for (std::size_t i = 0; i < 11; ++i) header = header * 2 + bits[i];
    return header;
  }
  // The 16 data bits after a write header.
  int Data() const {
    if (bits.size() < 27) return -1;
    int data = 0;
    for (std::size_t i = 11; i < 27; ++i) data = data * 2 + bits[i];
    return data;
  }
};

// Decodes the line images written to register 22 (chip select bit 0, clock
// bit 1, data in bit 2, all gated by the port enable bit 3).
inline std::vector<MicrowireFrame> DecodeFrames(const sim::CallLog& log) {
  std::vector<MicrowireFrame> frames;
  int previous = 0;
  for (const sim::CallRecord& call : log.Records()) {
    if (call.operation != sim::Operation::kPutVarToFPGA || call.arguments[0] != 22 || call.result != 1)
      continue;
    const int lines = (call.arguments[1] & 0x08) != 0 ? call.arguments[1] & 0x07 : 0;
    const bool cs = (lines & 1) != 0, wasCs = (previous & 1) != 0;
    if (cs && !wasCs) frames.emplace_back();
    if (cs && wasCs && (lines & 2) != 0 && (previous & 2) == 0)
      frames.back().bits.push_back((lines >> 2) & 1);
    previous = lines;
  }
  return frames;
}

// Write frames (header 0x500 + word) as word addresses, in order.
inline std::vector<int> WrittenWords(const sim::CallLog& log) {
  std::vector<int> words;
  for (const MicrowireFrame& frame : DecodeFrames(log)) {
    if (frame.Header() >= 0x500 && frame.Header() < 0x600) words.push_back(frame.Header() - 0x500);
  }
  return words;
}

inline std::size_t CountCalls(const sim::CallLog& log, sim::Operation operation, int32_t first = -1,
                              int32_t second = -1) {
  std::size_t count = 0;
  for (const sim::CallRecord& call : log.Records()) {
    if (call.operation != operation) continue;
    if (first >= 0 && call.arguments[0] != first) continue;
    if (second >= 0 && call.arguments[1] != second) continue;
    ++count;
  }
  return count;
}

// Engine instructions sent (function 115 followed by the byte at 22).
inline std::vector<int> Instructions(const sim::CallLog& log) {
  std::vector<int> sent;
  int function = -1;
  for (const sim::CallRecord& call : log.Records()) {
    if (call.operation != sim::Operation::kPutVarToFPGA || call.result != 1) continue;
    if (call.arguments[0] == 23) function = call.arguments[1];
    if (call.arguments[0] == 22 && function == 115) sent.push_back(call.arguments[1]);
  }
  return sent;
}

inline std::vector<int> BaudChanges(const sim::CallLog& log) {
  std::vector<int> rates;
  for (const sim::CallRecord& call : log.Records())
    if (call.operation == sim::Operation::kChangeBaudRate) rates.push_back(call.arguments[0]);
  return rates;
}

inline sim::DriveConfig Generation(int32_t generation, std::string version = "4.0A", uint8_t switches = 0) {
  sim::DriveConfig config;
  config.feedbackGeneration = generation;
  config.versionText = std::move(version);
  config.setupSwitches = switches;
  return config;
}

// The drive on the serial port, an empty call log and a clock that moves a
// millisecond at every read, so busy waits end.
class FeedbackTest : public ::testing::Test {
 protected:
  explicit FeedbackTest(sim::DriveConfig config = {}) : drive(std::move(config)) {}

  void SetUp() override {
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    drive.Log().Clear();
    platform.SetTickPerRead(1);
    start_ms = platform.Now();
  }

  uint32_t Elapsed() const { return platform.Now() - start_ms; }
  void Restart() {
    drive.Log().Clear();
    start_ms = platform.Now();
  }
  bool DiagnosticsOn() const { return (drive.FpgaByte(58) & 0x40) != 0; }
  bool LinesDropped() const { return drive.FpgaByte(22) == 0; }

  sim::VirtualDrive drive;
  sim::VirtualPlatform platform;
  ParameterDatabase db;
  RegisterMap registers;
  LibraryContext ctx{db, registers, drive, platform};
  FeedbackState state;
  MdbFieldList mdbFields;
  TrxFieldList trxFields;
  FeedbackContext fc{ctx, state, mdbFields, trxFields};
  uint32_t start_ms = 0;
};

}  // namespace svodb::testing
