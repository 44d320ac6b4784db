// The file exports against the virtual drive: images saved to files and
// loaded from them, files copied into NV memory and NV memory saved to files.
#include <functional>

#include "paramset/set_fixture.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::Operation;
using sim::Persistence;
using Plan = sim::FaultPlan&;

class FileExports : public DriveExports {
 protected:
  std::string Path(const std::string& name) const { return dir_.Path(name); }
  static void Select(int32_t node) { ASSERT_EQ(SetNode_SVODB(node), 1); }
  // An offline image of a logic-3 drive of the model, made current.
  static void OfflineImage(int32_t node, int32_t model = 31) {
    ASSERT_EQ(SetupOfflineNode_SVODB(node), 1);
    Select(node);
    ASSERT_EQ(SetModel_SVODB(model), 1);
  }
  static double Value(const char* name) {
    double value = -999;
    EXPECT_EQ(GetVariable_SVODB(name, &value), 1) << name;
    return value;
  }
  std::size_t NvChanges() const {
    return drive_.Log().Count(Operation::kPutVarToEEPROM) + drive_.Log().Count(Operation::kNVEraseUnit);
  }
  Scratch dir_;
};

// Only a user file must carry a version a drive has, and it is loaded all
// the same; into NV it is refused before the drive is touched.
TEST_F(FileExports, OnlyUserFilesMustCarryAVersionADriveHas) {
  Open();
  OfflineImage(2);
  ASSERT_EQ(PutVariable_SVODB("DPoles", 4), 1);
  const std::string user = Path("user.par"), mfg = Path("mfg.par");
  ASSERT_EQ(WRToFileUser_SVODB(user.c_str()), 1);
  ASSERT_EQ(WRToFileMfg_SVODB(mfg.c_str()), 1);
  const std::string userText = Slurp(user), mfgText = Slurp(mfg);
  for (const auto& [version, expected] :
       {std::pair{"1", 33}, {"2", 1}, {"3", 1}, {"4", 1}, {"5", 33}, {"40", 33}}) {
    for (auto [read, path, text, result] : {std::tuple{&RDFromFileUser_SVODB, user, userText, expected},
                                            {&RDFromFileMfg_SVODB, mfg, mfgText, 1}}) {
      const std::size_t start = text.find("FileVersion ") + 12;
      Spit(path, text.substr(0, start) + version + text.substr(text.find(' ', start)));
      OfflineImage(3);
      ASSERT_EQ(PutVariable_SVODB("DPoles", 8), 1);
      EXPECT_EQ(read(path.c_str()), result) << version;
      EXPECT_EQ(Value("DPoles"), 4) << version;
    }
  }
  const sim::PersistentState before = drive_.SaveState();
  Select(0);
  EXPECT_EQ(SetUserParamsNV_SVODBT(user.c_str()), 33);
  EXPECT_EQ(api::CurrentNode(), 1u);
  EXPECT_EQ(NvChanges(), 0u);
  EXPECT_EQ(drive_.SaveState(), before);
}

