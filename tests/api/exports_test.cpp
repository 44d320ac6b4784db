// The exported C interface as a caller sees it, against the virtual drive
// where an export consults one: catalogue, message and identity exports;
// connection, node, raw and feedback-device exports (the block's round
// trips are the tool's mdb tests); calls from several threads at once,
// which the library's lock serialises (CI also runs them under
// ThreadSanitizer, which reports any unserialised access).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstring>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "api/export_fixture.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "feedback/feedback_fixture.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::Operation;
using Lines = std::vector<std::string>;
using Query = bool (*)(const char*, uint8_t*);

// What an export that fills a caller's buffer of `Size` bytes answers: its
// text, or "refused" when it returns false having written nothing at all.
// Nothing is ever written past the room.
template <std::size_t Size>
std::string Filled(const std::function<bool(char*)>& fill) {
  std::array<char, Size + 16> bytes;
  bytes.fill('\x5A');
  const bool answered = fill(bytes.data());
  const auto written =
      std::find_if(bytes.begin() + (answered ? Size : 0), bytes.end(), [](char c) { return c != '\x5A'; });
  EXPECT_EQ(written, bytes.end()) << "written at byte " << written - bytes.begin();
  return answered ? std::string(bytes.data()) : "refused";
}

// The text of an export that always answers.
template <std::size_t Size, typename Export>
std::string Text(Export fill) {
  return Filled<Size>([&](char* text) { return fill(text), true; });
}

// The answer of a query that must succeed.
int Ask(Query query, const char* name) {
  uint8_t value = 7;
  EXPECT_TRUE(query(name, &value)) << name;
  return value;
}

using CatalogueExports = ExportTest;

TEST_F(CatalogueExports, NamesByPositionAndInTheirStandardSpelling) {
  EXPECT_EQ(GetVarNum_SVODB(), 159);
  const auto name = [](int32_t position) {
    return Filled<SVODB_NAME_SIZE>([&](char* text) { return GetVarName_SVODB(position, text); });
  };
  EXPECT_EQ(name(INT32_MIN), "refused");
  for (int32_t position = -1; position <= 161; ++position)
    EXPECT_EQ(name(position) != "refused", position >= 1 && position <= 159) << position;
  const std::pair<int32_t, const char*> named[] = {
      {1, "AFBDivisorSrc"}, {45, "DInp1 (EnbHWInp)"}, {159, "VerLW"}};
  for (const auto& [position, expected] : named) EXPECT_EQ(name(position), expected);
  const std::pair<const char*, const char*> spellings[] = {
      {"setups2-1", "SetupS2-1"},
      {"SetupS2-3", "refused"},
      {"an unknown name longer than any in the catalogue", "refused"}};
  for (const auto& [asked, standard] : spellings) {
    const auto spell = [asked = asked](char* text) { return GetStdVarName_SVODB(asked, text); };
    EXPECT_EQ(Filled<SVODB_NAME_SIZE>(spell), standard);
  }
}

// Without a connection the drive's answers are those of no connection
// type and of an unreadable LogicVer.
TEST_F(CatalogueExports, FlagQueriesAndTheirRefusals) {
  const std::tuple<Query, const char*, int> cases[] = {
      {StatVar_SVODB, "vbus", 1},        {StatVar_SVODB, "KVP", 0},
      {TRXSelect_SVODB, "KIP", 1},       {TRXSelect_SVODB, "kvp", 1},
      {TRXSelect_SVODB, "CmdSrc", 0},    {EnabledUnchange_SVODB, "PWMFreq", 1},
      {EnabledUnchange_SVODB, "KVP", 0}, {ReadOnly_SVODB, "VBus", 1},
      {ReadOnly_SVODB, "KVP", 0},        {ReadOnly_SVODB, "DInp2 (InhibitCW)", 1},
      {ReadOnly_SVODB, "Command", 0},    {UserNVPara_SVODB, "KVP", 0}};
  for (const auto& [query, name, expected] : cases) EXPECT_EQ(Ask(query, name), expected) << name;
  // The value a refusal leaves: ForUser and UserNVPara always answer one.
  const std::pair<Query, int> refusals[] = {
      {ReadOnly_SVODB, 7},  {StatVar_SVODB, 7}, {TRXSelect_SVODB, 7}, {EnabledUnchange_SVODB, 7},
      {MfgNVPara_SVODB, 7}, {ForUser_SVODB, 0}, {UserNVPara_SVODB, 0}};
  for (const auto& [query, left] : refusals) {
    uint8_t value = 7;
    EXPECT_FALSE(query("NoSuchVariable", &value) || query(nullptr, &value) || query("KVP", nullptr));
    EXPECT_EQ(value, left);
  }
  uint8_t value = 7;
  EXPECT_FALSE(ForUser_SVODB("GearIn", &value));     // no connection type yet
  EXPECT_FALSE(MfgNVPara_SVODB("PWMFreq", &value));  // LogicVer unreadable
  EXPECT_FALSE(GetVarName_SVODB(1, nullptr));
  EXPECT_FALSE(GetStdVarName_SVODB(nullptr, nullptr));
  ErrorMessage_SVODB(1, nullptr);
  DLLCompileTime_SVODB(nullptr);
}

