#include "feedback/motor_data_block.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "feedback_fixture.h"

namespace svodb::testing {
namespace {

using sim::Operation;

TEST(FieldTables, NamesAreFoundWhateverTheirCaseInATableInOrderOnly) {
  MdbFieldList list;
  for (const char* name : {"MTF0", "mtf0", "Kt", "KT", "DCWeek", "mnum", "RLim"})
    EXPECT_NE(list.fields.Find(name), nullptr) << name;
  EXPECT_STREQ(list.fields.Find("mtf0")->name, "MTF0");
  EXPECT_FALSE(list.fields.OrderUnchecked());  // checked at the first look-up
  for (const char* name : {"MTF", "", "MTF00"}) EXPECT_EQ(list.fields.Find(name), nullptr) << name;
  TrxFieldList trx;
  EXPECT_STREQ(trx.fields.Find("rdsinoffset")->name, "RDSINOffset");
  // A table out of order fails every look-up and stays unchecked.
  const MdbField unsorted[] = {{"Kt", 125, 101, "N-m/Arms"}, {"DCWeek", 238, 1, "Weeks"}, {"", 0, 0, ""}};
  MdbFieldList shuffled(unsorted);
  EXPECT_EQ(shuffled.fields.Find("Kt"), nullptr);
  EXPECT_EQ(shuffled.fields.Find("DCWeek"), nullptr);
  EXPECT_TRUE(shuffled.fields.OrderUnchecked());
}

std::string Text(uint32_t type, std::vector<std::pair<uint32_t, uint32_t>> bytes, Result* result = nullptr) {
  std::array<uint32_t, kMdbSize> values{};
  for (auto [offset, value] : bytes) values[offset] = value;
  std::string text = "(unset)";
  const MdbField field{"X", 100, type, ""};
  const Result r = FormatMdbField(field, values, text);
  if (result != nullptr) *result = r;
  return text;
}

TEST(MdbTypes, DecodeAsTheTypeTableSays) {
  struct Case {
    uint32_t type;
    uint32_t exponent;  // the byte at the offset
    uint32_t mantissa;  // the byte before it
    const char* text;
  };
  const Case cases[] = {
      {101, 0x80, 0, "0.00000"},
      {101, 0, 0, "1.00000"},
      {101, 1, 64, "3.00000"},
      {101, 0, 0x80, "-2.00000"},
      {101, 0xFF, 0, "0.50000"},
      {101, 0xFA, 0, "0.01563"},  // 1562.5: halves go up
      {101, 0x80, 0x80, "0.00000"},
      {1, 0x1FF, 0, "255"},
      {2, 21, 0, "2021"},
      {3, 4, 0, "8"},
      {11, 64, 0, "6810"},
      {11, 32, 0, "2270"},
      {11, 129, 0, "0"},
      {11, 255, 0, "0"},
      {11, 1, 0, "53"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Text(c.type, {{100, c.exponent}, {99, c.mantissa}}), c.text) << c.type << " " << c.exponent;
  }
  const std::string longest = Text(101, {{100, 0x7F}, {99, 0xFF}});
  EXPECT_EQ(longest.size(), 46u);
  EXPECT_EQ(longest.substr(0, 4), "-509");
}

TEST(MdbTypes, ZeroDivisorsAndUnknownTypesGive99WithoutText) {
  for (uint32_t b : {0u, 65u, 100u, 128u}) {
    Result result = 0;
    EXPECT_EQ(Text(11, {{100, b}}, &result), "(unset)");
    EXPECT_EQ(result, 99) << b;
  }
  for (uint32_t type : {0u, 4u, 102u, 200u, 202u}) {
    Result result = 0;
    Text(type, {}, &result);
    EXPECT_EQ(result, 99) << type;
  }
}

TEST(MdbTypes, TextFieldsEndAtSixteenCharactersOrAZero) {
  std::vector<std::pair<uint32_t, uint32_t>> bytes;
  for (uint32_t i = 0; i < 17; ++i) bytes.emplace_back(100 + i, 'A' + i);
  EXPECT_EQ(Text(201, bytes), "ABCDEFGHIJKLMNOP");
  bytes[3].second = 0;
  EXPECT_EQ(Text(201, bytes), "ABC");
}

class DriveCopyTest : public FeedbackTest {
 protected:
  // Motor-data addresses in the order they were read.
  std::vector<int> AddressesRead() const {
    std::vector<int> addresses;
    int high = 0;
    for (const sim::CallRecord& call : drive.Log().Records()) {
      if (call.operation != Operation::kPutVarToFPGA) continue;
      if (call.arguments[0] == 43) high = call.arguments[1];
      if (call.arguments[0] == 42) addresses.push_back(high * 256 + call.arguments[1]);
    }
    return addresses;
  }
};

TEST_F(DriveCopyTest, BeforeAnyLoadFieldsShowZero) {
  std::string text;
  EXPECT_EQ(GetMotorData(mdbFields, "MemVer", text), 1);
  EXPECT_EQ(text, "0");
  EXPECT_EQ(GetMotorData(mdbFields, "DCYear", text), 1);
  EXPECT_EQ(text, "2000");
  EXPECT_EQ(GetMotorData(mdbFields, "RLim", text), 99);
  EXPECT_EQ(GetMotorData(mdbFields, "NoSuchField", text), 8);
  EXPECT_EQ(GetDataUnit(mdbFields, "kvpauto", text), 1);
  EXPECT_EQ(text, "Arms/rad/sec");
  EXPECT_EQ(drive.Log().TotalCount(), 0u);
}

TEST_F(DriveCopyTest, LoadingReadsTheFieldsInTableOrder) {
  ASSERT_EQ(LoadShowData(ctx, mdbFields), 1);
  // One byte per plain field, the exponent then the mantissa of a number,
  // sixteen characters of a text: DCWeek and DCYear first, MNum last.
  const std::vector<int> addresses = AddressesRead();
  ASSERT_GT(addresses.size(), 16u);
  EXPECT_EQ(std::vector<int>(addresses.begin(), addresses.begin() + 2), (std::vector<int>{238, 239}));

  const std::vector<std::pair<const char*, const char*>> shown = {{"DCWeek", "12"},
                                                                  {"DCYear", "2021"},
                                                                  {"MPoles", "8"},
                                                                  {"DPoles", "4"},
                                                                  {"RLim", "6810"},
                                                                  {"MotTLim", "64"},
                                                                  {"Kt", "0.50000"},
                                                                  {"JMtot", "0.25000"},
                                                                  {"Rll", "2.50000"},
                                                                  {"Ke", "0.30078"},
                                                                  {"MICont", "3.00000"},
                                                                  {"MIPeak", "9.00000"},
                                                                  {"MNum", "VM2201-A04N0000 "}};
  for (const auto& [name, value] : shown) {
    std::string text;
    EXPECT_EQ(GetMotorData(mdbFields, name, text), 1);
    EXPECT_EQ(text, value) << name;
  }
}

TEST_F(DriveCopyTest, AFailedReadEndsTheLoadAndKeepsWhatCameBefore) {
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 2, 3, 44);
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 3, 3, 44);  // the repeat of DCYear's read
  EXPECT_EQ(LoadShowData(ctx, mdbFields), 3);
  EXPECT_EQ(mdbFields.values[238], 12u);
  EXPECT_EQ(mdbFields.values[239], 0u);
}

