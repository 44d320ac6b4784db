#include "paramset/parameter_sets.h"

#include <numeric>

#include "paramset/default_tables.h"
#include "paramset/set_fixture.h"
#include "values/catalogue_queries.h"
#include "values/enumerations.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::Operation;
using sim::Persistence;

// The first arguments (FPGA address, NV entry) of the calls of one kind.
std::set<int32_t> Targets(const sim::CallLog& log, Operation operation) {
  std::set<int32_t> targets;
  for (const sim::CallRecord& record : log.Records())
    if (record.operation == operation) targets.insert(record.arguments[0]);
  return targets;
}

// Entries above the drive's logic are passed over silently; the working
// registers take only what the version text supports (the biquads a TRX
// family, FBDivisor the 102 family), NV every entry the logic has. ARF0 is
// FPGA 53 and NV entry 29, FBDivisor FPGA 99-102, the biquads 42 and 108,
// GearIn 80-81.
TEST(SetTransfers, EntriesFollowTheDrivesLogicAndVersion) {
  using Transfer = Result (*)(LibraryContext&, const ParameterList&, uint32_t);
  const char *older = "BQ0K1 ARF0 FbType AFBSrc FBSrc", *newer = "ARF0 FBDivisor BQ0K1 GearIn";
  const struct {
    int32_t logic;
    const char *versionText, *names;
    uint32_t node;
    Transfer transfer;
    Result expected;
    Operation access;
    std::set<int32_t> targets;
  } cases[] = {
      // clang-format off
      {2, "2.0A", older, 1, ReadSetFromDrive, 10005, Operation::kGetVarFromFPGA, {1, 4, 25, 30, 53}},
      {2, "2.0A", older, 1, ReadSetFromNV, 10005, Operation::kGetVarFromEEPROM, {29}},
      {2, "2.0A", older, 1, WriteSetToDrive, 10001, Operation::kPutVarToFPGA, {53}},
      {2, "2.0A", older, 1, WriteSetToNV, 10005, Operation::kPutVarToEEPROM, {29}},
      {2, "2.0A", "BQ0K1 FbType", 1, WriteSetToDrive, 10000, Operation::kPutVarToFPGA, {}},
      {4, "4.0A", newer, 0, WriteSetToDrive, 10002, Operation::kPutVarToFPGA, {53, 80, 81}},
      {4, "105.1A", newer, 0, WriteSetToDrive, 10003, Operation::kPutVarToFPGA, {42, 53, 80, 81, 108}},
      {4, "102.1A", newer, 0, WriteSetToDrive, 10003, Operation::kPutVarToFPGA, {53, 80, 81, 99, 100, 101, 102}},
      {4, "", newer, 0, WriteSetToDrive, 10000, Operation::kPutVarToFPGA, {}},
      {4, "", "FBDivisor BQ0K1", 0, WriteSetToNV, 10002, Operation::kPutVarToEEPROM, {63, 64, 65, 66, 77, 78, 79, 80}},
      {4, "4.0A", "ARF0", 3, WriteSetToNV, 80023, Operation::kPutVarToEEPROM, {29}},  // node 3's mode is unknown
      // clang-format on
  };
  for (const auto& c : cases) {
    World world(DriveConfig{.logicVersion = c.logic, .versionText = c.logic == 2 ? "2.0A" : "4.0A"});
    world.db.driveVersion = c.versionText;
    world.db.nodes[3].setupS21 = 7;
    EXPECT_EQ(c.transfer(world.ctx, Named(world.db.catalogue, c.names), c.node), c.expected) << c.names;
    EXPECT_EQ(Targets(world.drive.Log(), c.access), c.targets) << c.names << " " << c.versionText;
  }
}

// A read takes LogicVer first and follows that one answer; the NV read
// reads no switch of its own.
TEST(SetTransfers, ReadsTakeTheDrivesIdentityFirst) {
  World world(DriveConfig{.modelCode = 28, .setupSwitches = 0x01});
  const ParameterList list = Named(world.db.catalogue, "ARF0 KVP");
  const auto read = [&](int address) { return FpgaRead(world.drive, address); };
  EXPECT_EQ(ReadSetFromDrive(world.ctx, list, 2), 10002);
  const std::vector<std::string> header = {read(30), read(30), read(4), read(4), read(1), read(1), read(25)};
  std::vector<std::string> expected = header;
  for (int address : {25, 53, 53, 16, 16}) expected.push_back(read(address));
  EXPECT_EQ(world.drive.Log().Lines(), expected);
  const NodeState& image = world.db.nodes[2];
  EXPECT_EQ(std::tie(image.modelCode, world.db.connectedModelCode), std::tuple(28u, 28u));
  EXPECT_EQ(image.mode, 0u);  // OpMode 2 follows S2-1, which is on
  EXPECT_EQ(std::tie(image.setupS21, image.logicVersion), std::tuple(1u, 4));
  EXPECT_EQ(world.Store("ARF0", 2), world.OnDrive("ARF0"));

  world.db.nodes[3].setupS21 = 0;
  EXPECT_EQ(ReadSetFromNV(world.ctx, list, 3), 10002);
  // The header's seven reads after the read's twelve and ARF0's two: no switch read of its own.
  EXPECT_EQ(world.drive.Log().Count(Operation::kGetVarFromFPGA), 12u + 2u + 7u);
  EXPECT_EQ(std::pair(world.db.nodes[3].setupS21, world.Store("KVP", 3)),
            std::pair(0u, world.Store("KVP", 2)));
}

