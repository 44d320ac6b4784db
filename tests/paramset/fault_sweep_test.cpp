// Every single bus fault in a whole-set or file operation fails loudly or
// heals: on a fresh virtual drive each time, call k of the clean run fails
// (codes 0 and 6) or, as the second read of a double read, answers another
// byte. The run returns a code with its context or produces exactly what
// the clean run produced, within a bound of virtual time; run again without
// faults, it succeeds with the clean result.
#include <functional>
#include <set>

#include "drive/register_table.h"
#include "paramset/file_interfaces.h"
#include "paramset/parameter_sets.h"
#include "paramset/set_fixture.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::Operation;

// Everything an operation may produce: the drive's memories and working
// registers, every node's store and identity, and the file it writes.
struct Products {
  sim::PersistentState memories;
  sim::WorkingRegisters working;
  std::vector<std::string> library;
  std::string file;
};

Products ProductsOf(World& world, const std::string& file) {
  Products products{world.drive.SaveState(), world.drive.SaveWorkingRegisters(), {}, Slurp(file)};
  for (const RegisterState& state : world.registers.Registers())
    products.library.push_back(state.descriptor.name + (" " + ::testing::PrintToString(state.raw)));
  for (const NodeState& n : world.db.nodes)
    products.library.push_back(
        ::testing::PrintToString(std::tuple(n.modelCode, n.mode, n.logicVersion, n.setupS21, n.driveType)));
  return products;
}

// What differs, for a message that shows what went wrong.
std::string Differences(const Products& got, const Products& clean) {
  std::string text = got.memories == clean.memories && got.working == clean.working ? "" : "\n  the drive";
  if (got.file != clean.file) text += "\n  the file";
  for (std::size_t i = 0; i < got.library.size(); ++i)
    if (got.library[i] != clean.library[i])
      text += "\n  " + got.library[i] + "  (clean: " + clean.library[i] + ")";
  return text;
}

// Values unlike the drive's factory ones, so that every write moves data
// and a value written in the wrong format or not at all shows.
void ReadDriveAndEdit(World& world) {
  ASSERT_EQ(ReadUserSetFromDrive(world.ctx, 0), 1);
  PutValues(world.ctx, 0,
            "KVP 0.05 KVI 10 ARF0 300 ARF1 500 CmdF0 1000 ILmtPlus 50 ILmtMinus 60 CmdGain 1.2 DeadBand 1.5 "
            "HstSet 70 PWMFreq 8.22 BQ1K1 1234 KPP 12 I2TF0 0.00065");
}

struct SweptOperation {
  const char* name;
  DriveConfig config;
  std::function<void(World&)> prepare;  // runs before the traffic counts
  std::function<Result(World&, const std::string& file)> run;
};