// The message of a code is its base's text, the context's and the variable
// the detail names, with the drive tools' exact wording and spelling.
TEST_F(CatalogueExports, MessagesComposeBaseContextAndDetail) {
  const std::pair<int32_t, const char*> cases[] = {
      {7, "Address in FPGA and EEPROM don't match"},
      {10408, "Invalid parameter when loading from FPGA at variable--AFBMitEn"},
      {69910, "Error during data transfer when writing file at variable--IdFB"},
      {50731, "Can't open file when reading file at No.7 variable"},
      {50032, "Wrong file format when reading file at No.0 variable"},
      {80000, "No Response from drive when geting drive mode or model"},
      {100923, "Data is out of range when loading default value"},
      {110008, "Invalid parameter"},
      {-1, "System Error"},
      {-10008, "System Error"},
      {43, "System Error"},  // an unlisted base
      {INT32_MIN, "System Error"},
      // Position 60 is EEData; 160 cannot be a detail; 0 names nothing.
      {36010, "Error during data transfer when loading from EEPROM at variable--EEData"},
      {30010, "Error during data transfer when loading from EEPROM"},
  };
  for (const auto& [code, message] : cases) {
    const auto compose = [code = code](char* text) { ErrorMessage_SVODB(code, text); };
    EXPECT_EQ(Text<SVODB_MESSAGE_SIZE>(compose), message) << code;
  }
}

// A transport whose version texts fill their whole buffer.
class VerboseTransport : public NoTransport {
  void CommSVODBVersion(char* text) override { Fill(text); }
  void CommNCLVersion(char* text) override { Fill(text); }
  static void Fill(char* text) { std::strcpy(text, std::string(kTransportVersionCapacity - 1, 'v').c_str()); }
};

// Without a transport the versions are the library's own; a transport's
// over-long texts are cut to the caller's room.
TEST_F(CatalogueExports, CompileTimeAndVersions) {
  const std::string compiled = Text<SVODB_COMPILE_TIME_SIZE>(DLLCompileTime_SVODB);  // "Nov 24 2026 03:10:00"
  EXPECT_TRUE(std::regex_match(compiled, std::regex("[A-Z][a-z]{2} [ 123][0-9] [0-9]{4} [0-9:]{8}")));
  EXPECT_EQ(Text<SVODB_VERSION_SIZE>(DLLVersion_SVODB), " and 1.60.0000");
  EXPECT_EQ(Text<SVODB_VERSION_SIZE>(NCLVersion_SVODB), "");
  VerboseTransport verbose;
  Use(verbose);
  EXPECT_EQ(Text<SVODB_VERSION_SIZE>(DLLVersion_SVODB), std::string(45, 'v') + " and 1.60.0000");
  EXPECT_EQ(Text<SVODB_VERSION_SIZE>(NCLVersion_SVODB), std::string(59, 'v'));
}

