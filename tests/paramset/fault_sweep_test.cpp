// Every single bus fault in a whole-set or file operation fails loudly or
// heals. For each operation the clean run's transport calls are counted;
// then, on a fresh virtual drive each time, call k of the operation fails
// (codes 0 and 6) or, where call k is the second read of a double read,
// answers a different byte. A run either returns an error code or succeeds
// having produced exactly what the clean run produced; it takes no more
// virtual time than a bound; and the same operation, run again at once
// without faults, succeeds and produces the clean result.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "drive/register_table.h"
#include "paramset/file_interfaces.h"
#include "paramset/parameter_sets.h"
#include "values/offline_values.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb {
namespace {

using sim::DriveConfig;
using sim::Operation;

// A fresh library state and drive, connected as the tool connects.
struct World {
  explicit World(const DriveConfig& config) : drive(config) {
    drive.InitComPort(config.serialPort, 19200);
    db.driveVersion = config.versionText;
  }
  ParameterDatabase db;
  RegisterMap registers;
  sim::VirtualDrive drive;
  sim::VirtualPlatform platform;
  LibraryContext ctx{db, registers, drive, platform};
};

std::filesystem::path SweepFile(const std::string& name) {
  // Named after the process and the running test: CTest may run the tests
  // of this file at the same time, and other runs of the suite may share
  // the folder.
  const std::string test = ::testing::UnitTest::GetInstance()->current_test_info()->name();
  return std::filesystem::temp_directory_path() /
         ("svodb_fault_sweep_" + std::to_string(getpid()) + "_" + test + "_" + name);
}

std::string FileBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// Everything an operation may produce, one named item each: the drive's NV
// memory and working registers (biquad memory included), every node's store
// and identity, and the file it writes.
using Products = std::vector<std::string>;

Products ProductsOf(World& world, const std::filesystem::path& file) {
  Products items;
  const auto add = [&](const std::string& name, const auto&... values) {
    std::string item = name + " =";
    ((item += " " + std::to_string(values)), ...);
    items.push_back(std::move(item));
  };
  for (int entry = 0; entry < 256; ++entry) {
    const sim::NvEntry nv = world.drive.NvEntryAt(static_cast<uint8_t>(entry));
    add("NV " + std::to_string(entry), int{nv.fpgaRegister}, int{nv.data});
  }
  for (int address = 0; address < 256; ++address)
    add("FPGA " + std::to_string(address), int{world.drive.FpgaByte(static_cast<uint8_t>(address))});
  for (std::size_t address = 0; address < sim::BiquadMemory::kSize; ++address)
    add("biquad " + std::to_string(address), int{world.drive.BiquadByte(address)});
  for (const RegisterState& state : world.registers.Registers()) {
    for (std::size_t node = 0; node < state.raw.size(); ++node)
      add(std::string(state.descriptor.name) + " node " + std::to_string(node), state.raw[node]);
  }
  for (std::size_t n = 0; n < world.db.nodes.size(); ++n) {
    const NodeState& node = world.db.nodes[n];
    add("node " + std::to_string(n) + " model, mode, logic, S2-1, type", node.modelCode, node.mode,
        node.logicVersion, node.setupS21, node.driveType);
  }
  items.push_back("file:\n" + FileBytes(file));
  return items;
}

// The items that differ, for a message that shows what went wrong.
std::string Differences(const Products& got, const Products& clean) {
  std::string text;
  for (std::size_t i = 0; i < got.size() && i < clean.size(); ++i) {
    if (got[i] != clean[i]) text += "\n  " + got[i] + "  (clean: " + clean[i] + ")";
  }
  if (got.size() != clean.size()) text += "\n  a different number of items";
  return text;
}

// Values unlike the drive's factory ones, so that every write moves data
// and a value written in the wrong format or not at all shows.
void EditImage(World& world, uint32_t node) {
  const std::pair<const char*, double> edits[] = {
      {"KVP", 0.05},      {"KVI", 10.0},     {"ARF0", 300.0},  {"ARF1", 500.0},    {"CmdF0", 1000.0},
      {"ILmtPlus", 50.0}, {"ILmtMinus", 60}, {"CmdGain", 1.2}, {"DeadBand", 1.5},  {"HstSet", 70.0},
      {"PWMFreq", 8.22},  {"BQ1K1", 1234},   {"KPP", 12.0},    {"I2TF0", 0.00065},
  };
  for (const auto& [name, value] : edits) ASSERT_EQ(PutOfflineValue(world.ctx, name, node, value), 1) << name;
}

struct SweptOperation {
  const char* name;
  DriveConfig config;
  std::function<void(World&)> prepare;  // runs before the traffic counts
  std::function<Result(World&)> run;
};

constexpr const char* kLogic3Text = "3.2A";

DriveConfig Logic3() { return DriveConfig{.logicVersion = 3, .versionText = kLogic3Text}; }

void ReadDriveAndEdit(World& world) {
  ASSERT_EQ(ReadUserSetFromDrive(world.ctx, 0), 1);
  EditImage(world, 0);
}

// A file that differs from the drive, written once by a clean library.
const std::filesystem::path& RestoreSource(bool manufacturing) {
  static const auto write = [](bool mfg) {
    World world{DriveConfig{}};
    ReadDriveAndEdit(world);
    const auto path = SweepFile(mfg ? "restore_mfg.txt" : "restore_user.txt");
    const Result written =
        mfg ? WriteMfgFile(world.ctx, 0, path.string()) : WriteUserFile(world.ctx, 0, path.string());
    EXPECT_EQ(written, 1);
    return path;
  };
  static const std::filesystem::path user = write(false), mfg = write(true);
  return manufacturing ? mfg : user;
}

std::vector<SweptOperation> Operations() {
  const auto none = [](World&) {};
  const auto out = [](const char* name) { return SweepFile(name).string(); };
  return {
      {"RDFromDriveUser", {}, none, [](World& w) { return ReadUserSetFromDrive(w.ctx, 0); }},
      {"RDFromDriveMfg", {}, none, [](World& w) { return ReadMfgSetFromDrive(w.ctx, 0); }},
      {"RDFromNVUser", {}, none, [](World& w) { return ReadUserSetFromNV(w.ctx, 0); }},
      {"RDFromNVMfg", {}, none, [](World& w) { return ReadMfgSetFromNV(w.ctx, 0); }},
      {"WRToDriveUser", {}, ReadDriveAndEdit, [](World& w) { return WriteUserSetToDrive(w.ctx, 0); }},
      {"WRToDriveUser logic 3", Logic3(), ReadDriveAndEdit,
       [](World& w) { return WriteUserSetToDrive(w.ctx, 0); }},
      {"WRToDriveMfg", {}, ReadDriveAndEdit, [](World& w) { return WriteMfgSetToDrive(w.ctx, 0); }},
      {"WRToNVUser", {}, ReadDriveAndEdit, [](World& w) { return WriteUserSetToNV(w.ctx, 0); }},
      {"WRToNVMfg", {}, ReadDriveAndEdit, [](World& w) { return WriteMfgSetToNV(w.ctx, 0); }},
      {"SetDefaultUser", {}, none, [](World& w) { return LoadUserDefaults(w.ctx, 0); }},
      {"SetDefaultUser logic 3", Logic3(), none, [](World& w) { return LoadUserDefaults(w.ctx, 0); }},
      {"SetDefaultUser offline", {}, none, [](World& w) { return LoadUserDefaults(w.ctx, 2); }},
      {"SetDefaultMfg", {}, none, [](World& w) { return LoadMfgDefaults(w.ctx, 0); }},
      {"SetDefaultMfg logic 3", Logic3(), none, [](World& w) { return LoadMfgDefaults(w.ctx, 0); }},
      {"SetDefaultMfg offline", {}, none, [](World& w) { return LoadMfgDefaults(w.ctx, 2); }},
      {"GetUserParamsNV", {}, none, [=](World& w) { return SaveNvAsUserFile(w.ctx, 0, out("backup")); }},
      {"GetUserParamsNV logic 3", Logic3(), none,
       [=](World& w) { return SaveNvAsUserFile(w.ctx, 0, out("backup")); }},
      {"GetMfgParamsNV", {}, none, [=](World& w) { return SaveNvAsMfgFile(w.ctx, 0, out("backup")); }},
      {"WRToFileUser",
       {},
       ReadDriveAndEdit,
       [=](World& w) { return WriteUserFile(w.ctx, 0, out("backup")); }},
      {"WRToFileMfg", {}, ReadDriveAndEdit, [=](World& w) { return WriteMfgFile(w.ctx, 0, out("backup")); }},
      {"RDFromFileUser",
       {},
       none,
       [](World& w) { return ReadUserFile(w.ctx, 0, RestoreSource(false).string()); }},
      {"RDFromFileMfg",
       {},
       none,
       [](World& w) { return ReadMfgFile(w.ctx, 0, RestoreSource(true).string()); }},
      {"SetUserParamsNV",
       {},
       none,
       [](World& w) {
         uint32_t currentNode = 0;
         return CopyUserFileToNv(w.ctx, currentNode, RestoreSource(false).string());
       }},
      {"SetMfgParamsNV",
       {},
       none,
       [](World& w) { return CopyMfgFileToNv(w.ctx, 0, RestoreSource(true).string()); }},
  };
}

// No whole-set operation waits: a run that lets the virtual clock move
// this far is stuck in a loop.
constexpr uint32_t kVirtualTimeBound_ms = 1000;

enum class FaultKind { kCode0, kCode6, kSecondReadDiffers };

struct Fault {
  FaultKind kind;
  Operation operation;
  int callNumber;  // among the calls of that operation
};

void Arm(sim::FaultPlan& plan, const Fault& fault) {
  switch (fault.kind) {
    case FaultKind::kCode0: plan.FailCall(fault.operation, fault.callNumber, 0); break;
    case FaultKind::kCode6: plan.FailCall(fault.operation, fault.callNumber, 6); break;
    case FaultKind::kSecondReadDiffers: plan.DistortCall(fault.operation, fault.callNumber, 0xFF); break;
  }
}

bool IsRead(Operation operation) {
  return operation == Operation::kGetVarFromFPGA || operation == Operation::kGetVarFromEEPROM;
}

// The FPGA addresses of settings, which are read twice and compared; the
// other registers are read once, and the command's second read stands
// uncompared (it moves with the motor), so a read that differs there is a
// value that changed, not a fault.
std::set<int32_t> SettingAddresses() {
  std::set<int32_t> addresses;
  for (const RegisterDescriptor& d : kRegisterTable) {
    if (d.live != 0 || d.fpgaAddress < 0 || d.codec == 752 || std::string_view(d.name) == "Command") continue;
    for (std::size_t i = 0; i < FieldByteLength(d.byteCount); ++i)
      addresses.insert(d.fpgaAddress - static_cast<int32_t>(i));
  }
  return addresses;
}

bool IsWrite(Operation operation) {
  return operation == Operation::kPutVarToFPGA || operation == Operation::kPutVarToEEPROM;
}

// Call k repeats a read of the same address a few calls back with only
// reads of the same kind between: the second read of a double read. A read
// followed by a write to its address is the single read of a byte that
// registers share, before one of them is changed in it, not a double read.
bool IsSecondRead(const std::vector<sim::CallRecord>& calls, std::size_t k) {
  static const std::set<int32_t> settings = SettingAddresses();
  const sim::CallRecord& call = calls[k];
  if (!IsRead(call.operation)) return false;
  if (call.operation == Operation::kGetVarFromFPGA && !settings.contains(call.arguments[0])) return false;
  if (k + 1 < calls.size() && IsWrite(calls[k + 1].operation) &&
      calls[k + 1].arguments[0] == call.arguments[0])
    return false;
  for (std::size_t back = 1; back <= 4 && back <= k; ++back) {
    const sim::CallRecord& earlier = calls[k - back];
    if (earlier.operation != call.operation) return false;
    if (earlier.arguments[0] == call.arguments[0]) return true;
  }
  return false;
}

// The faults to inject, one per run: every call with codes 0 and 6, and
// every second read with a differing byte.
std::vector<Fault> FaultsOf(const std::vector<sim::CallRecord>& calls) {
  std::vector<Fault> faults;
  std::array<int, sim::kOperationCount> seen{};
  for (std::size_t k = 0; k < calls.size(); ++k) {
    const Operation operation = calls[k].operation;
    const int number = ++seen[static_cast<std::size_t>(operation)];
    faults.push_back({FaultKind::kCode0, operation, number});
    faults.push_back({FaultKind::kCode6, operation, number});
    if (IsSecondRead(calls, k)) faults.push_back({FaultKind::kSecondReadDiffers, operation, number});
  }
  return faults;
}

std::string Describe(const Fault& fault) {
  static const char* const kKinds[] = {"code 0", "code 6", "second read differs"};
  return std::string(kKinds[static_cast<int>(fault.kind)]) + " at " +
         std::string(sim::OperationName(fault.operation)) + " #" + std::to_string(fault.callNumber);
}

struct CleanRun {
  std::vector<sim::CallRecord> calls;
  Products products;
};

CleanRun RunClean(const SweptOperation& op, const std::filesystem::path& file) {
  std::filesystem::remove(file);
  World world{op.config};
  op.prepare(world);
  world.drive.Log().Clear();
  EXPECT_EQ(op.run(world), 1) << op.name << " clean";
  return {world.drive.Log().Records(), ProductsOf(world, file)};
}

// One faulted run and the clean run after it; failures name the fault.
void RunFaulted(const SweptOperation& op, const Fault& fault, const CleanRun& clean,
                const std::filesystem::path& file) {
  std::filesystem::remove(file);
  World world{op.config};
  op.prepare(world);
  world.drive.Log().SetRecording(false);
  Arm(world.drive.Faults(), fault);
  const uint32_t start_ms = world.platform.Now();
  const Result result = op.run(world);
  EXPECT_LE(world.platform.Now() - start_ms, kVirtualTimeBound_ms) << op.name << ", " << Describe(fault);
  if (result == code::kOk) {
    EXPECT_EQ(Differences(ProductsOf(world, file), clean.products), "")
        << op.name << " succeeded with other data, " << Describe(fault);
  } else {
    const CodeParts parts = Decompose(result);
    EXPECT_TRUE(parts.context >= 1 && parts.context <= 10)
        << op.name << " gave " << result << " without a context, " << Describe(fault);
  }
  world.drive.Faults().Clear();
  std::filesystem::remove(file);
  EXPECT_EQ(op.run(world), 1) << op.name << " after " << Describe(fault);
  EXPECT_EQ(Differences(ProductsOf(world, file), clean.products), "")
      << op.name << " not clean after " << Describe(fault);
}

// LogicVer (FPGA 30, a setting read twice) is read once per operation, at
// its start. The user defaults of an offline image do not ask the drive for
// it; the manufacturing ones do, for the drive's version text.
TEST(FaultSweep, LogicVersionIsReadOncePerOperation) {
  constexpr int32_t kLogicVersionAddress = 30;
  const auto file = SweepFile("backup");
  for (const SweptOperation& op : Operations()) {
    const CleanRun clean = RunClean(op, file);
    const auto reads = std::ranges::count_if(clean.calls, [](const sim::CallRecord& call) {
      return call.operation == Operation::kGetVarFromFPGA && call.arguments[0] == kLogicVersionAddress;
    });
    EXPECT_EQ(reads, std::string(op.name) == "SetDefaultUser offline" ? 0 : 2) << op.name;
    std::printf("%-24s %3zu calls, LogicVer read %td times\n", op.name, clean.calls.size(), reads / 2);
  }
  std::filesystem::remove(file);
}

TEST(FaultSweep, EverySingleFaultFailsLoudlyOrHeals) {
  const auto file = SweepFile("backup");
  std::size_t runs = 0;
  for (const SweptOperation& op : Operations()) {
    const CleanRun clean = RunClean(op, file);
    for (const Fault& fault : FaultsOf(clean.calls)) {
      RunFaulted(op, fault, clean, file);
      ++runs;
      if (::testing::Test::HasFailure()) return;  // the first finding is enough to read
    }
  }
  std::printf("fault sweep: %zu faulted runs\n", runs);
  std::filesystem::remove(file);
}

}  // namespace
}  // namespace svodb
