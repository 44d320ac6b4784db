// The virtual drive's configuration flash: what unlocks its engine and how
// its content survives between processes.
#include "config_flash.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "virtual_drive.h"

namespace svodb::sim {
namespace {

TEST(ConfigFlashUnlock, OnlyTheWholeKeyThenAFunctionStartsTheEngine) {
  struct Case {
    std::vector<int32_t> writes;
    IspFunction started;
  };
  const Case cases[] = {
      {{0x55, 0xAA, 3}, IspFunction::kProgram}, {{0x55, 0xAA, 5}, IspFunction::kVerify},
      {{0x55, 0xAA, 9}, IspFunction::kErase},   {{0x55, 0x55, 0xAA, 3}, IspFunction::kProgram},
      {{0xAA, 0x55, 3}, IspFunction::kNone},    {{0x55, 0x00, 0xAA, 3}, IspFunction::kNone},
      {{0x55, 0xAA, 7}, IspFunction::kNone},    {{0x55, 0xAA, 3, 3}, IspFunction::kProgram},
  };
  for (const Case& c : cases) {
    VirtualDrive drive(DriveConfig{.logicVersion = 3, .versionText = "3.0A"});
    ASSERT_EQ(drive.InitMotoBus({}), 1);
    for (const int32_t value : c.writes) ASSERT_EQ(drive.PutVarToFPGA(77, value), 1);
    EXPECT_EQ(drive.Flash().ActiveFunction(), c.started) << ::testing::PrintToString(c.writes);
  }
  // Logic 4 reaches its flash only with SPI_EN on.
  VirtualDrive drive;
  ASSERT_EQ(drive.InitMotoBus({}), 1);
  for (const int32_t value : {0x55, 0xAA, 3}) drive.PutVarToFPGA(77, value);
  EXPECT_EQ(drive.Flash().ActiveFunction(), IspFunction::kNone);
  drive.PutVarToFPGA(111, 0x80);
  for (const int32_t value : {0x55, 0xAA, 3}) drive.PutVarToFPGA(77, value);
  EXPECT_EQ(drive.Flash().ActiveFunction(), IspFunction::kProgram);
}

TEST(ConfigFlashFile, KeepsTheContentWhole) {
  const std::filesystem::path path = std::filesystem::temp_directory_path() / "svodb_config_flash_test.flash";
  ConfigFlash flash;
  flash.SetByte(0, 0x12);
  flash.SetByte(kConfigFlashSize - 1, 0x34);
  ASSERT_TRUE(WriteFlashFile(path, flash));
  ConfigFlash loaded;
  ASSERT_TRUE(ReadFlashFile(path, loaded));
  EXPECT_EQ(loaded.Bytes(), flash.Bytes());
  std::ofstream(path, std::ios::binary | std::ios::app) << 'x';  // one byte too many
  EXPECT_FALSE(ReadFlashFile(path, loaded));
  std::filesystem::remove(path);
  EXPECT_FALSE(ReadFlashFile(path, loaded));
}

}  // namespace
}  // namespace svodb::sim