class DriveExports : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    Use(drive_);
  }
  void Open(int32_t type) {
    ASSERT_EQ(UsePort(1, 19200, type, 0, 0, 0), 1);
    drive_.Log().Clear();
  }
  // The traffic since the last look.
  Lines Traffic() {
    Lines lines = drive_.Log().Lines();
    drive_.Log().Clear();
    return lines;
  }
  uint32_t CurrentLimitWidth() {
    return api::Context().registers.FindRegister("ILmtPlus")->descriptor.bitWidth;
  }

  sim::VirtualDrive drive_;
};

TEST_F(DriveExports, UsePortOpensTheConnectionOfItsType) {
  EXPECT_EQ(UsePort(1, 19200, 0, 0, 0, 0), 3);
  EXPECT_EQ(UsePort(1, 19200, 3, 0, 0, 0), 3);
  EXPECT_EQ(api::Context().db.nodes[0].driveType, 1u);
  EXPECT_EQ(UsePort(2, 9600, 1, 0, 0, 0), 2);  // no drive on port 2: the transport's code
  EXPECT_EQ(UsePort(1, 115200, 1, 0, 0, 0), 1);
  EXPECT_EQ(UsePort(0, 0, 2, 5, 6, 7), 1);
  EXPECT_EQ(api::Context().db.nodes[0].driveType, 2u);
  // The second variant has no E, F and G; both pass C and D only with their flag.
  EXPECT_EQ(UsePort2(0, 0, 2, 1, 2, 0, 3, 4), 1);
  EXPECT_EQ(UsePort2(0, 0, 2, 1, 2, 9, 3, 4), 1);
  EXPECT_EQ(UsePort3(0, 0, 2, 1, 2, 1, 3, 4, 5, 6, 7), 1);
  EXPECT_EQ(UsePort3(0, 0, 2, 1, 2, 0, 3, 4, 5, 6, 7), 1);
  EXPECT_EQ(Traffic(),
            (Lines{"InitComPort(2, 9600) -> 2", "InitComPort(1, 115200) -> 1",
                   "InitMotoBus(5, 6, 0, 0, 0, 7, 0, 0) -> 1", "InitMotoBus(1, 2, 0, 0, 0, 0, 0, 0) -> 1",
                   "InitMotoBus(1, 2, 1, 3, 4, 0, 0, 0) -> 1", "InitMotoBus(1, 2, 1, 3, 4, 5, 6, 7) -> 1",
                   "InitMotoBus(1, 2, 0, 0, 0, 5, 6, 7) -> 1"}));
}

TEST_F(DriveExports, ClosePortClosesWhatIsOpen) {
  const Lines expected[] = {{"GetCommType() -> 0"},
                            {"GetCommType() -> 1", "InitComPort(0, 19200) -> 1"},
                            {"GetCommType() -> 2", "KillMotoBus() -> 1"}};
  for (int32_t type = 0; type <= 2; ++type) {
    if (type != 0) Open(type);
    EXPECT_EQ(ClosePort(), 1);
    EXPECT_EQ(Traffic(), expected[type]);
  }
}

TEST_F(DriveExports, SetNodeChoosesTheCurrentLimitLayoutOfTheNode) {
  Open(1);
  EXPECT_EQ(SetNode_SVODB(7), 23);
  EXPECT_EQ(SetNode_SVODB(-1), 23);
  EXPECT_EQ(api::CurrentNode(), 0u);
  EXPECT_EQ(SetNode_SVODB(2), 1);  // a new image has logic version 0
  EXPECT_EQ(api::CurrentNode(), 2u);
  EXPECT_EQ(CurrentLimitWidth(), 2u);
  EXPECT_EQ(SetupOfflineNode_SVODB(2), 1);
  EXPECT_EQ(SetupOfflineNode_SVODB(7), 23);
  EXPECT_EQ(SetNode_SVODB(2), 1);
  EXPECT_EQ(CurrentLimitWidth(), 8u);
  EXPECT_TRUE(Traffic().empty());

  EXPECT_EQ(SetNode_SVODB(0), 1);  // the drive's LogicVer, read as a setting: twice
  EXPECT_EQ(Traffic(), (Lines{"GetVarFromFPGA(30) -> 1 [4]", "GetVarFromFPGA(30) -> 1 [4]"}));
  EXPECT_EQ(CurrentLimitWidth(), 8u);
  ClosePort();
  EXPECT_EQ(SetNode_SVODB(0), 1);  // LogicVer cannot be read: version 0
  EXPECT_EQ(CurrentLimitWidth(), 2u);
}

