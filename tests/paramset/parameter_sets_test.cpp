#include "paramset/parameter_sets.h"

#include <numeric>

#include "paramset/default_tables.h"
#include "paramset/set_fixture.h"
#include "values/catalogue_queries.h"
#include "values/enumerations.h"
#include "values/online_values.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::Operation;
using sim::Persistence;
using Names = std::vector<std::string>;

Names NamesOf(const ParameterList& list) {
  Names names;
  for (const VariableRecord* record : list) names.emplace_back(record->name);
  return names;
}

// The first arguments (FPGA address, NV entry) of the calls of one kind.
std::set<int32_t> Targets(const sim::CallLog& log, Operation operation) {
  std::set<int32_t> targets;
  for (const sim::CallRecord& record : log.Records())
    if (record.operation == operation) targets.insert(record.arguments[0]);
  return targets;
}

// The user file set as the drive's version text and logic see it, in
// catalogue order: the biquads need a TRX logic family (62 of 65 on
// "105.1A"), FBDivisor the 102 family, FbType and FilterType logic 4, and a
// version text never read supports nothing. The drive's own reads take the
// user and manufacturing sets.
TEST(SetSelection, MembersFollowTheDrivesVersion) {
  const Catalogue catalogue;
  ParameterList userAndManufacturing;
  AppendParameterSet(catalogue, ParameterSet::kUserWrite, userAndManufacturing);
  AppendParameterSet(catalogue, ParameterSet::kManufacturing, userAndManufacturing);
  std::ranges::sort(userAndManufacturing);  // the records lie in catalogue order
  EXPECT_EQ(DriveReadSet(catalogue), userAndManufacturing);
  const ParameterList all = UserFileSet(catalogue);
  EXPECT_EQ(all.size(), 65u);
  const std::pair<DriveVersion, std::size_t> cases[] = {{{"4.0A", 4}, 48},     {{"105.1A", 4}, 62},
                                                        {{"102.1A", 3}, 47},   {{"S1.0x", 3}, 39},
                                                        {{"anything", 2}, 33}, {{"", 3}, 0}};
  for (const auto& [version, count] : cases) {
    ParameterList inOrder;
    const ParameterList members = UserFileSet(catalogue, version);
    std::ranges::copy_if(all, std::back_inserter(inOrder),
                         [&](auto* r) { return std::ranges::count(members, r); });
    EXPECT_EQ(members, inOrder) << version.text;
    EXPECT_EQ(members.size(), count) << version.text;
  }
  const Names trx = NamesOf(UserFileSet(catalogue, DriveVersion{"105.1A", 4}));
  const Names fb = NamesOf(UserFileSet(catalogue, DriveVersion{"102.1A", 3}));
  for (const auto& [names, name, count] : {std::tuple{&trx, "BQ3K2", 1},
                                           {&trx, "FbType", 0},
                                           {&trx, "FBDivisor", 0},
                                           {&fb, "FBDivisor", 1},
                                           {&fb, "BQ0K1", 0},
                                           {&fb, "GearIn", 1}})
    EXPECT_EQ(std::ranges::count(*names, name), count) << name;
}

class Transfers : public ::testing::Test, public World {
 protected:
  explicit Transfers(const DriveConfig& config = {}) : World(config) {}
  static DriveConfig Logic(int32_t logic, const char* versionText) {
    return DriveConfig{.logicVersion = logic, .versionText = versionText};
  }
  ParameterList List(std::initializer_list<const char*> names) {
    ParameterList list;
    for (const char* name : names) list.push_back(db.catalogue.Find(name));
    return list;
  }
  int32_t Fpga(const char* name) { return registers.FindRegister(name)->descriptor.fpgaAddress; }
  int32_t OnDrive(const char* name) {
    int32_t raw = -1;
    EXPECT_EQ(ReadFpgaField(ctx, name, raw), 1) << name;
    return raw;
  }
  std::string Read(int32_t address) { return FpgaRead(drive, address); }
};

struct TorqueDrive : Transfers {
  TorqueDrive() : Transfers(DriveConfig{.modelCode = 28, .setupSwitches = 0x01}) {}
};

