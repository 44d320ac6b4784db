// The motor data block's fields and how each type shows, and the drive's
// copy of the block read through its motor-data registers.
#include "feedback_fixture.h"

namespace svodb::testing {
namespace {

using enum sim::Operation;

TEST(FieldTables, NamesAreFoundWhateverTheirCaseInATableInOrderOnly) {
  MdbFieldList list;
  for (const char* name : {"MTF", "", "MTF00"}) EXPECT_EQ(list.fields.Find(name), nullptr) << name;
  EXPECT_STREQ(list.fields.Find("mtf0")->name, "MTF0");
  EXPECT_STREQ(TrxFieldList().fields.Find("rdsinoffset")->name, "RDSINOffset");
  // A table out of order fails every look-up and stays unchecked.
  const MdbField unsorted[] = {{"Kt", 125, 101, "N-m/Arms"}, {"DCWeek", 238, 1, "Weeks"}, {"", 0, 0, ""}};
  MdbFieldList shuffled(unsorted);
  EXPECT_EQ(shuffled.fields.Find("Kt"), nullptr);
  EXPECT_EQ(shuffled.fields.Find("DCWeek"), nullptr);
  EXPECT_TRUE(shuffled.fields.OrderUnchecked());
}

// Each type decodes the byte at the field's offset (b) and, for numbers,
// the mantissa before it (0.015625 rounds up: halves go up); a zero
// divisor or an unknown type gives 99 and no text. A text is the low bytes
// from b on, up to sixteen or a zero.
TEST(MdbTypes, DecodeAsTheTypeTableSays) {
  struct Case {
    uint32_t type, b, mantissa;
    const char* text;  // nullptr: 99
  };
  // clang-format off
  const Case cases[] = {
      {101, 0x80, 0, "0.00000"},    {101, 0, 0, "1.00000"},    {101, 1, 64, "3.00000"},
      {101, 0, 0x80, "-2.00000"},   {101, 0xFF, 0, "0.50000"}, {101, 0xFA, 0, "0.01563"},
      {101, 0x80, 0x80, "0.00000"}, {1, 0x1FF, 0, "255"},      {2, 21, 0, "2021"},
      {3, 4, 0, "8"},               {11, 64, 0, "6810"},       {11, 32, 0, "2270"},
      {11, 129, 0, "0"},            {11, 255, 0, "0"},         {11, 1, 0, "53"},
      {11, 0, 0, nullptr},          {11, 65, 0, nullptr},      {11, 128, 0, nullptr},
      {0, 0, 0, nullptr},           {4, 0, 0, nullptr},        {102, 0, 0, nullptr},
      {200, 0, 0, nullptr},         {202, 0, 0, nullptr},      {201, 'A', 'Z', "ABCDEFGHIJKLMNOP"},
      {201, 0xFD, 0, "\xFD\xFE\xFF"},
      {101, 0x7F, 0xFF, "-509094322385622779322158104087371972608.00000"}};  // the longest number
  // clang-format on
  for (const Case& c : cases) {
    Block values{};
    for (uint32_t i = 0; i < 17; ++i) values[100 + i] = c.b + i;
    values[99] = c.mantissa;
    std::string text = "(unset)";
    EXPECT_EQ(FormatMdbField({"X", 100, c.type, ""}, values, text), c.text != nullptr ? 1 : 99) << c.type;
    EXPECT_EQ(text, c.text != nullptr ? c.text : "(unset)") << c.type << " " << c.b;
  }
}

using DriveCopyTest = FeedbackTest;

// Before the load every byte is zero; afterwards one field of each type
// shows the drive's copy.
TEST_F(DriveCopyTest, FieldsShowTheLoadedBytesAndAFailedLoadKeepsWhatCameBefore) {
  const auto shown = [this](const char* name) {
    std::string text = "(unset)";
    const Result result = GetMotorData(mdbFields, name, text);
    return result == 1 ? text : std::to_string(result);
  };
  struct Case {
    const char *name, *before, *after;
  };
  // clang-format off
  const Case cases[] = {
      {"DCWeek", "0", "12"},        {"DCYear", "2000", "2021"},       {"MPoles", "0", "8"},
      {"RLim", "99", "6810"},       {"Ke", "1.00000", "0.30078"},     {"MIPeak", "1.00000", "9.00000"},
      {"MNum", "", "VM2201-A04N0000 "}, {"NoSuchField", "8", "8"}};
  // clang-format on
  for (const Case& c : cases) EXPECT_EQ(shown(c.name), c.before) << c.name;
  std::string unit;
  EXPECT_EQ(GetDataUnit(mdbFields, "kvpauto", unit), 1);
  EXPECT_EQ(unit, "Arms/rad/sec");
  EXPECT_EQ(GetDataUnit(mdbFields, "Poles", unit), 8);
  EXPECT_EQ(drive.Log().TotalCount(), 0u);
  ASSERT_EQ(LoadShowData(ctx, mdbFields), 1);
  for (const Case& c : cases) EXPECT_EQ(shown(c.name), c.after) << c.name;

  // DCWeek's byte is read first, DCYear's next.
  MdbFieldList fresh;
  drive.Faults().FailCall(kGetVarFromFPGA, 2, 3, 44);
  drive.Faults().FailCall(kGetVarFromFPGA, 3, 3, 44);  // the repeat of DCYear's read
  EXPECT_EQ(LoadShowData(ctx, fresh), 3);
  EXPECT_EQ(fresh.values[238], 12u);
  EXPECT_EQ(fresh.values[239], 0u);
}

// Ten milliseconds a byte; a wrong sum is read once more after 4 s, and
// the block is handed out only when a pass sums right.
TEST_F(DriveCopyTest, ReadingTheBlockTakesTenMillisecondsAByteAndAWrongSumIsReadOnceMore) {
  Block out{};
  ASSERT_EQ(ReadTrxMdb(ctx, out), 1);
  EXPECT_EQ(out, DeviceBlock());
  EXPECT_EQ(Elapsed(), 20u + 384 * 10u + 20u);
  EXPECT_EQ(drive.Log().Count(kFlushPort), 2u);

  Restart();
  drive.Faults().DistortCall(kGetVarFromFPGA, 100);  // the first pass only
  out.fill(1000);
  ASSERT_EQ(ReadTrxMdb(ctx, out), 1);
  EXPECT_EQ(out, DeviceBlock());
  EXPECT_EQ(Elapsed(), 20u + 2 * 3840u + 4000u + 20u);

  Restart();
  drive.SetMotorByte(10, drive.MotorByte(10) ^ 1);
  out.fill(1000);
  EXPECT_EQ(ReadTrxMdb(ctx, out), 41);
  EXPECT_EQ(out[0], 1000u);
  EXPECT_EQ(Elapsed(), 20u + 2 * 3840u + 4000u);
}

TEST_F(DriveCopyTest, CheckingReportsTheByteThatDiffersTwiceAndRetriesOneThatDiffersOnce) {
  const Block copy = DeviceBlock();
  Block other = copy;
  other[5] = (other[5] + 1) & 0xFF;
  other[6] = (other[6] + 255) & 0xFF;
  MdbMismatch mismatch;
  EXPECT_EQ(CheckTrxMdb(ctx, other, mismatch), 42);
  EXPECT_EQ(mismatch.retries, 1u);
  EXPECT_EQ(mismatch.index, 5u);
  EXPECT_EQ(mismatch.valueRead, copy[5]);
  EXPECT_EQ(mismatch.valueExpected, other[5]);
  EXPECT_EQ(Elapsed(), 200u + 4000u);

  drive.Faults().DistortCall(kGetVarFromFPGA, 8, 4);
  drive.Faults().DistortCall(kGetVarFromFPGA, 301, 4);
  EXPECT_EQ(CheckTrxMdb(ctx, copy, mismatch), 1);
  EXPECT_EQ(mismatch.retries, 2u);
  EXPECT_EQ(mismatch.index, kNotSet);
}

TEST_F(DriveCopyTest, TheLogicVersionBytesComeFrom509Up) {
  std::array<uint32_t, 3> bytes{};
  ASSERT_EQ(ReadTrxFpga(ctx, bytes), 1);
  EXPECT_EQ(bytes, (std::array<uint32_t, 3>{0, 0, 4}));
  drive.Faults().FailEveryCall(kGetVarFromFPGA, 4, 44);
  bytes = {7, 7, 7};
  EXPECT_EQ(ReadTrxFpga(ctx, bytes), 4);
  EXPECT_EQ(bytes, (std::array<uint32_t, 3>{7, 7, 7}));
}

}  // namespace
}  // namespace svodb::testing