TEST_F(DriveExports, RawAccessPassesStraightThrough) {
  int32_t data = -1, fpgaRegister = -1;
  EXPECT_EQ(ReadUnitFPGA_SVODB(30, &data), 0);  // nothing open
  Open(1);
  EXPECT_EQ(WriteUnitFPGA_SVODB(16, 0x5A), 1);
  EXPECT_EQ(ReadUnitFPGA_SVODB(16, &data), 1);
  EXPECT_EQ(data, 0x5A);
  EXPECT_EQ(ReadUnitFPGA_SVODB(256, &data), 4);
  EXPECT_EQ(WriteUnitEEPROM_SVODB(200, 16, 0x33), 1);
  EXPECT_EQ(ReadUnitEEPROM_SVODB(200, &fpgaRegister, &data), 1);
  EXPECT_EQ(std::pair(fpgaRegister, data), std::pair(16, 0x33));
  EXPECT_EQ(ReadUnitFPGA_SVODB(16, nullptr), 8);
  EXPECT_EQ(ReadUnitEEPROM_SVODB(200, nullptr, &data), 8);
  EXPECT_EQ(Traffic(),
            (Lines{"PutVarToFPGA(16, 90) -> 1", "GetVarFromFPGA(16) -> 1 [90]", "GetVarFromFPGA(256) -> 4",
                   "PutVarToEEPROM(200, 16, 51) -> 1", "GetVarFromEEPROM(200) -> 1 [16, 51]"}));
  drive_.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 6);
  EXPECT_EQ(ReadUnitFPGA_SVODB(16, &data), 6);

  int32_t axes = 0;
  Open(2);
  EXPECT_EQ(GetMaxNumMotoBusAxes_SVODB(&axes), 1);
  EXPECT_GT(axes, 0);
  EXPECT_EQ(GetMaxNumMotoBusAxes_SVODB(nullptr), 8);
  EXPECT_EQ(ChangeGetSleepTime_SVODB(25), drive_.ChangeGetSleepTime(25));
  EXPECT_EQ(Reset_Drive(), 1);
  EXPECT_EQ(Text<SVODB_VERSION_SIZE>(DLLVersion_SVODB), "SVODB virtual drive 1.0 and 1.60.0000");
  EXPECT_EQ(Text<SVODB_VERSION_SIZE>(NCLVersion_SVODB), "SVODB virtual MotoBus 1.0");
}

TEST_F(DriveExports, ReadOnlyOfCommandAndForUserFollowTheConnection) {
  Open(2);
  EXPECT_EQ(Ask(ReadOnly_SVODB, "command"), 0);  // not the exact spelling: no rule
  EXPECT_EQ(Ask(ReadOnly_SVODB, "Command"), 1);
  EXPECT_EQ(Ask(ReadOnly_SVODB, "command"), 1);  // the record keeps the change
  Open(1);
  EXPECT_EQ(Ask(ReadOnly_SVODB, "Command"), 0);
  const std::tuple<const char*, int, int> forUser[] = {{"GearIn", 1, 0}, {"AFBSrc", 0, 0}, {"KVP", 1, 1}};
  for (const auto& [name, serial, network] : forUser) {
    Open(1);
    EXPECT_EQ(Ask(ForUser_SVODB, name), serial) << name;
    Open(2);
    EXPECT_EQ(Ask(ForUser_SVODB, name), network) << name;
  }
}