TEST_F(TorqueDrive, ReadsTakeTheDrivesIdentityFirst) {
  const ParameterList list = List({"ARF0", "KVP"});
  EXPECT_EQ(ReadSetFromDrive(ctx, list, 2), 10002);
  // LogicVer first: the whole read follows the one answer.
  const std::vector<std::string> header = {Read(30), Read(30), Read(4), Read(4), Read(1), Read(1), Read(25)};
  std::vector<std::string> expected = header;
  for (int address : {25, 53, 53, 16, 16}) expected.push_back(Read(address));
  EXPECT_EQ(drive.Log().Lines(), expected);
  const NodeState& image = db.nodes[2];
  EXPECT_EQ(std::tie(image.modelCode, db.connectedModelCode), std::tuple(28u, 28u));
  EXPECT_EQ(image.mode, 0u);  // OpMode 2 follows S2-1, which is on
  EXPECT_EQ(std::tie(image.setupS21, image.logicVersion), std::tuple(1u, 4));
  EXPECT_EQ(Store("ARF0", 2), OnDrive("ARF0"));

  drive.Log().Clear();
  db.nodes[3].setupS21 = 0;
  EXPECT_EQ(ReadSetFromNV(ctx, list, 3), 10002);  // no switch read of its own
  expected = header;
  for (int entry : {29, 29, 23, 23}) {
    const sim::NvEntry nv = drive.NvEntryAt(static_cast<uint8_t>(entry));
    expected.push_back("GetVarFromEEPROM(" + std::to_string(entry) + ") -> 1 [" +
                       std::to_string(nv.fpgaRegister) + ", " + std::to_string(nv.data) + "]");
  }
  EXPECT_EQ(drive.Log().Lines(), expected);
  EXPECT_EQ(db.nodes[3].setupS21, 0u);
  EXPECT_EQ(Store("KVP", 3), Store("KVP", 2));
}

struct OldLogicDrive : Transfers {
  OldLogicDrive() : Transfers(Logic(2, "2.0A")) {}
};

TEST_F(OldLogicDrive, EntriesAboveTheDrivesLogicArePassedOverSilently) {
  const ParameterList list = List({"BQ0K1", "ARF0", "FbType", "AFBSrc", "FBSrc"});
  const struct {
    Result (*transfer)(LibraryContext&, const ParameterList&, uint32_t);
    Result expected;
    Operation access;
    std::set<int32_t> targets;  // ARF0's FPGA address or NV entry only
  } cases[] = {{ReadSetFromDrive, 10005, Operation::kGetVarFromFPGA, {1, 4, 25, 30, 53}},
               {ReadSetFromNV, 10005, Operation::kGetVarFromEEPROM, {29}},
               {WriteSetToDrive, 10001, Operation::kPutVarToFPGA, {53}},
               {WriteSetToNV, 10005, Operation::kPutVarToEEPROM, {29}}};
  for (const auto& c : cases) {
    drive.Log().Clear();
    EXPECT_EQ(c.transfer(ctx, list, 1), c.expected);
    EXPECT_EQ(Targets(drive.Log(), c.access), c.targets);
  }
  EXPECT_EQ(WriteSetToDrive(ctx, List({"BQ0K1", "FbType"}), 1), 10000);
}

TEST_F(Transfers, WritesToTheWorkingRegistersOnlyWhatTheVersionTextSupports) {
  const struct {
    const char* versionText;
    Result expected;
    std::set<int32_t> written;  // ARF0 53, FBDivisor 99-102, biquads 42 and 108, GearIn 80-81
  } cases[] = {{"4.0A", 10002, {53, 80, 81}},
               {"105.1A", 10003, {42, 53, 80, 81, 108}},
               {"102.1A", 10003, {53, 80, 81, 99, 100, 101, 102}},
               {"", 10000, {}}};
  for (const auto& c : cases) {
    db.driveVersion = c.versionText;
    drive.Log().Clear();
    EXPECT_EQ(WriteSetToDrive(ctx, List({"ARF0", "FBDivisor", "BQ0K1", "GearIn"}), 0), c.expected)
        << c.versionText;
    EXPECT_EQ(Targets(drive.Log(), Operation::kPutVarToFPGA), c.written) << c.versionText;
  }
  drive.Log().Clear();  // NV takes every entry the logic has, whatever the text
  EXPECT_EQ(WriteSetToNV(ctx, List({"FBDivisor", "BQ0K1"}), 0), 10002);
  EXPECT_EQ(Targets(drive.Log(), Operation::kPutVarToEEPROM),
            (std::set<int32_t>{63, 64, 65, 66, 77, 78, 79, 80}));

  // A failed conversion of the image is reported back of the last entry.
  drive.Log().Clear();
  db.nodes[3].setupS21 = 7;  // the image's mode cannot be derived: 80000 + 23
  EXPECT_EQ(WriteSetToNV(ctx, List({"ARF0"}), 3), 80023);
  EXPECT_EQ(drive.Log().Count(Operation::kPutVarToEEPROM), 1u);
}