// Motor parameters whose write does not stick are passed over; any other
// register stops the write.
TEST(SetTransfers, MotorParametersThatDoNotStickArePassedOver) {
  World world;
  const auto fpga = [&](const char* name) {
    return world.registers.FindRegister(name)->descriptor.fpgaAddress;
  };
  const struct {
    const char* name;
    int32_t raw;  // differs from the drive's
    Result expected;
  } cases[] = {{"ILmtPlus", 120, 10002}, {"KVP", 100, 10002}, {"SelTRXParam", 0, 10002}, {"ARF0", 100, 10}};
  world.db.nodes[2].logicVersion = 4;
  for (const auto& c : cases) {
    world.Store(c.name, 2) = c.raw;
    world.Store("ARF1", 2) = world.OnDrive("ARF1") + 1;
    world.drive.Faults().Clear();
    world.drive.Faults().DropFpgaWrite(fpga(c.name), Persistence::kAlways);
    EXPECT_EQ(WriteSetToDrive(world.ctx, Named(world.db.catalogue, std::string(c.name) + " ARF1"), 2),
              c.expected);
    EXPECT_NE(world.OnDrive(c.name), c.raw) << c.name;
    EXPECT_EQ(world.OnDrive("ARF1") == world.Store("ARF1", 2), c.expected != 10) << c.name;
  }
  world.drive.Faults().Clear();
  world.drive.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 6, fpga("ILmtPlus"));
  EXPECT_EQ(WriteSetToDrive(world.ctx, Named(world.db.catalogue, "ILmtPlus ARF1"), 2), 6);
}

using SetExports = DriveExports;

// Defaults that cannot load name their row. On node 0 with nothing
// connected the drive's logic decides the table, and its read fails first;
// an image needs none, and its DeadBand then takes the narrow form.
TEST_F(SetExports, DefaultsThatCannotLoadNameTheirRow) {
  EXPECT_EQ(SetDefaultUser_SVODB(), 90000);
  ASSERT_EQ(SetNode_SVODB(2), 1);
  EXPECT_EQ(SetDefaultMfg_SVODB(), 1);
  EXPECT_EQ(Store("DeadBand", 2), 9);  // 31 - 2.2 us * 10
  NodeState& image = Node(2);
  for (const auto& [model, driveType, user, mfg] :
       {std::tuple{99u, 2u, 100209, 100009}, {31u, 7u, 100007, 100007}}) {
    std::tie(image.modelCode, image.driveType) = std::tie(model, driveType);
    EXPECT_EQ(std::pair(SetDefaultUser_SVODB(), SetDefaultMfg_SVODB()), std::pair(user, mfg));
  }
  image.driveType = 2;
  // Labels for variables without a label table (8): row 42 of the network table.
  api::Context().db.catalogue.Find("Kvp")->conversionCode = 0;
  api::Context().db.catalogue.Find("HstSet")->conversionCode = 0;
  EXPECT_EQ(std::pair(SetDefaultUser_SVODB(), SetDefaultMfg_SVODB()), std::pair(104208, 100008));
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
  EXPECT_EQ(std::pair(WRToNVUser_SVODB(), WRToNVMfg_SVODB()), std::pair(1, 1));
  EXPECT_TRUE(Erased().empty());
  ASSERT_EQ(SetNode_SVODB(3), 1);
  drive_.Log().Clear();
  EXPECT_EQ(SetDefaultUser_SVODB(), 1);
  EXPECT_EQ(drive_.Log().TotalCount(), 0u);
  EXPECT_EQ(SetDefaultMfg_SVODB(), 1);
  EXPECT_EQ(drive_.Log().Count(Operation::kPutVarToEEPROM) + Erased().size(), 0u);
}

// The user sets leave the inhibits and the gearing out on the network; the
// user reads take the manufacturing set too, the user writes leave it alone,
// and the manufacturing reads take that alone.
TEST_F(SetExports, WhatTheUserSetsTakeAndLeave) {
  const char* kSerialOnly[] = {"EnInhibitCCW", "EnInhibitCW", "GearIn", "GearOut"};
  const char* kManufacturing[] = {"DeadBand", "HstSet", "IUOffset", "VBusUV"};
  for (bool network : {true, false}) {
    Open(network);
    ASSERT_EQ(RDFromDriveUser_SVODB(), 1);
    std::vector<int32_t> before;
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(Store(kManufacturing[i], 0)++, OnDrive(kManufacturing[i])) << kManufacturing[i];
      before.push_back(OnDrive(kSerialOnly[i]));
      Store(kSerialOnly[i], 0) = Store(kSerialOnly[i], 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(std::pair(WRToDriveUser_SVODB(), WRToNVUser_SVODB()), std::pair(1, 1));
    for (std::size_t i = 0; i < 4; ++i) {
      for (bool nv : {false, true}) {
        EXPECT_EQ(OnDrive(kSerialOnly[i], nv) == before[i], network) << kSerialOnly[i];
        EXPECT_EQ(OnDrive(kManufacturing[i], nv) + 1, Store(kManufacturing[i], 0)) << kManufacturing[i];
      }
    }
  }
  for (auto [node, read] : {std::pair{2, &RDFromDriveMfg_SVODB}, {3, &RDFromNVMfg_SVODB}}) {
    ASSERT_EQ(SetNode_SVODB(node), 1);
    Store("ARF0", node) = Store("DeadBand", node) = -1;
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(std::pair(Store("ARF0", node), Store("DeadBand", node)), std::pair(-1, OnDrive("DeadBand")));
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
