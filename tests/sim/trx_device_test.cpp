// The virtual drive's feedback device seen from the bus and from the
// drive's side: diagnostics gating and the drive's copy. The device's
// memory file is exercised by the tool's commands, one process after another.
#include "trx_device.h"

#include <gtest/gtest.h>

#include <vector>

#include "virtual_drive.h"

namespace svodb::sim {
namespace {

int32_t Read(VirtualDrive& drive, int32_t address) {
  int32_t data = -1;
  EXPECT_EQ(drive.GetVarFromFPGA(address, &data, nullptr), 1);
  return data;
}

TEST(TrxDevice, ThePortReachesTheDeviceOnlyInDiagnosticsMode) {
  VirtualDrive drive;  // generation 1
  ASSERT_EQ(drive.InitComPort(1, 19200), 1);
  drive.PutVarToFPGA(23, 3);
  drive.PutVarToFPGA(22, 9);  // port enabled, chip select
  EXPECT_FALSE(drive.Trx().Eeprom().Selected());
  EXPECT_EQ(drive.FpgaByte(22), 9);  // the register itself keeps what was written
  drive.PutVarToFPGA(58, 2);
  EXPECT_EQ(Read(drive, 58) & 0x40, 0x40);
  drive.PutVarToFPGA(22, 9);
  EXPECT_TRUE(drive.Trx().Eeprom().Selected());
  drive.PutVarToFPGA(58, 0);  // the drive takes the device back: every line drops
  EXPECT_FALSE(drive.Trx().Eeprom().Selected());
}

TEST(TrxDevice, TheEngineAddressReadsBackWhatTheDrivesOwnReadLeft) {
  for (int32_t generation : {1, 2}) {
    VirtualDrive drive(DriveConfig{.feedbackGeneration = generation});
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    drive.PutVarToFPGA(58, 2);
    std::vector<int32_t> bytes;
    for (int32_t function : {120, 118, 116}) {
      drive.PutVarToFPGA(23, function);
      drive.PutVarToFPGA(22, 0);
      bytes.push_back(Read(drive, 24));
    }
    EXPECT_EQ(bytes, generation == 2 ? (std::vector<int32_t>{3, 254, 0}) : (std::vector<int32_t>{0, 0, 0}));
    drive.PutVarToFPGA(23, 121);
    drive.PutVarToFPGA(22, 1);  // load another address, then leave diagnostics
    drive.PutVarToFPGA(58, 0);
    EXPECT_EQ(drive.Trx().EngineAddress(), generation == 2 ? 0x3FE00u : 0u);
  }
}

TEST(TrxDevice, TheDrivesCopyFollowsTheDeviceAtPowerUpAndWhenLeavingDiagnostics) {
  VirtualDrive drive;  // generation 1
  ASSERT_EQ(drive.InitComPort(1, 19200), 1);
  drive.Trx().Eeprom().SetWord(64, 0x3412);
  EXPECT_NE(drive.MotorByte(0), 0x12);
  drive.PowerCycle();
  EXPECT_EQ(drive.MotorByte(0), 0x12);
  EXPECT_EQ(drive.MotorByte(1), 0x34);
  drive.Trx().Eeprom().SetWord(255, 0xAABB);
  drive.PutVarToFPGA(58, 2);
  const uint64_t revision = drive.PersistentRevision();
  drive.PutVarToFPGA(58, 0);
  EXPECT_EQ(drive.MotorByte(383), 0xAA);
  EXPECT_GT(drive.PersistentRevision(), revision);
}

}  // namespace
}  // namespace svodb::sim