TEST_F(Transfers, MotorParametersThatDoNotStickArePassedOverOthersStopTheWrite) {
  const struct {
    const char* name;
    int32_t raw;  // differs from the drive's
    Result expected;
  } cases[] = {{"ILmtPlus", 120, 10002}, {"KVP", 100, 10002}, {"SelTRXParam", 0, 10002}, {"ARF0", 100, 10}};
  db.nodes[2].logicVersion = 4;
  for (const auto& c : cases) {
    Store(c.name, 2) = c.raw;
    Store("ARF1", 2) = OnDrive("ARF1") + 1;
    drive.Faults().Clear();
    drive.Faults().DropFpgaWrite(Fpga(c.name), Persistence::kAlways);
    EXPECT_EQ(WriteSetToDrive(ctx, List({c.name, "ARF1"}), 2), c.expected) << c.name;
    EXPECT_NE(OnDrive(c.name), c.raw) << c.name;
    EXPECT_EQ(OnDrive("ARF1") == Store("ARF1", 2), c.expected != 10) << c.name;
  }
  drive.Faults().Clear();
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 6, Fpga("ILmtPlus"));
  EXPECT_EQ(WriteSetToDrive(ctx, List({"ILmtPlus", "ARF1"}), 2), 6);
}

struct LogicThreeDrive : Transfers {
  LogicThreeDrive() : Transfers(Logic(3, "3.2A")) {}
};

// Logic 3 replaced the current limits' steps by percentages and changed the
// gains' format: an older image is written in the new formats and keeps its
// own.
TEST_F(LogicThreeDrive, AnOlderImageTravelsInTheDrivesFormats) {
  db.nodes[2].logicVersion = 2;
  registers.SetCurrentLimitLayout(2);
  Store("ILmtPlus", 2) = 2;
  Store("KVP", 2) = 100;
  double image = 0.0, online = 0.0;
  ASSERT_EQ(GetOfflineValue(ctx, "KVP", 2, image), 1);
  EXPECT_EQ(WriteSetToDrive(ctx, List({"ILmtPlus", "KVP"}), 2), 10002);
  EXPECT_EQ(WriteSetToNV(ctx, List({"ILmtPlus"}), 2), 10001);
  const auto calls = drive.Log().Lines();
  EXPECT_EQ(std::ranges::count(calls, "PutVarToFPGA(85, 101) -> 1"), 1);
  EXPECT_EQ(std::ranges::count(calls, "PutVarToEEPROM(45, 85, 101) -> 1"), 1);
  ASSERT_EQ(ReadVariableOnline(ctx, "KVP", online), 1);
  EXPECT_NE(OnDrive("KVP"), 100);
  EXPECT_NEAR(online, image, image * 0.02);
  EXPECT_EQ(std::tie(Store("ILmtPlus", 2), Store("KVP", 2), db.nodes[2].logicVersion), std::tuple(2, 100, 2));
  EXPECT_EQ(registers.FindRegister("ILmtPlus")->descriptor.bitWidth, 2u);
}

using SetExports = DriveExports;