// The composed code of each failure of the file and whole-set exports. A
// file reaches NV only for the drive's model, and a failure before NV leaves
// it untouched; a user file is loaded into node 1, which stays current
// unless all of it succeeded. A failed write keeps the old file.
TEST_F(FileExports, FailuresComposeWithTheirContext) {
  Open();
  const sim::PersistentState factory = drive_.SaveState();
  const sim::WorkingRegisters working = drive_.SaveWorkingRegisters();
  const std::string user = Path("user.par"), mfg = Path("mfg.par"), missing = Path("no/such/folder/file.par");
  // Both files of an image of the model, ARF0 unlike the drive's so that a
  // dropped write shows.
  const auto files = [&](int32_t model) {
    return [=] {
      OfflineImage(2, model);
      ASSERT_EQ(PutVariable_SVODB("DPoles", 4), 1);
      Store("ARF0", 2) = 100;
      ASSERT_EQ(WRToFileUser_SVODB(user.c_str()), 1);
      ASSERT_EQ(WRToFileMfg_SVODB(mfg.c_str()), 1);
    };
  };
  files(31)();
  // ARF0, ARF1, BatFDis, BQ0B2, BQ0K1, then the bad line.
  std::string bad = Slurp(user);
  Spit(Path("bad.par"),
       bad.insert(bad.find("\nBQ0B1 "), "\n# a comment is not counted\nBatFDis = Sometimes"));
  const auto on = [](
                      int32_t node, std::function<void()> edit = [] {}) {
    return [=] {
      OfflineImage(node);
      edit();
    };
  };
  const auto toNv = [](bool manufacturing, const std::string& path) {
    return [=] {
      Select(manufacturing ? 3 : 0);
      return (manufacturing ? SetMfgParamsNV_SVODBT : SetUserParamsNV_SVODBT)(path.c_str());
    };
  };
  const auto none = [](Plan) {};
  const auto arf0 = [] { Store("ARF0", 0) = 100; };
  const struct {
    const char* what;
    std::function<void()> prepare;
    std::function<void(Plan)> fault;
    std::function<int32_t()> call;
    int32_t expected;
    int32_t node;  // current afterwards, -1 for any
    bool nvKept = true;
  } cases[] = {
      // clang-format off
      {"another model", files(28), none, toNv(false, user), 80009, 1},
      {"model unreadable", files(31), [](Plan f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 6, 4); }, toNv(false, user), 80006, 1},
      {"no such file", files(31), none, toNv(false, Path("missing.par")), 50031, 1},
      {"NV write fails", files(31), [](Plan f) { f.FailCall(Operation::kPutVarToEEPROM, 1, 6); }, toNv(false, user), 40006, 1, false},
      {"NV write does not stick", files(31), [](Plan f) { f.DropNvWrite(29, Persistence::kAlways); }, toNv(false, user), 40010, 1, false},
      {"another model", files(28), none, toNv(true, mfg), 80009, 3},
      {"model unreadable", files(31), [](Plan f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 5, 4); }, toNv(true, mfg), 80005, 3},
      {"no such file", files(31), none, toNv(true, Path("missing.par")), 50031, 3},
      {"NV write fails", files(31), [](Plan f) { f.FailCall(Operation::kPutVarToEEPROM, 1, 6); }, toNv(true, mfg), 40006, 3, false},
      {"erase busy twice", files(31), [](Plan f) { f.EraseAnswersBusy(200, Persistence::kAlways); }, toNv(true, mfg), 70002, 3, false},
      {"erase fails", files(31), [](Plan f) { f.FailCall(Operation::kNVEraseUnit, 3, 4); }, toNv(true, mfg), 70004, 3, false},
      {"user file", files(31), none, toNv(true, user), 50032, 3},
      {"image mode", on(2, [] { Node(2).setupS21 = 7; }), none, [&] { return WRToFileUser_SVODB(user.c_str()); }, 80023, 2},
      {"image command source", on(2, [] { Store("CmdSrc", 2) = 3; }), none, [&] { return WRToFileMfg_SVODB(user.c_str()); }, 80023, 2},
      {"model without a label", on(2, [] { ASSERT_EQ(SetModel_SVODB(99), 1); }), none, [&] { return WRToFileUser_SVODB(user.c_str()); }, 60009, 2},
      {"no such folder", on(2), none, [&] { return WRToFileUser_SVODB(missing.c_str()); }, 60031, 2},
      {"no such folder", on(2), none, [&] { return WRToFileMfg_SVODB(missing.c_str()); }, 60031, 2},
      {"no such file", on(3), none, [&] { return RDFromFileUser_SVODB(missing.c_str()); }, 50031, 3},
      {"user file to the manufacturing reader", on(3), none, [&] { return RDFromFileMfg_SVODB(user.c_str()); }, 50032, 3},
      {"label on the 6th parameter line", on(3), none, [&] { return RDFromFileUser_SVODB(Path("bad.par").c_str()); }, 50623, 3},
      {"NV read", [] {}, [](Plan f) { f.FailCall(Operation::kGetVarFromEEPROM, 1, 5); }, [&] { return GetUserParamsNV_SVODBT(user.c_str()); }, 30005, -1},
      {"NV entry of another register", [] {}, [](Plan f) { f.ReportWrongNvRegister(29, 99); }, [&] { return GetMfgParamsNV_SVODBT(user.c_str()); }, 30007, -1},
      {"NV image's mode", on(4, [] { Node(4).setupS21 = 7; }), none, [&] { return GetUserParamsNV_SVODBT(user.c_str()); }, 80023, 4, false},
      {"no such folder", on(4), none, [&] { return GetMfgParamsNV_SVODBT(missing.c_str()); }, 60031, 4, false},
      {"null name", [] {}, none, [] { return RDFromFileUser_SVODB(nullptr); }, 31, -1},
      // Model (FPGA 4) is read before the set and again by the set.
      {"model", arf0, [](Plan f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 6, 4); }, RDFromDriveUser_SVODB, 80006, -1, false},
      {"model", arf0, [](Plan f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 6, 4); }, RDFromDriveMfg_SVODB, 80006, -1, false},
      {"model again", arf0, [](Plan f) { f.FailCall(Operation::kGetVarFromFPGA, 3, 6, 4); }, RDFromDriveUser_SVODB, 10006, -1, false},
      {"model of the write", arf0, [](Plan f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 6, 4); }, WRToDriveUser_SVODB, 20006, -1, false},
      {"ARF0 unsteady", arf0, [](Plan f) { f.ChangeSecondRead(53); }, RDFromDriveUser_SVODB, 10010, -1, false},
      {"ARF0 in NV", arf0, [](Plan f) { f.ReportWrongNvRegister(29, 99); }, RDFromNVUser_SVODB, 30007, -1, false},
      {"NV read", arf0, [](Plan f) { f.FailCall(Operation::kGetVarFromEEPROM, 1, 5); }, RDFromNVMfg_SVODB, 30005, -1, false},
      {"ARF0 dropped", arf0, [](Plan f) { f.DropFpgaWrite(53, Persistence::kAlways); }, WRToDriveUser_SVODB, 20010, -1, false},
      // LogicVer is read once, first; its failure is a failed logic check.
      {"LogicVer", arf0, [](Plan f) { f.FailEveryCall(Operation::kGetVarFromFPGA, 6, 30); }, WRToDriveMfg_SVODB, 90006, -1, false},
      {"NV write", arf0, [](Plan f) { f.FailCall(Operation::kPutVarToEEPROM, 1, 6); }, WRToNVMfg_SVODB, 40006, -1, false},
      {"ARF0 NV dropped", arf0, [](Plan f) { f.DropNvWrite(29, Persistence::kAlways); }, WRToNVUser_SVODB, 40010, -1, false},
      {"LogicVer raw", arf0, [](Plan f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 0); }, WRToNVUser_SVODB, 90000, -1, false},
      // The power board's byte (511) decides DeadBand's width: its address
      // goes out to FPGA 42 as 255.
      {"power board", arf0, [](Plan f) { f.FailEveryCall(Operation::kPutVarToFPGA, 6, 42); }, WRToNVMfg_SVODB, 44306, -1, false},
      {"current offset", arf0, [](Plan f) { f.FailEveryCall(Operation::kGetVarFromFPGA, 6, 41); }, SetDefaultMfg_SVODB, 10006, -1, false},
      {"defaults NV", arf0, [](Plan f) { f.FailCall(Operation::kPutVarToEEPROM, 1, 6); }, SetDefaultUser_SVODB, 40006, -1, false},
      {"erase busy", arf0, [](Plan f) { f.EraseAnswersBusy(150, Persistence::kAlways); }, SetDefaultUser_SVODB, 70002, -1, false},
      {"erase busy", arf0, [](Plan f) { f.EraseAnswersBusy(230, Persistence::kAlways); }, SetDefaultMfg_SVODB, 70002, -1, false},
      {"erase", arf0, [](Plan f) { f.FailCall(Operation::kNVEraseUnit, 2, 4); }, SetDefaultMfg_SVODB, 70004, -1, false},
      {"defaults model", arf0, [](Plan f) { f.FailEveryCall(Operation::kGetVarFromFPGA, 6, 4); }, SetDefaultUser_SVODB, 100006, -1, false},
      // clang-format on
  };
  for (const auto& c : cases) {
    api::ResetForTesting();
    drive_.Faults().Clear();
    drive_.RestoreState(factory);
    drive_.ResumeWorkingRegisters(working);
    Open();
    c.prepare();
    const std::string kept = Slurp(user);
    c.fault(drive_.Faults());
    drive_.Log().Clear();
    EXPECT_EQ(c.call(), c.expected) << c.what;
    EXPECT_TRUE(c.node < 0 || api::CurrentNode() == static_cast<uint32_t>(c.node)) << c.what;
    EXPECT_EQ(Slurp(user), kept) << c.what << ": a failed write keeps the old file";
    EXPECT_TRUE(!c.nvKept || (NvChanges() == 0 && drive_.SaveState() == factory)) << c.what << ": NV touched";
  }
  drive_.Faults().Clear();
  drive_.RestoreState(factory);
  const int32_t factoryPoles = OnDrive("DPoles", true);
  files(31)();
  drive_.Log().Clear();
  EXPECT_EQ(toNv(false, user)(), 1);
  EXPECT_EQ(api::CurrentNode(), 0u);
  EXPECT_EQ(Node(1).modelCode, 31u);
  EXPECT_EQ(OnDrive("DPoles", true), Store("DPoles", 1));
  EXPECT_NE(OnDrive("DPoles", true), factoryPoles);
  EXPECT_TRUE(Erased().empty());
}

