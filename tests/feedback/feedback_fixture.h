// What the feedback-device tests share: the virtual drive on the serial
// port with a ticking virtual clock, the library's and the subsystem's
// contexts, and readers of the call log.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <numeric>
#include <string>
#include <tuple>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "feedback/gen1_writes.h"
#include "feedback/trx2_engine.h"
#include "feedback/trx_link.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb::testing {

using Block = std::array<uint32_t, kMdbSize>;
inline constexpr uint32_t kRegion = sim::FeedbackDevice::kRegionStart;  // of a generation-2 device's flash

// A valid block whose bytes differ from the drive's factory block.
inline Block TestBlock(uint32_t seed = 1) {
  Block block{};
  for (std::size_t i = 0; i + 1 < block.size(); ++i) block[i] = (i * 13 + seed * 7) & 0xFF;
  block[383] = ~std::accumulate(block.begin(), block.end() - 1, 0u) & 0xFF;
  return block;
}

inline Block BlockOfDrive(const sim::MotorDataBlock& bytes) {
  Block block{};
  std::copy(bytes.begin(), bytes.end(), block.begin());
  return block;
}

inline sim::DriveConfig Generation(int32_t generation, std::string version = "4.0A") {
  return sim::DriveConfig{.versionText = std::move(version), .feedbackGeneration = generation};
}

// The drive on the serial port, an empty call log and a clock that moves a
// millisecond at every read, so busy waits end.
class FeedbackTest : public ::testing::Test {
 protected:
  explicit FeedbackTest(sim::DriveConfig config = {}) : drive(std::move(config)) {}

  void SetUp() override {
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    platform.SetTickPerRead(1);
    Restart();
  }

  uint32_t Elapsed() const { return platform.Now() - start_ms; }
  void Restart() {
    drive.Log().Clear();
    start_ms = platform.Now();
  }
  bool DiagnosticsOn() const { return (drive.FpgaByte(58) & 0x40) != 0; }
  Block DeviceBlock() const { return BlockOfDrive(drive.Trx().Block()); }
  // The device's block with bytes i and j changed so the sum stays right.
  Block Changed(std::size_t i, std::size_t j) const {
    Block block = DeviceBlock();
    block[i] = (block[i] + 1) & 0xFF;
    block[j] = (block[j] + 255) & 0xFF;
    return block;
  }
  static std::array<uint32_t, 4> Fields(const MdbMismatch& m) {
    return {m.retries, m.index, m.valueRead, m.valueExpected};
  }
  uint16_t Word(std::size_t address) const { return drive.Trx().Eeprom().Word(address); }
  // Back out of the diagnostics mode a failed write leaves the device in.
  void Recover() {
    drive.Faults().Clear();
    ASSERT_EQ(DisableTrxDiag(ctx), 1);
    drive.ChangeBaudRate(19200);
  }
  std::vector<int> BaudChanges() const {
    std::vector<int> rates;
    for (const sim::CallRecord& call : drive.Log().Records())
      if (call.operation == sim::Operation::kChangeBaudRate) rates.push_back(call.arguments[0]);
    return rates;
  }
  // How an exchange with the device ends: write disabled and every line
  // dropped; diagnostics mode off and the normal speed, unless a failed
  // word loop abandoned it and left both as they were.
  void ExpectEnded(bool abandoned = false) const {
    EXPECT_EQ(std::tuple(drive.Trx().Eeprom().WriteEnabled(), drive.FpgaByte(22), DiagnosticsOn(),
                         drive.BaudRate()),
              std::tuple(false, 0, abandoned, abandoned ? 115200 : 19200));
  }

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