// The operations, each of the logic 3 drive too where that takes other
// formats. The file readers read a file that differs from the drive,
// written once by a clean library.
std::vector<SweptOperation> Operations(const Scratch& dir) {
  const auto none = [](World&) {};
  const DriveConfig logic3{.logicVersion = 3, .versionText = "3.2A"};
  for (bool mfg : {false, true}) {
    World world;
    ReadDriveAndEdit(world);
    const std::string path = dir.Path(mfg ? "source_mfg.par" : "source_user.par");
    EXPECT_EQ(mfg ? WriteMfgFile(world.ctx, 0, path) : WriteUserFile(world.ctx, 0, path), 1);
  }
  const std::string user = dir.Path("source_user.par"), mfg = dir.Path("source_mfg.par");
  // clang-format off
  return {
      {"RDFromDriveUser", {}, none, [](World& w, auto&) { return ReadUserSetFromDrive(w.ctx, 0); }},
      {"RDFromDriveMfg", {}, none, [](World& w, auto&) { return ReadMfgSetFromDrive(w.ctx, 0); }},
      {"RDFromNVUser", {}, none, [](World& w, auto&) { return ReadUserSetFromNV(w.ctx, 0); }},
      {"RDFromNVMfg", {}, none, [](World& w, auto&) { return ReadMfgSetFromNV(w.ctx, 0); }},
      {"WRToDriveUser", {}, ReadDriveAndEdit, [](World& w, auto&) { return WriteUserSetToDrive(w.ctx, 0); }},
      {"WRToDriveUser logic 3", logic3, ReadDriveAndEdit, [](World& w, auto&) { return WriteUserSetToDrive(w.ctx, 0); }},
      {"WRToDriveMfg", {}, ReadDriveAndEdit, [](World& w, auto&) { return WriteMfgSetToDrive(w.ctx, 0); }},
      {"WRToNVUser", {}, ReadDriveAndEdit, [](World& w, auto&) { return WriteUserSetToNV(w.ctx, 0); }},
      {"WRToNVMfg", {}, ReadDriveAndEdit, [](World& w, auto&) { return WriteMfgSetToNV(w.ctx, 0); }},
      {"SetDefaultUser", {}, none, [](World& w, auto&) { return LoadUserDefaults(w.ctx, 0); }},
      {"SetDefaultUser logic 3", logic3, none, [](World& w, auto&) { return LoadUserDefaults(w.ctx, 0); }},
      {"SetDefaultUser offline", {}, none, [](World& w, auto&) { return LoadUserDefaults(w.ctx, 2); }},
      {"SetDefaultMfg", {}, none, [](World& w, auto&) { return LoadMfgDefaults(w.ctx, 0); }},
      {"SetDefaultMfg logic 3", logic3, none, [](World& w, auto&) { return LoadMfgDefaults(w.ctx, 0); }},
      {"SetDefaultMfg offline", {}, none, [](World& w, auto&) { return LoadMfgDefaults(w.ctx, 2); }},
      {"GetUserParamsNV", {}, none, [](World& w, auto& file) { return SaveNvAsUserFile(w.ctx, 0, file); }},
      {"GetUserParamsNV logic 3", logic3, none, [](World& w, auto& file) { return SaveNvAsUserFile(w.ctx, 0, file); }},
      {"GetMfgParamsNV", {}, none, [](World& w, auto& file) { return SaveNvAsMfgFile(w.ctx, 0, file); }},
      {"WRToFileUser", {}, ReadDriveAndEdit, [](World& w, auto& file) { return WriteUserFile(w.ctx, 0, file); }},
      {"WRToFileMfg", {}, ReadDriveAndEdit, [](World& w, auto& file) { return WriteMfgFile(w.ctx, 0, file); }},
      {"RDFromFileUser", {}, none, [=](World& w, auto&) { return ReadUserFile(w.ctx, 0, user); }},
      {"RDFromFileMfg", {}, none, [=](World& w, auto&) { return ReadMfgFile(w.ctx, 0, mfg); }},
      {"SetUserParamsNV", {}, none, [=](World& w, auto&) { uint32_t node = 0; return CopyUserFileToNv(w.ctx, node, user); }},
      {"SetMfgParamsNV", {}, none, [=](World& w, auto&) { return CopyMfgFileToNv(w.ctx, 0, mfg); }},
  };
  // clang-format on
}

// No whole-set operation waits: a run that lets the virtual clock move
// this far is stuck in a loop.
constexpr uint32_t kVirtualTimeBound_ms = 1000;

struct Fault {
  int kind;  // fails with code 0, with code 6, or (2) the second read answers another byte
  Operation operation;
  int callNumber;  // among the calls of that operation
  std::string Describe() const {
    static const char* const kKinds[] = {"code 0", "code 6", "second read differs"};
    return kKinds[kind] + (" at " + std::string(sim::OperationName(operation))) + " #" +
           std::to_string(callNumber);
  }
};

// The FPGA addresses of settings, read twice and compared; a second read of
// the command stands uncompared (it moves with the motor).
std::set<int32_t> SettingAddresses() {
  std::set<int32_t> addresses;
  for (const RegisterDescriptor& d : kRegisterTable) {
    if (d.live != 0 || d.fpgaAddress < 0 || d.codec == 752 || std::string_view(d.name) == "Command") continue;
    for (std::size_t i = 0; i < FieldByteLength(d.byteCount); ++i)
      addresses.insert(d.fpgaAddress - static_cast<int32_t>(i));
  }
  return addresses;
}