// A backup of edited NV memory, restored onto a fresh drive of the same
// logic version and connection, backs up the same after a power cycle.
TEST_F(FileExports, ARestoredBackupBacksUpTheSame) {
  for (auto [logic, versionText] : {std::pair{2, "2.0A"}, {3, "3.2A"}, {4, "4.0A"}}) {
    for (bool network : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "logic " << logic << (network ? " network" : " serial"));
      const DriveConfig config{.logicVersion = logic, .versionText = versionText, .setupSwitches = 0x01};
      sim::VirtualDrive source(config), fresh(config);
      // A new process for each command, as the tool starts one per command.
      const auto backup = [&](sim::VirtualDrive& drive, const std::string& name) {
        api::ResetForTesting();
        Open(drive, network);
        EXPECT_EQ(GetUserParamsNV_SVODBT(Path(name + ".par").c_str()), 1);
        EXPECT_EQ(GetMfgParamsNV_SVODBT(Path(name + "-mfg.par").c_str()), 1);
        return Slurp(Path(name + ".par")) + Slurp(Path(name + "-mfg.par"));
      };
      api::ResetForTesting();
      Open(source, network);
      Select(1);
      ASSERT_EQ(RDFromNVUser_SVODB(), 1);
      std::tie(Store("ARF0", 1), Store("KVP", 1), Store("DPoles", 1)) = std::tuple(200, 100, 4);
      std::tie(Store("ILmtPlus", 1), Store("DeadBand", 1)) = std::tuple(logic < 3 ? 1 : 120, 5);
      Store("HstSet", 1) += 3;
      ASSERT_EQ(WRToNVUser_SVODB(), 1);
      ASSERT_EQ(WRToNVMfg_SVODB(), 1);
      const std::string edited = backup(source, "a");
      EXPECT_EQ(std::ranges::count(Slurp(Path("a-mfg.par")), '\n'), 4 + 14);
      EXPECT_NE(backup(fresh, "factory"), edited);
      Select(0);
      ASSERT_EQ(SetUserParamsNV_SVODBT(Path("a.par").c_str()), 1);
      ASSERT_EQ(api::CurrentNode(), 0u);
      ASSERT_EQ(SetMfgParamsNV_SVODBT(Path("a-mfg.par").c_str()), 1);
      fresh.PowerCycle();
      EXPECT_EQ(backup(fresh, "restored"), edited);
    }
  }
}

}  // namespace
}  // namespace svodb::testing
