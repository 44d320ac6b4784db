// The file exports against the virtual drive: images saved to parameter
// files and loaded from them, files copied into the drive's NV memory and
// NV memory saved to files, the factory defaults loaded into an image, and
// the composed code of each failure.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "api/global_state.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "paramset/set_fixture.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"

namespace svodb::testing {
namespace {

namespace fs = std::filesystem;
using sim::DriveConfig;
using sim::Operation;
using sim::Persistence;
using Names = std::vector<std::string>;

void Spit(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

// The names of a written file's parameter lines, in file order.
Names LineNames(const std::string& text) {
  Names names;
  std::size_t start = 0;
  for (int line = 0; start < text.size(); ++line) {
    const std::size_t end = text.find('\n', start);
    const std::string row = text.substr(start, end - start);
    if (line >= 4) names.push_back(row.substr(0, row.find(' ')));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return names;
}

// The file with its version line replaced.
std::string WithVersion(const std::string& text, const std::string& version) {
  const std::size_t start = text.find("FileVersion ");
  const std::size_t end = text.find('\n', start);
  return text.substr(0, start) + "FileVersion " + version + " " + text.substr(end - (text[end - 1] == '\r'));
}

class FileExports : public DriveExports {
 protected:
  void SetUp() override {
    DriveExports::SetUp();
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::ranges::replace(name, '/', '_');
    dir_ = fs::temp_directory_path() / ("svodb_file_exports_" + std::to_string(getpid()) + "_" + name);
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override {
    fs::remove_all(dir_);
    DriveExports::TearDown();
  }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  static NodeState& Node(uint32_t node) { return api::Context().db.nodes[node]; }
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
  fs::path dir_;
};

// ---- the version line --------------------------------------------------------

TEST_F(FileExports, OnlyUserFilesMustCarryAVersionADriveHas) {
  Open();
  OfflineImage(2);
  ASSERT_EQ(PutVariable_SVODB("DPoles", 4), 1);
  const std::string user = Path("user.par"), mfg = Path("mfg.par");
  ASSERT_EQ(WRToFileUser_SVODB(user.c_str()), 1);
  ASSERT_EQ(WRToFileMfg_SVODB(mfg.c_str()), 1);
  const std::string userText = Slurp(user), mfgText = Slurp(mfg);

  struct Case {
    const char* version;
    int32_t user;
  };
  const Case cases[] = {{"1", 33}, {"2", 1}, {"3", 1}, {"4", 1}, {"5", 33}, {"40", 33}};
  for (const Case& c : cases) {
    Spit(user, WithVersion(userText, c.version));
    Spit(mfg, WithVersion(mfgText, c.version));
    OfflineImage(3);
    ASSERT_EQ(PutVariable_SVODB("DPoles", 8), 1);
    EXPECT_EQ(RDFromFileUser_SVODB(user.c_str()), c.user) << c.version;
    EXPECT_EQ(Value("DPoles"), 4) << c.version;  // loaded whatever the version
    ASSERT_EQ(PutVariable_SVODB("DPoles", 8), 1);
    EXPECT_EQ(RDFromFileMfg_SVODB(mfg.c_str()), 1) << c.version;
    EXPECT_EQ(Value("DPoles"), 4) << c.version;
  }

  // Into NV: the user file is refused before the drive is touched, the
  // manufacturing file goes on.
  const sim::PersistentState before = drive_.SaveState();
  Select(0);
  EXPECT_EQ(SetUserParamsNV_SVODBT(user.c_str()), 33);
  EXPECT_EQ(api::CurrentNode(), 1u);
  EXPECT_EQ(NvChanges(), 0u);
  EXPECT_EQ(drive_.SaveState(), before);
  Select(0);
  EXPECT_EQ(SetMfgParamsNV_SVODBT(mfg.c_str()), 1);
  EXPECT_GT(drive_.Log().Count(Operation::kPutVarToEEPROM), 0u);
}

// ---- a user file into NV ---------------------------------------------------------

TEST_F(FileExports, AUserFileReachesNvOnlyForTheDrivesModel) {
  Open();
  const sim::PersistentState factory = drive_.SaveState();
  const int32_t factoryPoles = OnDrive("DPoles", true);
  struct Case {
    const char* what;
    int32_t fileModel;
    std::function<void(sim::FaultPlan&)> fault;
    const char* file;
    int32_t expected;
    bool beforeNv;  // fails before anything is written to NV
  };
  const auto none = [](sim::FaultPlan&) {};
  const Case cases[] = {
      {"another model", 28, none, "user.par", 80009, true},
      {"model unreadable", 31, [](auto& f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 6, 4); }, "user.par",
       80006, true},
      {"no such file", 31, none, "missing.par", 50031, true},
      {"NV write fails", 31, [](auto& f) { f.FailCall(Operation::kPutVarToEEPROM, 1, 6); }, "user.par", 40006,
       false},
      {"NV write does not stick", 31, [](auto& f) { f.DropNvWrite(29, Persistence::kAlways); }, "user.par",
       40010, false},
  };
  for (const Case& c : cases) {
    OfflineImage(2, c.fileModel);
    ASSERT_EQ(PutVariable_SVODB("DPoles", 4), 1);
    Store("ARF0", 2) = 100;  // unlike the drive's, so a dropped write shows
    ASSERT_EQ(WRToFileUser_SVODB(Path("user.par").c_str()), 1);
    Select(0);
    drive_.Faults().Clear();
    c.fault(drive_.Faults());
    drive_.Log().Clear();
    EXPECT_EQ(SetUserParamsNV_SVODBT(Path(c.file).c_str()), c.expected) << c.what;
    EXPECT_EQ(api::CurrentNode(), 1u) << c.what;
    if (c.beforeNv) {
      EXPECT_EQ(NvChanges(), 0u) << c.what;
      EXPECT_EQ(drive_.SaveState(), factory) << c.what;
    }
    drive_.RestoreState(factory);
  }
  drive_.Faults().Clear();
  Select(0);
  drive_.Log().Clear();
  EXPECT_EQ(SetUserParamsNV_SVODBT(Path("user.par").c_str()), 1);
  EXPECT_EQ(api::CurrentNode(), 0u);
  EXPECT_EQ(Node(1).modelCode, 31u);
  EXPECT_EQ(OnDrive("DPoles", true), Store("DPoles", 1));
  EXPECT_NE(OnDrive("DPoles", true), factoryPoles);
  EXPECT_TRUE(Erased().empty());
}

// ---- a manufacturing file into NV -----------------------------------------------

TEST_F(FileExports, AManufacturingFileWritesOnlyItsManufacturingPartAndCleansUpNv) {
  Open();
  Select(2);
  ASSERT_EQ(RDFromNVUser_SVODB(), 1);
  const int32_t dPoles = Store("DPoles", 2), deadBand = Store("DeadBand", 2), hstSet = Store("HstSet", 2);
  Store("DPoles", 2) = dPoles == 4 ? 5 : 4;
  Store("DeadBand", 2) = deadBand == 5 ? 6 : 5;
  Store("HstSet", 2) = hstSet + 3;
  const std::string mfg = Path("mfg.par");
  ASSERT_EQ(WRToFileMfg_SVODB(mfg.c_str()), 1);

  Select(3);
  drive_.Log().Clear();
  EXPECT_EQ(SetMfgParamsNV_SVODBT(mfg.c_str()), 1);
  EXPECT_EQ(Erased().size(), 230u - 137 + 1);
  EXPECT_EQ(api::CurrentNode(), 3u);
  EXPECT_EQ(OnDrive("DeadBand", true), Store("DeadBand", 2));
  EXPECT_EQ(OnDrive("HstSet", true), Store("HstSet", 2));
  EXPECT_EQ(OnDrive("DPoles", true), dPoles);  // the user part stays in the image
  EXPECT_EQ(Store("DPoles", 3), Store("DPoles", 2));

  struct Case {
    const char* what;
    std::function<void(sim::FaultPlan&)> fault;
    int32_t model;
    int32_t expected;
  };
  const auto none = [](sim::FaultPlan&) {};
  const Case cases[] = {
      {"another model", none, 28, 80009},
      {"model unreadable", [](auto& f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 5, 4); }, 31, 80005},
      {"NV write fails", [](auto& f) { f.FailCall(Operation::kPutVarToEEPROM, 1, 6); }, 31, 40006},
      {"erase busy twice", [](auto& f) { f.EraseAnswersBusy(200, Persistence::kAlways); }, 31, 70002},
      {"erase fails", [](auto& f) { f.FailCall(Operation::kNVEraseUnit, 3, 4); }, 31, 70004},
  };
  for (const Case& c : cases) {
    Select(2);
    ASSERT_EQ(SetModel_SVODB(c.model), 1);
    ASSERT_EQ(WRToFileMfg_SVODB(mfg.c_str()), 1);
    Select(3);
    drive_.Faults().Clear();
    c.fault(drive_.Faults());
    EXPECT_EQ(SetMfgParamsNV_SVODBT(mfg.c_str()), c.expected) << c.what;
  }
  drive_.Faults().Clear();
  EXPECT_EQ(SetMfgParamsNV_SVODBT(Path("missing.par").c_str()), 50031);
  ASSERT_EQ(WRToFileUser_SVODB(mfg.c_str()), 1);
  EXPECT_EQ(SetMfgParamsNV_SVODBT(mfg.c_str()), 50032);
}

// ---- defaults into an image ---------------------------------------------------

TEST_F(FileExports, DefaultsIntoTheDrivesImageStayInTheImage) {
  Open();
  Select(0);
  ASSERT_EQ(RDFromNVUser_SVODB(), 1);
  ASSERT_EQ(PutVariable_SVODB("DPoles", 2), 1);
  RegisterMap& registers = api::Context().registers;
  std::vector<std::array<int32_t, kNodeCount>> before;
  for (const RegisterState& state : registers.Registers()) before.push_back(state.raw);
  const sim::PersistentState nv = drive_.SaveState();
  drive_.Log().Clear();

  EXPECT_EQ(SetParamsArray_SVODB(), 1);
  // The DeadBand scaling reads the power board through the motor-data
  // window, whose address registers are all it writes.
  for (const sim::CallRecord& call : drive_.Log().Records()) {
    if (call.operation == Operation::kPutVarToFPGA) {
      EXPECT_TRUE(call.arguments[0] == 42 || call.arguments[0] == 43) << call.ToString();
    }
  }
  EXPECT_EQ(NvChanges(), 0u);
  EXPECT_EQ(drive_.SaveState(), nv);
  char label[SVODB_LABEL_SIZE] = "";
  ASSERT_TRUE(GetValStr_SVODB("DPoles", static_cast<int32_t>(Value("DPoles")), label));
  EXPECT_STREQ(label, "6");
  for (std::size_t i = 0; i < before.size(); ++i) {
    for (std::size_t node = 1; node < kNodeCount; ++node) {
      EXPECT_EQ(registers.Registers()[i].raw[node], before[i][node])
          << registers.Registers()[i].descriptor.name << " node " << node;
    }
  }
  // The image's name table: what a file of it would list, as the drive's
  // version text supports (no biquads, no FBDivisor on "4.0A").
  EXPECT_EQ(api::Context().db.parameterFileNames[0].size(), 48u);
}

// ---- composed codes -------------------------------------------------------------

TEST_F(FileExports, FailuresComposeWithTheirContext) {
  Open();
  const std::string user = Path("user.par");
  OfflineImage(2);
  ASSERT_EQ(WRToFileUser_SVODB(user.c_str()), 1);
  // ARF0, ARF1, BatFDis, BQ0B2, BQ0K1, then the bad line.
  std::string bad = Slurp(user);
  const std::size_t sixth = bad.find("\nBQ0B1 ");
  ASSERT_NE(sixth, std::string::npos);
  bad.insert(sixth, "\n# a comment is not counted\nBatFDis = Sometimes");
  Spit(Path("bad.par"), bad);

  struct Case {
    const char* what;
    std::function<void()> prepare;
    std::function<int32_t()> call;
    int32_t expected;
  };
  const auto onNode = [](int32_t node, std::function<void()> edit) {
    return [=] {
      OfflineImage(node);
      edit();
    };
  };
  const auto nothing = [] {};
  const std::string missing = Path("no/such/folder/file.par");
  const Case cases[] = {
      {"image mode", onNode(2, [] { Node(2).setupS21 = 7; }),
       [&] { return WRToFileUser_SVODB(user.c_str()); }, 80023},
      {"image command source", onNode(2, [] { Store("CmdSrc", 2) = 3; }),
       [&] { return WRToFileMfg_SVODB(user.c_str()); }, 80023},
      {"model without a label", onNode(2, [] { ASSERT_EQ(SetModel_SVODB(99), 1); }),
       [&] { return WRToFileUser_SVODB(user.c_str()); }, 60009},
      {"no such folder", onNode(2, nothing), [&] { return WRToFileUser_SVODB(missing.c_str()); }, 60031},
      {"no such folder", onNode(2, nothing), [&] { return WRToFileMfg_SVODB(missing.c_str()); }, 60031},
      {"no such file", onNode(3, nothing), [&] { return RDFromFileUser_SVODB(missing.c_str()); }, 50031},
      {"user file to the manufacturing reader", onNode(3, nothing),
       [&] { return RDFromFileMfg_SVODB(user.c_str()); }, 50032},
      {"label on the 6th parameter line", onNode(3, nothing),
       [&] { return RDFromFileUser_SVODB(Path("bad.par").c_str()); }, 50623},
      {"NV read", [&] { drive_.Faults().FailCall(Operation::kGetVarFromEEPROM, 1, 5); },
       [&] { return GetUserParamsNV_SVODBT(user.c_str()); }, 30005},
      {"NV entry of another register", [&] { drive_.Faults().ReportWrongNvRegister(29, 99); },
       [&] { return GetMfgParamsNV_SVODBT(user.c_str()); }, 30007},
      {"NV image's mode", onNode(4, [] { Node(4).setupS21 = 7; }),
       [&] { return GetUserParamsNV_SVODBT(user.c_str()); }, 80023},
      {"no such folder", onNode(4, nothing), [&] { return GetMfgParamsNV_SVODBT(missing.c_str()); }, 60031},
      {"null name", nothing, [] { return RDFromFileUser_SVODB(nullptr); }, 31},
  };
  for (const Case& c : cases) {
    api::ResetForTesting();
    drive_.Faults().Clear();
    Open();
    c.prepare();
    const std::string kept = Slurp(user);
    EXPECT_EQ(c.call(), c.expected) << c.what;
    EXPECT_EQ(Slurp(user), kept) << c.what << ": a failed write keeps the old file";
  }
}

// ---- backup and restore --------------------------------------------------------

struct DriveCase {
  int32_t logic;
  const char* versionText;
  bool network;
};

// GoogleTest prints a parameter it has no printer for as raw bytes, the
// struct's padding included, which memory checkers report as uninitialised.
void PrintTo(const DriveCase& c, std::ostream* os) {
  *os << "logic " << c.logic << " " << c.versionText << (c.network ? " network" : " serial");
}

class BackupRestore : public FileExports, public ::testing::WithParamInterface<DriveCase> {
 protected:
  DriveConfig Config() const {
    return DriveConfig{
        .logicVersion = GetParam().logic, .versionText = GetParam().versionText, .setupSwitches = 0x01};
  }
  // A new process, as the tool starts one per command, on the drive.
  void Connect(sim::VirtualDrive& drive) {
    api::ResetForTesting();
    Open(drive, GetParam().network);
  }
  void Backup(const std::string& user, const std::string& mfg) {
    Select(0);
    ASSERT_EQ(GetUserParamsNV_SVODBT(user.c_str()), 1);
    ASSERT_EQ(GetMfgParamsNV_SVODBT(mfg.c_str()), 1);
  }
  void Restore(const std::string& user, const std::string& mfg) {
    Select(0);
    ASSERT_EQ(SetUserParamsNV_SVODBT(user.c_str()), 1);
    ASSERT_EQ(api::CurrentNode(), 0u);
    ASSERT_EQ(SetMfgParamsNV_SVODBT(mfg.c_str()), 1);
  }
};

// A file from the drive's NV goes back into NV and comes out the same, on
// the drive it came from and on a fresh one.
TEST_P(BackupRestore, ARestoredBackupBacksUpTheSame) {
  sim::VirtualDrive source(Config());
  Connect(source);
  Select(1);
  ASSERT_EQ(RDFromNVUser_SVODB(), 1);
  Store("ARF0", 1) = 200;
  Store("KVP", 1) = 100;
  Store("DPoles", 1) = 4;
  Store("ILmtPlus", 1) = GetParam().logic < 3 ? 1 : 120;
  Store("DeadBand", 1) = 5;
  Store("HstSet", 1) += 3;
  ASSERT_EQ(WRToNVUser_SVODB(), 1);
  ASSERT_EQ(WRToNVMfg_SVODB(), 1);

  Connect(source);
  Backup(Path("user.par"), Path("mfg.par"));
  EXPECT_EQ(LineNames(Slurp(Path("mfg.par"))).size(), 14u);
  Restore(Path("user.par"), Path("mfg.par"));
  Backup(Path("user-again.par"), Path("mfg-again.par"));
  EXPECT_EQ(Slurp(Path("user-again.par")), Slurp(Path("user.par")));
  EXPECT_EQ(Slurp(Path("mfg-again.par")), Slurp(Path("mfg.par")));

  sim::VirtualDrive fresh(Config());
  Connect(fresh);
  Backup(Path("factory-user.par"), Path("factory-mfg.par"));
  EXPECT_NE(Slurp(Path("factory-user.par")), Slurp(Path("user.par")));
  EXPECT_NE(Slurp(Path("factory-mfg.par")), Slurp(Path("mfg.par")));
  Connect(fresh);
  Restore(Path("user.par"), Path("mfg.par"));
  fresh.PowerCycle();
  Connect(fresh);
  Backup(Path("user-fresh.par"), Path("mfg-fresh.par"));
  EXPECT_EQ(Slurp(Path("user-fresh.par")), Slurp(Path("user.par")));
  EXPECT_EQ(Slurp(Path("mfg-fresh.par")), Slurp(Path("mfg.par")));
}

INSTANTIATE_TEST_SUITE_P(Drives, BackupRestore,
                         ::testing::Values(DriveCase{2, "2.0A", false}, DriveCase{2, "2.0A", true},
                                           DriveCase{3, "3.2A", false}, DriveCase{3, "3.2A", true},
                                           DriveCase{4, "4.0A", false}, DriveCase{4, "4.0A", true}),
                         [](const auto& info) {
                           return "Logic" + std::to_string(info.param.logic) +
                                  (info.param.network ? "Network" : "Serial");
                         });

}  // namespace
}  // namespace svodb::testing