TEST_F(ExportTest, NvParameterQueriesAskTheDrivesLogicVersion) {
  const std::tuple<int32_t, Query, const char*, int> cases[] = {
      {4, UserNVPara_SVODB, "KVP", 1},     {4, UserNVPara_SVODB, "FbType", 1},
      {4, UserNVPara_SVODB, "VBus", 0},    {4, UserNVPara_SVODB, "DeadBand", 0},
      {4, MfgNVPara_SVODB, "DeadBand", 1}, {4, MfgNVPara_SVODB, "KVP", 0},
      {4, MfgNVPara_SVODB, "FTPass", 0},   {3, UserNVPara_SVODB, "FbType", 0},  // FbType needs logic 4
      {3, UserNVPara_SVODB, "FBSrc", 1},
  };
  for (const auto& [logicVersion, query, name, expected] : cases) {
    sim::VirtualDrive drive(
        DriveConfig{.logicVersion = logicVersion, .versionText = logicVersion == 4 ? "4.0A" : "3.2A"});
    Use(drive);
    ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
    drive.Log().Clear();
    EXPECT_EQ(Ask(query, name), expected) << name;
    EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromFPGA), 2) << name;  // LogicVer, twice
    if (logicVersion != 3 || expected != 1) continue;
    // The drive's version unknown: no variable is an NV parameter.
    drive.Faults().FailEveryCall(Operation::kGetVarFromFPGA, 0);
    uint8_t value = 7;
    EXPECT_FALSE(MfgNVPara_SVODB("DeadBand", &value));
    EXPECT_EQ(Ask(UserNVPara_SVODB, name), 0);
  }
}

using ExportsFromThreads = ExportTest;

// Whole-set reads of the drive on two threads while a third composes
// messages: without serialisation one transfer's traffic would run into
// the other's. With it the log is made of whole transfers, each exactly
// the traffic that transfer makes alone, and every call answers as alone.
TEST_F(ExportsFromThreads, TransfersKeepTheirTrafficTogether) {
  constexpr int kRounds = 40;
  sim::VirtualDrive drive;
  Use(drive);
  ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), SVODB_OK);
  ASSERT_EQ(SetNode_SVODB(1), SVODB_OK);
  const auto alone = [&](int32_t (*transfer)()) {
    drive.Log().Clear();
    EXPECT_EQ(transfer(), SVODB_OK);
    return drive.Log().Lines();
  };
  const Lines user = alone(RDFromDriveUser_SVODB), mfg = alone(RDFromDriveMfg_SVODB);
  ASSERT_TRUE(!user.empty() && user != mfg) << "two transfers with traffic of their own";

  drive.Log().Clear();
  const std::function<bool()> jobs[] = {
      [] { return RDFromDriveUser_SVODB() == SVODB_OK; }, [] { return RDFromDriveMfg_SVODB() == SVODB_OK; },
      [] {
        std::array<char, SVODB_MESSAGE_SIZE> message{};
        ErrorMessage_SVODB(10408, message.data());
        return std::string(message.data()).ends_with("at variable--AFBMitEn");
      }};
  std::atomic<bool> go{false};
  std::array<int, 3> wrong{};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      while (!go.load()) std::this_thread::yield();
      for (int round = 0; round < kRounds; ++round) wrong[i] += jobs[i]() ? 0 : 1;
    });
  }
  go.store(true);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, (std::array<int, 3>{}));

  const Lines lines = drive.Log().Lines();
  int transfers = 0;
  for (auto at = lines.begin(); at != lines.end(); ++transfers) {
    const Lines* whole = nullptr;
    for (const Lines* block : {&user, &mfg}) {
      if (lines.end() - at >= std::ssize(*block) && std::equal(block->begin(), block->end(), at))
        whole = block;
    }
    ASSERT_NE(whole, nullptr) << "traffic of two transfers mixed at line " << at - lines.begin() << ": "
                              << *at;
    at += std::ssize(*whole);
  }
  EXPECT_EQ(transfers, 2 * kRounds);
}

class FeedbackExports : public ExportTest, public ::testing::WithParamInterface<int> {
 protected:
  FeedbackExports() : drive_(Generation(GetParam())) {}
  void SetUp() override {
    ExportTest::SetUp();
    platform_.SetTickPerRead(1);
    api::UsePlatformForTesting(&platform_);
    Use(drive_);
    ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
    drive_.Log().SetRecording(false);
  }
  void TearDown() override {
    api::UsePlatformForTesting(nullptr);
    ExportTest::TearDown();
  }

  sim::VirtualDrive drive_;
  sim::VirtualPlatform platform_;
};