TEST_F(DriveCopyTest, ReadingTheBlockTakesTenMillisecondsAByteAndAWrongSumIsReadOnceMore) {
  Block out{};
  out.fill(1000);
  ASSERT_EQ(ReadTrxMdb(ctx, out), 1);
  EXPECT_EQ(out, BlockOfDrive(drive.Trx().Block()));
  EXPECT_EQ(Elapsed(), 20u + 384 * 10u + 20u);
  EXPECT_EQ(CountCalls(drive.Log(), Operation::kFlushPort), 2u);

  // A wrong sum: the block is read once more after a pause.
  TamperedTransport port(drive);
  LibraryContext tampered{db, registers, port, platform};
  port.alter = [](int32_t address, int number, int32_t& data) {
    if (address == 44 && number == 100) data ^= 1;  // the first pass only
  };
  Restart();
  out.fill(1000);
  ASSERT_EQ(ReadTrxMdb(tampered, out), 1);
  EXPECT_EQ(out, BlockOfDrive(drive.Trx().Block()));
  EXPECT_EQ(Elapsed(), 20u + 2 * 3840u + 4000u + 20u);

  Restart();
  drive.SetMotorByte(10, drive.MotorByte(10) ^ 1);
  out.fill(1000);
  EXPECT_EQ(ReadTrxMdb(ctx, out), 41);
  EXPECT_EQ(out[0], 1000u);  // written only on success
  EXPECT_EQ(Elapsed(), 20u + 2 * 3840u + 4000u);
}