TEST_F(SetExports, FailuresComposeWithTheirContext) {
  using F = sim::FaultPlan&;
  const struct {
    const char* what;
    std::function<void(F)> fault;
    int32_t (*operation)();
    int32_t expected;
  } cases[] = {
      // clang-format off
      // Model (FPGA 4) is read before the set and again by the set.
      {"model", [](F f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 6, 4); }, RDFromDriveUser_SVODB, 80006},
      {"model", [](F f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 6, 4); }, RDFromDriveMfg_SVODB, 80006},
      {"model again", [](F f) { f.FailCall(Operation::kGetVarFromFPGA, 3, 6, 4); }, RDFromDriveUser_SVODB, 10006},
      {"model of the write", [](F f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 6, 4); }, WRToDriveUser_SVODB, 20006},
      {"ARF0 unsteady", [](F f) { f.ChangeSecondRead(53); }, RDFromDriveUser_SVODB, 10010},
      {"ARF0 in NV", [](F f) { f.ReportWrongNvRegister(29, 99); }, RDFromNVUser_SVODB, 30007},
      {"NV read", [](F f) { f.FailCall(Operation::kGetVarFromEEPROM, 1, 5); }, RDFromNVMfg_SVODB, 30005},
      {"ARF0 dropped", [](F f) { f.DropFpgaWrite(53, Persistence::kAlways); }, WRToDriveUser_SVODB, 20010},
      // LogicVer is read once, first; its failure is a failed logic check.
      {"LogicVer", [](F f) { f.FailEveryCall(Operation::kGetVarFromFPGA, 6, 30); }, WRToDriveMfg_SVODB, 90006},
      {"NV write", [](F f) { f.FailCall(Operation::kPutVarToEEPROM, 1, 6); }, WRToNVMfg_SVODB, 40006},
      {"ARF0 NV dropped", [](F f) { f.DropNvWrite(29, Persistence::kAlways); }, WRToNVUser_SVODB, 40010},
      {"LogicVer raw", [](F f) { f.FailCall(Operation::kGetVarFromFPGA, 1, 0); }, WRToNVUser_SVODB, 90000},
      // The power board's byte (511) decides DeadBand's width: its address
      // goes out to FPGA 42 as 255.
      {"power board", [](F f) { f.FailEveryCall(Operation::kPutVarToFPGA, 6, 42); }, WRToNVMfg_SVODB, 44306},
      {"current offset", [](F f) { f.FailEveryCall(Operation::kGetVarFromFPGA, 6, 41); }, SetDefaultMfg_SVODB, 10006},
      {"defaults NV", [](F f) { f.FailCall(Operation::kPutVarToEEPROM, 1, 6); }, SetDefaultUser_SVODB, 40006},
      {"erase busy", [](F f) { f.EraseAnswersBusy(150, Persistence::kAlways); }, SetDefaultUser_SVODB, 70002},
      {"erase busy", [](F f) { f.EraseAnswersBusy(230, Persistence::kAlways); }, SetDefaultMfg_SVODB, 70002},
      {"erase", [](F f) { f.FailCall(Operation::kNVEraseUnit, 2, 4); }, SetDefaultMfg_SVODB, 70004},
      {"defaults model", [](F f) { f.FailEveryCall(Operation::kGetVarFromFPGA, 6, 4); }, SetDefaultUser_SVODB, 100006},
      // clang-format on
  };
  for (const auto& c : cases) {
    api::ResetForTesting();
    sim::VirtualDrive drive;
    Open(drive);
    Store("ARF0", 0) = 100;  // unlike the drive's, so a dropped write shows
    c.fault(drive.Faults());
    EXPECT_EQ(c.operation(), c.expected) << c.what;
  }
}

