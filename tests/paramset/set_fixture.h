// What the tests of whole sets and parameter files share: the exports in
// front of one virtual drive, the raw values of the library's images and of
// the drive, and whole files as bytes.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/export_fixture.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"

namespace svodb::testing {

inline std::string Slurp(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class DriveExports : public ExportTest {
 protected:
  explicit DriveExports(sim::DriveConfig config = sim::DriveConfig{.setupSwitches = 0x01})
      : drive_(std::move(config)) {}
  void SetUp() override {
    ExportTest::SetUp();
    Use(drive_);
  }
  // Opens the connection and reads the drive's version text, as a setup
  // tool does before any whole-set work (logic 2 has none).
  void Open(sim::VirtualDrive& drive, bool network = false) {
    Use(drive);
    ASSERT_EQ(UsePort(1, 19200, network ? 2 : 1, 0, 0, 0), 1);
    char text[SVODB_ONLINE_TEXT_SIZE] = {};
    GetStringOnline_SVODB("VerLW", 0, text);
    drive.Log().Clear();
  }
  void Open(bool network = false) { Open(drive_, network); }
  static int32_t& Store(const char* name, uint32_t node) {
    return api::Context().registers.FindRegister(name)->raw[node];
  }
  static int32_t OnDrive(const char* name, bool nv = false) {
    LibraryContext ctx = api::Context();
    int32_t raw = -1;
    EXPECT_EQ(nv ? ReadNvField(ctx, name, raw) : ReadFpgaField(ctx, name, raw), 1) << name;
    return raw;
  }
  std::vector<int32_t> Erased() const {
    std::vector<int32_t> entries;
    for (const sim::CallRecord& call : drive_.Log().Records())
      if (call.operation == sim::Operation::kNVEraseUnit) entries.push_back(call.arguments[0]);
    return entries;
  }

  sim::VirtualDrive drive_;
};

}  // namespace svodb::testing