// Call k repeats a read of the same address a few calls back, with only
// reads of its kind between. A read followed by a write to its address is
// the single read of a byte that registers share, not a double read.
bool IsSecondRead(const std::vector<sim::CallRecord>& calls, std::size_t k) {
  static const std::set<int32_t> settings = SettingAddresses();
  const sim::CallRecord& call = calls[k];
  const bool fpga = call.operation == Operation::kGetVarFromFPGA;
  if (!fpga && call.operation != Operation::kGetVarFromEEPROM) return false;
  if (fpga && !settings.contains(call.arguments[0])) return false;
  const bool writtenNext = k + 1 < calls.size() && (calls[k + 1].operation == Operation::kPutVarToFPGA ||
                                                    calls[k + 1].operation == Operation::kPutVarToEEPROM);
  if (writtenNext && calls[k + 1].arguments[0] == call.arguments[0]) return false;
  for (std::size_t back = 1; back <= 4 && back <= k; ++back) {
    if (calls[k - back].operation != call.operation) return false;
    if (calls[k - back].arguments[0] == call.arguments[0]) return true;
  }
  return false;
}

std::vector<Fault> FaultsOf(const std::vector<sim::CallRecord>& calls) {
  std::vector<Fault> faults;
  std::array<int, sim::kOperationCount> seen{};
  for (std::size_t k = 0; k < calls.size(); ++k) {
    const int number = ++seen[static_cast<std::size_t>(calls[k].operation)];
    for (int kind = 0; kind < (IsSecondRead(calls, k) ? 3 : 2); ++kind)
      faults.push_back({kind, calls[k].operation, number});
  }
  return faults;
}

void RunFaulted(const SweptOperation& op, const Fault& fault, const Products& clean,
                const std::string& file) {
  SCOPED_TRACE(std::string(op.name) + ", " + fault.Describe());
  std::filesystem::remove(file);
  World world{op.config};
  op.prepare(world);
  world.drive.Log().SetRecording(false);
  if (fault.kind < 2)
    world.drive.Faults().FailCall(fault.operation, fault.callNumber, fault.kind == 0 ? 0 : 6);
  if (fault.kind == 2) world.drive.Faults().DistortCall(fault.operation, fault.callNumber, 0xFF);
  const uint32_t start_ms = world.platform.Now();
  const Result result = op.run(world, file);
  EXPECT_LE(world.platform.Now() - start_ms, kVirtualTimeBound_ms);
  const int32_t context = Decompose(result).context;
  EXPECT_TRUE(result == code::kOk || (context >= 1 && context <= 10)) << result << " has no context";
  EXPECT_EQ(result == code::kOk ? Differences(ProductsOf(world, file), clean) : "", "")
      << "success with other data";
  world.drive.Faults().Clear();
  std::filesystem::remove(file);
  EXPECT_EQ(op.run(world, file), 1) << "run again without faults";
  EXPECT_EQ(Differences(ProductsOf(world, file), clean), "") << "run again without faults";
}

// LogicVer (FPGA 30, a setting read twice) is read once per operation, at
// its start. The user defaults of an offline image do not ask the drive for
// it; the manufacturing ones do, for the drive's version text.
TEST(FaultSweep, EverySingleFaultFailsLoudlyOrHeals) {
  const Scratch dir;
  const std::string file = dir.Path("written.par");
  std::size_t runs = 0;
  for (const SweptOperation& op : Operations(dir)) {
    std::filesystem::remove(file);
    World world{op.config};
    op.prepare(world);
    world.drive.Log().Clear();
    ASSERT_EQ(op.run(world, file), 1) << op.name << " clean";
    const std::vector<sim::CallRecord> calls = world.drive.Log().Records();
    const auto logicReads = std::ranges::count_if(calls, [](const sim::CallRecord& call) {
      return call.operation == Operation::kGetVarFromFPGA && call.arguments[0] == 30;
    });
    EXPECT_EQ(logicReads, std::string(op.name) == "SetDefaultUser offline" ? 0 : 2) << op.name;
    const Products clean = ProductsOf(world, file);
    for (const Fault& fault : FaultsOf(calls)) {
      RunFaulted(op, fault, clean, file);
      ++runs;
      if (::testing::Test::HasFailure()) return;  // the first finding is enough to read
    }
  }
  std::printf("fault sweep: %zu faulted runs\n", runs);
}

}  // namespace
}  // namespace svodb::testing