TEST_F(SetExports, DefaultsThatCannotLoadNameTheirRow) {
  // Node 0 with nothing connected: the drive's logic decides the table, and
  // its read fails first.
  EXPECT_EQ(SetDefaultUser_SVODB(), 90000);
  // An image needs no drive: with none connected DeadBand takes the narrow
  // form, as a failed read of the power board gave it before.
  ASSERT_EQ(SetNode_SVODB(2), 1);
  EXPECT_EQ(SetDefaultMfg_SVODB(), 1);
  EXPECT_EQ(Store("DeadBand", 2), 9);  // 31 - 2.2 us * 10
  NodeState& image = api::Context().db.nodes[2];
  const struct {
    uint32_t model, driveType;
    int32_t user, mfg;
  } cases[] = {{99, 2, 100209, 100009}, {31, 7, 100007, 100007}};
  for (const auto& c : cases) {
    std::tie(image.modelCode, image.driveType) = std::tie(c.model, c.driveType);
    EXPECT_EQ(std::pair(SetDefaultUser_SVODB(), SetDefaultMfg_SVODB()), std::pair(c.user, c.mfg));
  }
  image.driveType = 2;
  // Variables the setter takes for labels without a label table (8).
  api::Context().db.catalogue.Find("Kvp")->conversionCode = 0;
  api::Context().db.catalogue.Find("HstSet")->conversionCode = 0;
  EXPECT_EQ(SetDefaultUser_SVODB(), 104208);  // row 42 of the network table
  EXPECT_EQ(SetDefaultMfg_SVODB(), 100008);
}

// Defaults loaded into node 0 follow the connection, keep the drive's
// current offsets and erase the unused NV entries; loaded into an image
// they cause no traffic at all, and the set writes erase nothing.
TEST_F(SetExports, DefaultsOnNodeZero) {
  Open(true);
  ASSERT_EQ(SetDriveType_SVODB(1), 1);  // node 0's own record says serial
  LibraryContext ctx = api::Context();
  drive_.SetFpgaByte(static_cast<uint8_t>(ctx.registers.FindRegister("IUOffset")->descriptor.fpgaAddress), 7);
  Store("IUOffset", 0) = -3;
  std::vector<int32_t> unused(230 - 137 + 1);
  std::iota(unused.begin(), unused.end(), 137);
  for (int32_t (*load)() : {SetDefaultUser_SVODB, SetDefaultMfg_SVODB}) {
    drive_.Log().Clear();
    EXPECT_EQ(load(), 1);
    EXPECT_EQ(Erased(), unused);
    EXPECT_EQ(drive_.Log().Records().back().ToString(), "NVEraseUnit(230) -> 1");
  }
  EXPECT_EQ(ValueToFileLabel(ctx, "CmdSrc", Store("CmdSrc", 0), 0).value_or("?"), "Command_Variable");
  EXPECT_EQ(OnDrive("IUOffset", true), OnDrive("IUOffset"));
  EXPECT_EQ(Store("IUOffset", 0), OnDrive("IUOffset"));

  drive_.Log().Clear();
  EXPECT_EQ(WRToNVUser_SVODB(), 1);
  EXPECT_EQ(WRToNVMfg_SVODB(), 1);
  EXPECT_TRUE(Erased().empty());
  ASSERT_EQ(SetNode_SVODB(3), 1);
  drive_.Log().Clear();
  EXPECT_EQ(SetDefaultUser_SVODB(), 1);
  EXPECT_EQ(drive_.Log().TotalCount(), 0u);
  EXPECT_EQ(SetDefaultMfg_SVODB(), 1);
  EXPECT_EQ(drive_.Log().Count(Operation::kPutVarToEEPROM) + Erased().size(), 0u);
}

