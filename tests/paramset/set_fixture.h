// What the tests of whole sets and parameter files share: the library in
// front of a virtual drive, directly or through the exports, and files.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "api/export_fixture.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "svodb/svodb.h"
#include "values/offline_values.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb::testing {

inline std::string Slurp(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void Spit(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// Offline values from "name value name value ...", each stored in the image.
inline void PutValues(LibraryContext ctx, uint32_t node, const std::string& pairs) {
  std::istringstream in(pairs);
  std::string name;
  for (double value = 0; in >> name >> value;) ASSERT_EQ(PutOfflineValue(ctx, name, node, value), 1) << name;
}

// The catalogue's records of the names, given as "name name ...".
inline ParameterList Named(const Catalogue& catalogue, const std::string& names) {
  ParameterList list;
  std::istringstream in(names);
  for (std::string name; in >> name;) list.push_back(catalogue.Find(name));
  return list;
}

// A successful read of the FPGA register as it stands.
inline std::string FpgaRead(const sim::VirtualDrive& drive, int address) {
  return "GetVarFromFPGA(" + std::to_string(address) + ") -> 1 [" +
         std::to_string(drive.FpgaByte(static_cast<uint8_t>(address))) + "]";
}

// A folder named after the process and the running test: CTest runs tests
// side by side, and other runs of the suite may share the temporary folder.
class Scratch {
 public:
  Scratch() {
    const std::string test = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    dir_ =
        std::filesystem::temp_directory_path() / ("svodb_paramset_" + std::to_string(getpid()) + "_" + test);
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  ~Scratch() { std::filesystem::remove_all(dir_); }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  std::vector<std::string> Entries() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir_))
      names.push_back(entry.path().filename().string());
    return names;
  }

 private:
  std::filesystem::path dir_;
};

// A fresh library state and drive, connected as the tool connects.
struct World {
  explicit World(const sim::DriveConfig& config = {}) : drive(config) {
    EXPECT_EQ(drive.InitComPort(config.serialPort, 19200), 1);
    db.driveVersion = config.versionText;
    drive.Log().Clear();
  }
  int32_t& Store(const char* name, uint32_t node) { return registers.FindRegister(name)->raw[node]; }
  int32_t OnDrive(const char* name) {
    int32_t raw = -1;
    EXPECT_EQ(ReadFpgaField(ctx, name, raw), 1) << name;
    return raw;
  }

  ParameterDatabase db;
  RegisterMap registers;
  sim::VirtualDrive drive;
  sim::VirtualPlatform platform;
  LibraryContext ctx{db, registers, drive, platform};
};

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
  static NodeState& Node(uint32_t node) { return api::Context().db.nodes[node]; }
  static ParameterList List(const std::string& names) { return Named(api::Context().db.catalogue, names); }
  static double Value(const char* name, uint32_t node) {
    double value = -999;
    LibraryContext ctx = api::Context();
    EXPECT_EQ(GetOfflineValue(ctx, name, node, value), 1) << name;
    return value;
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