TEST_P(FeedbackExports, FieldsShowTheLoadedBlock) {
  char text[SVODB_TRX_FIELD_TEXT_SIZE] = "untouched";
  EXPECT_EQ(GetMotorData_TRXMDB("RLim", text), 99);  // nothing loaded yet
  EXPECT_STREQ(text, "untouched");
  ASSERT_EQ(LoadShowData_TRXMDB(), 1);
  EXPECT_EQ(GetMotorData_TRXMDB("mnum", text), 1);
  EXPECT_STREQ(text, "VM2201-A04N0000 ");
  char unit[SVODB_UNIT_SIZE];
  EXPECT_EQ(GetDataUnit_TRXMDB("DPOLES", unit), 1);
  EXPECT_STREQ(unit, "Pole Pairs");
  EXPECT_EQ(GetDataUnit_TRXMDB("Poles", unit), 8);
  uint32_t version[3] = {};
  EXPECT_EQ(Read_TRXFPGA(version), 1);
  EXPECT_EQ(version[2], 4u);
}

TEST_P(FeedbackExports, TheChecksumExportsWorkOnTheLastRegionRead) {
  // A zeroed image fails its check until its sum is computed.
  EXPECT_EQ((std::array{check_check_sum_all(), compute_check_sum_all(), check_check_sum_all()}),
            (std::array{0, 1, 1}));
  if (GetParam() != 2) return;
  std::vector<uint32_t> memory(SVODB_TRX_MEMORY_SIZE);
  ASSERT_EQ(Read_TRX_2_Memory(memory.data()), 1);
  EXPECT_EQ(memory[16642], 118u);
  EXPECT_EQ(check_check_sum_all(), 1);
  EXPECT_EQ(Correct_chs(0), 1);
  const uint8_t a = 9, b = 10;
  EXPECT_EQ(Write_Verify_TRX_2_MDB(TestBlock().data(), &a, &b), 1);
  EXPECT_EQ(drive_.Trx().Flash().Byte(0x3BD00 + 16642), 10);
}

TEST_P(FeedbackExports, NullPointersGive8AndNoTraffic) {
  const Block block = TestBlock();
  uint32_t u = 0;
  uint8_t byte = 0;
  double d = 0;
  char text[SVODB_TRX_FIELD_TEXT_SIZE];
  drive_.Log().SetRecording(true);
  drive_.Log().Clear();
  const int32_t results[] = {Check_gen_of_TRX(nullptr, &u, &u),
                             Check_gen_of_TRX(&u, nullptr, &u),
                             Check_gen_of_TRX(&u, &u, nullptr),
                             Read_TRX_2_Memory(nullptr),
                             Write_Verify_TRX_2_MDB(nullptr, &byte, &byte),
                             Write_Verify_TRX_2_MDB(block.data(), nullptr, &byte),
                             Write_Verify_TRX_2_MDB(block.data(), &byte, nullptr),
                             GetMotorData_TRXMDB(nullptr, text),
                             GetMotorData_TRXMDB("Kt", nullptr),
                             GetDataUnit_TRXMDB(nullptr, text),
                             GetDataUnit_TRXMDB("Kt", nullptr),
                             Read_TRXMDB(nullptr),
                             Check_TRXMDB(nullptr, &u, &u, &u, &u),
                             Check_TRXMDB(block.data(), &u, &u, &u, nullptr),
                             Read_TRXFPGA(nullptr),
                             Write_Verify_TRXMDB(nullptr, &u, &u, &u, &u),
                             Write_Verify_TRXMDB(block.data(), nullptr, &u, &u, &u),
                             Write_TRXMDB(nullptr),
                             Write_TRX(nullptr, 1.0),
                             Read_TRX(nullptr, &d),
                             Read_TRX("SINGain", nullptr),
                             Write_Verify_TRXMDB_v2(nullptr, &u, &u),
                             Write_Verify_TRXMDB_v2(block.data(), &u, nullptr)};
  for (int32_t result : results) EXPECT_EQ(result, 8);
  EXPECT_EQ(drive_.Log().TotalCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, FeedbackExports, ::testing::Values(1, 2));

}  // namespace
}  // namespace svodb::testing