// The user sets leave the inhibits and the gearing out on the network; the
// user reads take the manufacturing set too, the user writes leave it alone.
TEST_F(SetExports, WhatTheUserSetsTakeAndLeave) {
  const char* kSerialOnly[] = {"EnInhibitCCW", "EnInhibitCW", "GearIn", "GearOut"};
  const char* kManufacturing[] = {"DeadBand", "HstSet", "IUOffset", "VBusUV"};
  for (bool network : {true, false}) {
    Open(network);
    ASSERT_EQ(RDFromDriveUser_SVODB(), 1);
    for (const char* name : kManufacturing) {
      EXPECT_EQ(Store(name, 0), OnDrive(name)) << name;
      Store(name, 0) += 1;
    }
    std::vector<int32_t> before;
    for (const char* name : kSerialOnly) {
      before.push_back(OnDrive(name));
      Store(name, 0) = Store(name, 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(WRToDriveUser_SVODB(), 1);
    EXPECT_EQ(WRToNVUser_SVODB(), 1);
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(OnDrive(kSerialOnly[i]) == before[i], network) << kSerialOnly[i];
      EXPECT_EQ(OnDrive(kSerialOnly[i], true) == before[i], network) << kSerialOnly[i];
      EXPECT_EQ(OnDrive(kManufacturing[i]) + 1, Store(kManufacturing[i], 0)) << kManufacturing[i];
      EXPECT_EQ(OnDrive(kManufacturing[i], true) + 1, Store(kManufacturing[i], 0)) << kManufacturing[i];
    }
  }
  uint32_t node = 2;  // the manufacturing reads take those alone
  for (int32_t (*read)() : {RDFromDriveMfg_SVODB, RDFromNVMfg_SVODB}) {
    ASSERT_EQ(SetNode_SVODB(static_cast<int32_t>(node)), 1);
    Store("ARF0", node) = Store("DeadBand", node) = -1;
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(std::pair(Store("ARF0", node), Store("DeadBand", node)), std::pair(-1, OnDrive("DeadBand")));
    ++node;
  }
}

// A default reads back from the image as its text: labels exactly, numbers
// within the distance to the next value their raw format holds (the gains'
// floating-point formats keep 3 or 4 mantissa bits, so that is coarse).
void ExpectReadsBack(LibraryContext& ctx, const char* name, const std::string& text, uint32_t node) {
  double value = 0.0;
  ASSERT_EQ(GetOfflineValue(ctx, name, node, value), 1) << name;
  const int32_t c = EffectiveConversionCode(ctx, name, node);
  if (c <= 3) {
    EXPECT_EQ(ValueToFileLabel(ctx, name, static_cast<int32_t>(value), node).value_or("?"), text) << name;
    return;
  }
  const auto units = static_cast<int32_t>(ctx.db.nodes[node].mode);
  double step = 1e-9;
  for (const char* raw :
       {c == 601 || c == 602 ? "PWMPlus" : name, c == 601 || c == 602 ? "PWMMinus" : name}) {
    const int32_t kept = ctx.registers.FindRegister(raw)->raw[node];
    for (int32_t delta : {-1, 1}) {
      double neighbour = value;
      if (ctx.registers.SetRawValue(raw, kept + delta, units, static_cast<int32_t>(node)) == 1 &&
          GetOfflineValue(ctx, name, node, neighbour) == 1)
        step = std::max(step, std::abs(neighbour - value));
      ctx.registers.FindRegister(raw)->raw[node] = kept;
    }
  }
  EXPECT_NEAR(value, std::strtod(text.c_str(), nullptr), step) << name << " = " << text;
}

// Every model's column of every table, serial and network, each logic.
TEST(OfflineDefaults, EveryModelsDefaultsLoadAndReadBack) {
  for (const auto& [driveType, logic] : {std::pair{1u, 2}, {1u, 3}, {1u, 4}, {2u, 3}, {2u, 4}}) {
    for (std::size_t column = 0; column < kDefaultModelCount; ++column) {
      SCOPED_TRACE(::testing::Message()
                   << "drive type " << driveType << " logic " << logic << " column " << column);
      // The drive only for its power board, which chooses the DeadBand field
      // that the larger dead bands need.
      World world;
      world.db.nodes[4] = NodeState{.logicVersion = logic,
                                    .driveType = driveType,
                                    .mode = 0,
                                    .modelCode = kDefaultColumnModels[column],
                                    .setupS21 = 1};
      ASSERT_EQ(world.registers.SetRawValue("LogicVer", logic, 0, 4), 1);
      world.registers.SetCurrentLimitLayout(logic);  // as making node 4 current does
      EXPECT_EQ(ApplyUserDefaults(world.ctx, 4), 1);
      EXPECT_EQ(ApplyMfgDefaults(world.ctx, 4), 1);
      for (DefaultSet set : {DefaultSet::kUser, DefaultSet::kManufacturing}) {
        for (const DefaultRow& row : DefaultTable(set, driveType, logic >= 4))
          ExpectReadsBack(world.ctx, row.name, row.texts[column], 4);
      }
      EXPECT_TRUE(logic >= 4 || world.Store("FbType", 4) == 15);  // untouched by the older tables
    }
  }
}

}  // namespace
}  // namespace svodb::testing