TEST_F(DriveCopyTest, CheckingReportsTheByteThatDiffersTwiceAndRetriesOneThatDiffersOnce) {
  const Block copy = BlockOfDrive(drive.Trx().Block());
  MdbMismatch mismatch;
  EXPECT_EQ(CheckTrxMdb(ctx, copy, mismatch), 1);
  EXPECT_EQ(mismatch.retries, 0u);
  EXPECT_EQ(mismatch.index, kNotSet);
  EXPECT_EQ(Elapsed(), 200u);

  Block other = copy;
  other[5] = (other[5] + 1) & 0xFF;
  other[6] = (other[6] + 255) & 0xFF;
  Restart();
  EXPECT_EQ(CheckTrxMdb(ctx, other, mismatch), 42);
  EXPECT_EQ(mismatch.retries, 1u);
  EXPECT_EQ(mismatch.index, 5u);
  EXPECT_EQ(mismatch.valueRead, copy[5]);
  EXPECT_EQ(mismatch.valueExpected, other[5]);
  EXPECT_EQ(Elapsed(), 200u + 4000u);

  other[383] = 0;
  EXPECT_EQ(CheckTrxMdb(ctx, other, mismatch), 41);
  EXPECT_EQ(mismatch.retries, 0u);
  EXPECT_EQ(mismatch.valueRead, kNotSet);

  // A byte that differs once counts a retry and passes.
  TamperedTransport port(drive);
  LibraryContext tampered{db, registers, port, platform};
  port.alter = [](int32_t address, int number, int32_t& data) {
    if (address == 44 && (number == 8 || number == 301)) data ^= 4;
  };
  MdbMismatch once;
  EXPECT_EQ(CheckTrxMdb(tampered, BlockOfDrive(drive.Trx().Block()), once), 1);
  EXPECT_EQ(once.retries, 2u);
  EXPECT_EQ(once.index, kNotSet);
}

TEST_F(DriveCopyTest, TheLogicVersionBytesComeFrom509Up) {
  sim::VirtualDrive other(Generation(1, "3.2A"));
  ASSERT_EQ(other.InitComPort(1, 19200), 1);
  LibraryContext otherCtx{db, registers, other, platform};
  std::array<uint32_t, 3> bytes{};
  ASSERT_EQ(ReadTrxFpga(otherCtx, bytes), 1);
  EXPECT_EQ(bytes, (std::array<uint32_t, 3>{0, 2, 3}));
  other.Faults().FailEveryCall(Operation::kGetVarFromFPGA, 4, 44);
  bytes = {7, 7, 7};
  EXPECT_EQ(ReadTrxFpga(otherCtx, bytes), 4);
  EXPECT_EQ(bytes, (std::array<uint32_t, 3>{7, 7, 7}));
}

}  // namespace
}  // namespace svodb::testing
