// The motor's feedback device through the drive: the link, the motor data
// block, a generation-1 device's EEPROM and a generation-2 device's flash.
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "feedback_fixture.h"

namespace svodb::testing {
namespace {

using Lines = std::vector<std::string>;
using enum sim::Operation;
using sim::Persistence;

TEST_F(FeedbackTest, DiagnosticsModeKeepsTheOtherBitsSettlesOnTheClockAndIsCheckedAfter) {
  drive.SetFpgaByte(58, 0x81);
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  EXPECT_EQ(Elapsed(), 1001u);  // 1000 ms from the write, plus the tick of the first clock read
  ASSERT_EQ(DisableTrxDiag(ctx), 1);
  EXPECT_EQ(std::tuple(Elapsed(), platform.SleptMs()), std::tuple(2002u, 0u));
  EXPECT_EQ(drive.Log().Lines(), (Lines{"GetVarFromFPGA(58) -> 1 [129]", "PutVarToFPGA(58, 131) -> 1",
                                        "GetVarFromFPGA(58) -> 1 [195]", "GetVarFromFPGA(58) -> 1 [195]",
                                        "PutVarToFPGA(58, 193) -> 1", "GetVarFromFPGA(58) -> 1 [129]"}));

  // One that stays in diagnostics mode gives 51 at once.
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  Restart();
  drive.Faults().DropFpgaWrite(58);
  EXPECT_EQ(DisableTrxDiag(ctx), 51);
  EXPECT_EQ(std::tuple(Elapsed(), DiagnosticsOn()), std::tuple(0u, true));
}

// Every port access is made once more when it fails; the switch register
// read that fails twice counts as the fast link.
TEST_F(FeedbackTest, EachPortAccessIsMadeOnceMore) {
  struct Case {
    sim::Operation operation;
    int32_t address;
    std::vector<int> failingCalls;
    Result enable;
    bool fast;
  };
  const Case cases[] = {
      {kGetVarFromFPGA, 58, {1}, 1, false},    {kGetVarFromFPGA, 58, {1, 2}, 6, false},
      {kPutVarToFPGA, 58, {1}, 1, false},      {kPutVarToFPGA, 58, {1, 2}, 6, false},
      {kGetVarFromFPGA, 58, {2, 3}, 6, false},  // the read after the settle time
      {kGetVarFromFPGA, 25, {1}, 1, false},    {kGetVarFromFPGA, 25, {1, 2}, 1, true},
  };
  for (const Case& c : cases) {
    drive.Faults().Clear();
    drive.SetFpgaByte(58, 0);
    drive.SetFpgaByte(25, 0x08);  // the switch of the slow link
    for (int n : c.failingCalls) drive.Faults().FailCall(c.operation, n, 6, c.address);
    EXPECT_EQ(EnableTrxDiag(ctx), c.enable);
    EXPECT_EQ(ReadFastLinkFlag(ctx), c.fast);
  }
  drive.SetFpgaByte(25, 0xF7);
  EXPECT_TRUE(ReadFastLinkFlag(ctx));
}

// A word read: select, the header bit by bit with a clock pulse each, 16
// pulses each followed by a sample of data out, a pulse and the deselect.
TEST_F(FeedbackTest, AWordReadIs85PortAccessesAndSamplesDataOutAfterEachPulse) {
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  ASSERT_EQ(SelectTrxBitMode(ctx), 1);
  OpenTrxLink(ctx, state.link);
  drive.Trx().Eeprom().SetWord(0x45, 0xA55A);
  Restart();
  EXPECT_EQ(ReadTrxWord(ctx, state.link, 0x45), 0xA55Au);

  const auto put = [](int v) { return "PutVarToFPGA(22, " + std::to_string(v) + ") -> 1"; };
  Lines expected{put(9)};
  int di = 0;
  for (int bit = 10; bit >= 0; --bit) {
    di = ((0x645 >> bit) & 1) * 4;
    expected.insert(expected.end(), {put(9 | di), put(11 | di), put(9 | di)});
  }
  for (int bit = 15; bit >= 0; --bit) {
    const std::string sample = std::to_string(((0xA55A >> bit) & 1) * 16);
    expected.insert(expected.end(), {put(11 | di), put(9 | di), "GetVarFromFPGA(24) -> 1 [" + sample + "]"});
  }
  expected.insert(expected.end(), {put(11 | di), put(9 | di), put(8 | di)});
  EXPECT_EQ(drive.Log().Lines(), expected);
  EXPECT_EQ(state.link.input, 0u);  // cleared by the deselect
}

TEST(FieldTables, ANameNotInTheTableOrATableOutOfOrderFindsNothing) {
  for (const char* name : {"MTF", "", "MTF00"}) EXPECT_EQ(MdbFieldList().fields.Find(name), nullptr) << name;
  // A table out of order fails every look-up and stays unchecked.
  const MdbField unsorted[] = {{"Kt", 125, 101, "N-m/Arms"}, {"DCWeek", 238, 1, "Weeks"}, {"", 0, 0, ""}};
  MdbFieldList shuffled(unsorted);
  for (const char* name : {"Kt", "DCWeek"}) EXPECT_EQ(shuffled.fields.Find(name), nullptr) << name;
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

// Before the load every byte is zero; afterwards one field of each type
// shows the drive's copy.
TEST_F(FeedbackTest, FieldsShowTheLoadedBytesAndAFailedLoadKeepsWhatCameBefore) {
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
  EXPECT_EQ(GetDataUnit(mdbFields, "Poles", unit), 8);
  EXPECT_EQ(std::tuple(unit, drive.Log().TotalCount()), std::tuple("Arms/rad/sec", 0u));
  ASSERT_EQ(LoadShowData(ctx, mdbFields), 1);
  for (const Case& c : cases) EXPECT_EQ(shown(c.name), c.after) << c.name;

  // DCWeek's byte is read first, DCYear's next.
  MdbFieldList fresh;
  drive.Faults().FailCall(kGetVarFromFPGA, 2, 3, 44);
  drive.Faults().FailCall(kGetVarFromFPGA, 3, 3, 44);  // the repeat of DCYear's read
  EXPECT_EQ(LoadShowData(ctx, fresh), 3);
  EXPECT_EQ(std::tuple(fresh.values[238], fresh.values[239]), std::tuple(12u, 0u));
}

// Ten milliseconds a byte; a wrong sum is read once more after 4 s, and
// the block is handed out only when a pass sums right.
TEST_F(FeedbackTest, ReadingTheBlockTakesTenMillisecondsAByteAndAWrongSumIsReadOnceMore) {
  Block out{};
  ASSERT_EQ(ReadTrxMdb(ctx, out), 1);
  EXPECT_EQ(out, DeviceBlock());
  EXPECT_EQ(std::tuple(Elapsed(), drive.Log().Count(kFlushPort)), std::tuple(20u + 384 * 10u + 20u, 2u));

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
  EXPECT_EQ(std::tuple(out[0], Elapsed()), std::tuple(1000u, 20u + 2 * 3840u + 4000u));

  // The bytes behind the logic version text come from 509 up, untouched on failure.
  std::array<uint32_t, 3> bytes{};
  EXPECT_EQ((std::pair{ReadTrxFpga(ctx, bytes), bytes}), std::pair(1, std::array<uint32_t, 3>{0, 0, 4}));
  drive.Faults().FailEveryCall(kGetVarFromFPGA, 4, 44);
  bytes = {7, 7, 7};
  EXPECT_EQ((std::pair{ReadTrxFpga(ctx, bytes), bytes}), std::pair(4, std::array<uint32_t, 3>{7, 7, 7}));
}

TEST_F(FeedbackTest, CheckingReportsTheByteThatDiffersTwiceAndRetriesOneThatDiffersOnce) {
  const Block copy = DeviceBlock();
  Block other = copy;
  other[5] = (other[5] + 1) & 0xFF;
  other[6] = (other[6] + 255) & 0xFF;
  MdbMismatch mismatch;
  EXPECT_EQ(CheckTrxMdb(ctx, other, mismatch), 42);
  EXPECT_EQ(Fields(mismatch), (std::array<uint32_t, 4>{1, 5, copy[5], other[5]}));
  EXPECT_EQ(Elapsed(), 200u + 4000u);

  drive.Faults().DistortCall(kGetVarFromFPGA, 8, 4);
  drive.Faults().DistortCall(kGetVarFromFPGA, 301, 4);
  EXPECT_EQ(CheckTrxMdb(ctx, copy, mismatch), 1);
  EXPECT_EQ(Fields(mismatch), (std::array<uint32_t, 4>{2, kNotSet, kNotSet, kNotSet}));
}

// On the drive's own generation-1 device enable and disable settle 1001 ms
// each; the speed steps and the flush step after write enable 200 ms each.
constexpr uint32_t kUnchangedBlockMs = 2 * 1001 + 3 * 200;
constexpr uint32_t kWriteCycleMs = 101;
constexpr uint32_t kRetryMs = 4000;

// Only the words that differ from the drive's copy are written and read
// back; one that does not hold is written once more after a pause, and one
// that never holds stops with 10 (13 when it reads as zero) in diagnostics.
TEST_F(FeedbackTest, WordsWrittenAndRetriedByTheirReadBack) {
  struct Case {
    const char* what;
    std::size_t i, j;
    std::function<void(sim::VirtualDrive&)> fault;
    Result expected;
    uint32_t retries;
    uint32_t elapsed;  // 101 ms a word written
  };
  const auto none = [](sim::VirtualDrive&) {};
  const auto once = [](sim::VirtualDrive& d) { d.Faults().TrxWordDoesNotStick(67); };
  const auto slow = [](sim::VirtualDrive& d) { d.SetFpgaByte(25, 0x08); };  // no speed change, same flushes
  const auto refusedOnce = [](sim::VirtualDrive& d) { d.Faults().RefuseTrxDiagnostics(Persistence::kOnce); };
  // The read-back's port read fails twice and leaves chip select set; the
  // rewrite's select drops it first, so the rewritten frame arrives whole.
  const auto readBackFails = [](sim::VirtualDrive& d) {
    d.Faults().FailCall(kGetVarFromFPGA, 1, 0, 24);
    d.Faults().FailCall(kGetVarFromFPGA, 2, 0, 24);
  };
  const auto never = [](sim::VirtualDrive& d) { d.Faults().TrxWordDoesNotStick(123, Persistence::kAlways); };
  const auto staysZero = [](sim::VirtualDrive& d) {
    d.Faults().TrxWordDoesNotStick(67, Persistence::kAlways);
    d.Trx().Eeprom().SetWord(67, 0);  // the drive's copy still holds the old bytes
  };
  constexpr uint32_t kAbandoned = kUnchangedBlockMs - 1001 - 200;  // no disable settle, no step back
  const Case cases[] = {
      {"unchanged", 7, 7, none, 1, 0, kUnchangedBlockMs},
      {"diagnostics refused once", 7, 7, refusedOnce, 1, 0, kUnchangedBlockMs + 1001},
      {"one word", 7, 6, none, 1, 0, kUnchangedBlockMs + kWriteCycleMs},
      {"slow link", 7, 6, slow, 1, 0, kUnchangedBlockMs + kWriteCycleMs},
      {"first and last", 0, 383, none, 1, 0, kUnchangedBlockMs + 2 * kWriteCycleMs},
      {"sticks the second time", 7, 6, once, 1, 1, kUnchangedBlockMs + 2 * kWriteCycleMs + kRetryMs},
      {"read-back fails", 7, 6, readBackFails, 1, 1, kUnchangedBlockMs + 2 * kWriteCycleMs + kRetryMs},
      {"never sticks", 119, 118, never, 10, 1, kAbandoned + 2 * kWriteCycleMs + kRetryMs},
      {"stays zero", 7, 6, staysZero, 13, 2, kAbandoned + 2 * kWriteCycleMs + 2 * kRetryMs},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    drive.Faults().Clear();
    drive.SetFpgaByte(25, 0);
    const uint32_t old = Word(64 + c.i / 2);
    const Block block = c.i == c.j ? DeviceBlock() : Changed(c.i, c.j);
    c.fault(drive);
    Restart();
    MdbMismatch mismatch;
    EXPECT_EQ(WriteVerifyTrxMdb(fc, block, mismatch), c.expected);
    EXPECT_EQ(std::tuple(Elapsed(), mismatch.retries), std::tuple(c.elapsed, c.retries));
    ExpectEnded(c.expected != 1);
    if (c.expected != 1) {
      const uint32_t read = c.expected == 13 ? 0u : old;
      EXPECT_EQ(Fields(mismatch), (std::array<uint32_t, 4>{c.retries, static_cast<uint32_t>(c.i / 2), read,
                                                           block[c.i] * 256 + block[c.i - 1]}));
      Recover();
      continue;
    }
    EXPECT_EQ(BaudChanges(),
              (drive.FpgaByte(25) != 0 ? std::vector<int>{} : std::vector<int>{115200, 19200}));
    EXPECT_EQ(DeviceBlock(), block);
    EXPECT_EQ(BlockOfDrive(sim::BlockOf(drive.SaveState().motorData)), block);  // the drive's copy follows
  }
}

// A word whose frame cannot be sent gives ((step * 1000 + low byte) * 1000
// + word index), the step one higher on the rewrite after a mismatch.
TEST_F(FeedbackTest, AWordThatCannotBeSentGivesTheCompositeCode) {
  const Block block = Changed(7, 6);
  // Writes to register 22 before word 67's first data bit: open 1, write
  // enable 35, select and header 34. The repeat first drops the chip select
  // the failed frame left set, so its first data bit comes 37 later.
  for (int n : {71, 72, 108, 109}) drive.Faults().FailCall(kPutVarToFPGA, n, 6, 22);
  MdbMismatch mismatch;
  EXPECT_EQ(WriteVerifyTrxMdb(fc, block, mismatch), (6 * 1000 + static_cast<int>(block[6])) * 1000 + 3);
  EXPECT_EQ((std::array{mismatch.index, mismatch.valueRead}), (std::array{3u, kNotSet}));
  ExpectEnded(true);

  // The rewrite's first data bit follows the first write (85 writes) and
  // its read-back (69).
  Recover();
  drive.Faults().TrxWordDoesNotStick(67);
  for (int n : {225, 226}) drive.Faults().FailCall(kPutVarToFPGA, n, 6, 22);
  EXPECT_EQ(WriteVerifyTrxMdb(fc, block, mismatch), (7 * 1000 + static_cast<int>(block[6])) * 1000 + 3);
  EXPECT_EQ(mismatch.retries, 1u);

  EXPECT_EQ(WordWriteFailure(2147, 0, 0), 2147000000);
  EXPECT_EQ(WordWriteFailure(2148, 0, 0), 99000000);  // no longer fits: the system error's code
  EXPECT_EQ(WordWriteFailure(-2148, 0, 0), 99000000);
}

TEST_F(FeedbackTest, AWholeBlockWriteIsVerifiedThroughTheDrivesCopyAtThePresentSpeed) {
  const Block block = TestBlock();
  EXPECT_EQ(WriteTrxMdb(fc, block), 1);
  EXPECT_EQ(DeviceBlock(), block);
  EXPECT_EQ(std::tuple(BaudChanges().size(), drive.Log().Count(kFlushPort), Elapsed()),
            std::tuple(0u, 0u, 2 * 1001u + 192 * kWriteCycleMs));
  ExpectEnded();

  drive.Faults().TrxWordDoesNotStick(100);
  EXPECT_EQ(WriteTrxMdb(fc, TestBlock(3)), 42);
  drive.Faults().RefuseTrxDiagnostics();  // also the second time
  MdbMismatch mismatch;
  EXPECT_EQ(WriteVerifyTrxMdb(fc, TestBlock(3), mismatch), 50);
}

// A parameter is written as tagged words (tag * 512 + 256 + data) and read
// back without a speed change. A value out of range (23) is found with the
// port open; a word that does not hold (10) abandons the exchange.
TEST_F(FeedbackTest, ParametersAreWrittenAsTaggedWordsAndReadBack) {
  struct Case {
    const char* name;
    double value;
    Result expected;
    std::vector<std::pair<std::size_t, uint16_t>> words;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // clang-format off
  const Case cases[] = {
      {"SINGain", 1023, 1, {{2, 0x9FF}, {1, 0x7C0}}}, {"singain", 2, 1, {{2, 0x900}, {1, 0x780}}},
      {"RDSINOffset", 200, 1, {{0, 0x5C8}}},          {"RDSinOffset", 255.9, 1, {{0, 0x5FF}}},
      {"RDSINOffset", -0.5, 1, {{0, 0x500}}},         {"RDSINOffset", -1.0, 23, {}},
      {"RDSINOffset", 256.0, 23, {}},                 {"SINGain", 1024.0, 23, {}},
      {"SINGain", 1e12, 23, {}},                      {"SINGain", nan, 23, {}},
      {"SINGain", 5, 10, {{2, 0x901}}},               {"SINGainX", 1, 8, {}}};  // 10: word 1 does not hold
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " " + std::to_string(c.value));
    if (c.expected == 10) drive.Faults().TrxWordDoesNotStick(1);
    Restart();
    EXPECT_EQ(WriteTrx(fc, c.name, c.value), c.expected);
    for (auto [address, word] : c.words) EXPECT_EQ(Word(address), word);
    if (c.expected == 1) {
      ExpectEnded();
      Restart();
      double read = -1;
      EXPECT_EQ(ReadTrx(fc, c.name, read), 1);
      EXPECT_EQ(std::tuple(read, BaudChanges().size(), Elapsed()),
                std::tuple(std::trunc(c.value) + 0.0, 0u, 2002u));
    } else if (c.expected == 23) {
      // The port enabled with every line low, writes enabled, diagnostics on.
      EXPECT_EQ(std::tuple(drive.FpgaByte(22), drive.Trx().Eeprom().WriteEnabled(), DiagnosticsOn()),
                std::tuple(8, true, true));
      ASSERT_EQ(DisableTrxDiag(ctx), 1);
    } else if (c.expected == 10) {
      ExpectEnded(true);
      Recover();
    }
  }
  EXPECT_EQ(drive.Log().TotalCount(), 0u);  // the unknown name's
  double value = 1023;
  EXPECT_EQ(ReadTrx(fc, "Nope", value), 8);
  // A word that cannot be read ends the reading; the value stays.
  drive.Faults().FailCall(kGetVarFromFPGA, 5, 0, 24);
  drive.Faults().FailCall(kGetVarFromFPGA, 6, 0, 24);
  EXPECT_EQ(ReadTrx(fc, "SINGain", value), 10);
  // The value stays, and no second word is read.
  EXPECT_EQ(std::tuple(value, drive.Log().Count(kGetVarFromFPGA)), std::tuple(1023.0, 2 + 6 + 2u));
  ExpectEnded();
}

// Out of range (a byte above 255, 40) before the checksum (41), whichever
// way the block goes.
TEST_F(FeedbackTest, BadBlocksAreRefusedBeforeAnyTraffic) {
  Block outOfRange = DeviceBlock();
  outOfRange[7] = 256;
  outOfRange[6] = (outOfRange[6] + 255) & 0xFF;  // the sum's low byte stays right
  Block badSum = DeviceBlock();
  badSum[7] ^= 1;
  for (const auto& [block, expected] : {std::pair{outOfRange, 40}, std::pair{badSum, 41}}) {
    MdbMismatch mismatch;
    mismatch.retries = 5;
    EXPECT_EQ(WriteVerifyTrxMdb(fc, block, mismatch), expected);
    EXPECT_EQ(Fields(mismatch), (std::array<uint32_t, 4>{0, kNotSet, kNotSet, kNotSet}));
    const std::array<Result, 4> others{WriteTrxMdb(fc, block), WriteVerifyTrxMdbV2(fc, block, 0, 128),
                                       CheckTrxMdb(ctx, block, mismatch),
                                       WriteVerifyTrx2Mdb(ctx, state.image, block, 0, 0)};
    EXPECT_EQ(others, (std::array<Result, 4>{expected, expected, expected, expected}));
  }
  EXPECT_EQ(drive.Log().TotalCount(), 0u);
  // Only the sum's low byte counts: 0x1FF passes, 0x1FE does not.
  EXPECT_EQ(ValidateMdb(Block{255, 255, 1}), 1);
  EXPECT_EQ(ValidateMdb(Block{255, 255}), 41);
}

// The offset byte goes as RDSINOffset to a generation-1 device and less 10
// into a generation-2 one's memory; a device with too old a logic is left.
TEST_F(FeedbackTest, TheVersionAwareWriterPicksTheGenerationsWriter) {
  for (const auto& [generation, version] : {std::pair{1, "4.0A"}, {2, "4.0A"}, {1, "3.2M"}, {2, "3.2M"}}) {
    SCOPED_TRACE(std::to_string(generation) + " " + version);
    const bool supported = version[0] == '4', second = generation == 2;
    drive = sim::VirtualDrive(Generation(generation, version));
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    Restart();
    const Block before = DeviceBlock();
    drive.Log().SetRecording(false);
    EXPECT_EQ(WriteVerifyTrxMdbV2(fc, TestBlock(), 0, 300), 23);
    EXPECT_EQ(WriteVerifyTrxMdbV2(fc, TestBlock(), 256, 0), 23);
    EXPECT_EQ(drive.Log().TotalCount(), 0u);
    EXPECT_EQ(WriteVerifyTrxMdbV2(fc, TestBlock(), 7, 9), second && supported ? 23 : 1);
    EXPECT_EQ(WriteVerifyTrxMdbV2(fc, TestBlock(), 7, 130), 1);
    EXPECT_EQ(DeviceBlock(), supported ? TestBlock() : before);
    EXPECT_EQ(drive.Trx().Eeprom().Word(0), second ? 0 : supported ? 0x582 : 0x580);
    if (!second) continue;
    EXPECT_EQ(
        std::tuple(drive.Trx().Flash().Byte(kRegion + 16642), drive.Trx().Flash().Byte(kRegion + 16692)),
        std::tuple(supported ? 120 : 118, supported ? 7 : 5));
  }
}

class Generation2Test : public FeedbackTest {
 protected:
  Generation2Test() : FeedbackTest(Generation(2)) {}

  Trx2Image DeviceRegion() const {
    Trx2Image region{};
    for (std::size_t i = 0; i < region.size(); ++i) region[i] = drive.Trx().Flash().Byte(kRegion + i);
    return region;
  }
  bool ExchangeClosed() const { return !DiagnosticsOn() && drive.BaudRate() == 19200; }
};

TEST_F(Generation2Test, TheAddressIsLoadedHighByteFirstAndReadBackInEveryByte) {
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  Restart();
  EXPECT_EQ(SetTrx2Address(ctx, 0x3BD00), 1);
  EXPECT_EQ(drive.Trx().EngineAddress(), 0x3BD00u);
  EXPECT_EQ(drive.Log().Lines(),
            (Lines{"PutVarToFPGA(23, 121) -> 1", "PutVarToFPGA(22, 3) -> 1", "PutVarToFPGA(23, 119) -> 1",
                   "PutVarToFPGA(22, 189) -> 1", "PutVarToFPGA(23, 117) -> 1", "PutVarToFPGA(22, 0) -> 1",
                   "PutVarToFPGA(23, 120) -> 1", "PutVarToFPGA(22, 0) -> 1", "GetVarFromFPGA(24) -> 1 [3]",
                   "PutVarToFPGA(23, 118) -> 1", "PutVarToFPGA(22, 0) -> 1", "GetVarFromFPGA(24) -> 1 [189]",
                   "PutVarToFPGA(23, 116) -> 1", "PutVarToFPGA(22, 0) -> 1", "GetVarFromFPGA(24) -> 1 [0]"}));
  // An address that reads back differently in any byte gives 2.
  for (int differing = 1; differing <= 3; ++differing) {
    drive.Faults().DistortCall(kGetVarFromFPGA, differing, 0x10);
    EXPECT_EQ(SetTrx2Address(ctx, 0x3BD00), 2) << "byte " << differing;
    drive.Faults().Clear();
  }
}

// The region read waits for data and fetches every byte in order; a blank
// image programs nothing.
TEST_F(Generation2Test, TheRegionIsReadWholeAndAPageProgramIsBoundedOnTheClock) {
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  Restart();
  EXPECT_EQ(ReadTrx2Region(ctx, state.image).code, 1);
  EXPECT_EQ(state.image, DeviceRegion());
  // Address 15, READ 2, two status reads 6, first byte 3, then 2 per byte.
  EXPECT_EQ(drive.Log().TotalCount(), 15u + 2 + 6 + 3 + 2 * (kTrx2ImageSize - 1));
  Trx2Image blank;
  blank.fill(0xFF);
  Restart();
  EXPECT_EQ(ProgramTrx2Pages(ctx, blank).code, 255);
  EXPECT_EQ(drive.Log().TotalCount(), 0u);

  // Each status poll is bounded on the clock: a page program that never
  // ends stalls 1000 ms after its settle.
  drive.Faults().KillTrxPort(0xFF);
  Restart();
  const EngineResult stalled = ProgramTrx2Pages(ctx, state.image);
  EXPECT_EQ(std::tuple(stalled.stalled, stalled.code, Elapsed()), std::tuple(true, 52, 10 + 1001u));
}

TEST(LogicVersion, OnlyPositions023CountAsSignedCharacters) {
  const std::pair<const char*, bool> cases[] = {
      {"3.2M", false}, {"3.2N", true},    {"3.2Z", true},  {"3.3A", true}, {"4.0A", true},    {"S1.0B", true},
      {"", false},     {"102.1A", false}, {"2.9Z", false}, {"3.2", false}, {"\xB3.2N", false}};
  for (const auto& [text, newEnough] : cases) EXPECT_EQ(LogicVersionNewEnough(text), newEnough) << text;
}

// The check reads the engine's address back at the fast speed: 3, 254, 0
// is generation 2, all zero generation 1, anything else unknown.
TEST_F(Generation2Test, TheGenerationCheckReadsTheAddressBackAtTheFastSpeed) {
  uint32_t generation = 0, speed = 0, supported = 0;
  ASSERT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 1);
  EXPECT_EQ((std::array{generation, speed, supported}), (std::array{2u, 115u, 1u}));
  EXPECT_EQ(BaudChanges(), (std::vector<int>{115200, 19200}));
  EXPECT_EQ(std::tuple(ExchangeClosed(), Elapsed()), std::tuple(true, 2 * 1001u + 2 * 200u));
  struct Case {
    int high, middle, low;
    uint32_t generation, supported;
  };
  const Case cases[] = {{0, 0, 0, 1, 1}, {3, 254, 1, 255, 0}, {1, 0, 0, 255, 0}, {3, 0, 0, 255, 0}};
  for (const Case& c : cases) {  // the address comes back in reads 19 (high), 20 and 21
    drive.Faults().DistortCall(kGetVarFromFPGA, 19, static_cast<uint8_t>(c.high ^ 3));
    drive.Faults().DistortCall(kGetVarFromFPGA, 20, static_cast<uint8_t>(c.middle ^ 254));
    drive.Faults().DistortCall(kGetVarFromFPGA, 21, static_cast<uint8_t>(c.low));
    EXPECT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 1);
    EXPECT_EQ((std::array{generation, supported}), (std::array{c.generation, c.supported}));
  }
  // The slow link keeps the normal speed and says so.
  drive.SetFpgaByte(25, 0x08);
  Restart();
  ASSERT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 1);
  // The flush steps all the same.
  EXPECT_EQ(std::tuple(speed, BaudChanges().size(), drive.Log().Count(kFlushPort), Elapsed()),
            std::tuple(19u, 0u, 2u, 2 * 1001u + 2 * 200u));
  // A failed enable leaves generation and support unwritten.
  drive.Faults().RefuseTrxDiagnostics();
  Restart();
  generation = supported = 7;
  EXPECT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 50);
  EXPECT_EQ(std::tuple(generation, supported, BaudChanges().size()), std::tuple(7u, 7u, 0u));
}

// The write carries every other byte over, and the checksum byte it
// computes is the block's own; the drive's copy follows.
TEST_F(Generation2Test, AWriteCarriesEveryOtherByteOverAndFollowsInTheDrivesCopy) {
  const Block block = TestBlock();
  Trx2Image expected = DeviceRegion();
  std::copy(block.begin(), block.end(), expected.begin() + kMdbImageOffset);
  expected[16642] = 40;
  expected[16692] = 77;
  expected[kMdbImageOffset - 1] ^= 0x55;  // next to the block, not in its checksum
  drive.Trx().Flash().SetByte(kRegion + kMdbImageOffset - 1, expected[kMdbImageOffset - 1]);
  drive.Log().SetRecording(false);
  EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, block, 77, 40), 1);
  EXPECT_EQ(DeviceRegion(), expected);
  EXPECT_EQ(BlockOfDrive(sim::BlockOf(drive.SaveState().motorData)), block);
  // Two settles, a flush step at each end, 2 s of erase pauses, 10 ms per
  // programmed page (5) and a clock tick per status poll (2+4+5*3+2).
  EXPECT_EQ(std::tuple(ExchangeClosed(), Elapsed()),
            std::tuple(true, 2 * 1001u + 2 * 200u + 2000u + 5 * 10u + 23u));
}

// A memory that fails the checksum is handed out but not built upon; the
// exchange always ends, and the device's failure is reported first.
TEST_F(Generation2Test, WholeMemoryOperationsReportTheirFailureAndEndTheExchange) {
  drive.Log().SetRecording(false);
  drive.Trx().Flash().SetByte(kRegion + kMdbImageOffset + 5,
                              drive.Trx().Flash().Byte(kRegion + kMdbImageOffset + 5) ^ 0x40);
  const Trx2Image before = DeviceRegion();
  EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, TestBlock(2), 1, 2), 41);
  // The read's two status polls, no erase.
  EXPECT_EQ(std::tuple(Elapsed(), ExchangeClosed()), std::tuple(2 * 1001u + 2 * 200u + 2u, true));
  EXPECT_EQ(DeviceRegion(), before);
  std::vector<uint32_t> memory(kTrx2ImageSize, 1000);
  EXPECT_EQ(ReadTrx2Memory(ctx, state.image, std::span<uint32_t, kTrx2ImageSize>(memory)), 41);
  EXPECT_TRUE(std::equal(memory.begin(), memory.end(), before.begin()));
  EXPECT_EQ(CorrectTrx2Checksum(ctx, state.image), 1);
  Trx2Image corrected = before;
  corrected[kMdbChecksumImageOffset] = (before[kMdbChecksumImageOffset] - 0x40) & 0xFF;
  EXPECT_EQ(DeviceRegion(), corrected);

  const auto write = [&] { return WriteVerifyTrx2Mdb(ctx, state.image, TestBlock(), 0, 10); };
  const auto correct = [&] { return CorrectTrx2Checksum(ctx, state.image); };
  struct Case {
    std::function<void(sim::FaultPlan&)> fault;
    std::function<Result()> operation;
    Result expected;
  };
  const Case cases[] = {
      {[](sim::FaultPlan& f) { f.TrxPageProgramsWrong(0x3BD00); }, write, 13},  // the checksum stays right
      {[](sim::FaultPlan& f) { f.KillTrxPort(0x00); }, write, 49},
      {[](sim::FaultPlan& f) { f.KillTrxPort(0xFF); }, correct, 52},
      {[](sim::FaultPlan& f) { f.FailCall(kChangeBaudRate, 2, 3); }, correct, 3},
      {[](sim::FaultPlan& f) { f.RefuseTrxDiagnostics(); }, correct, 49},  // the engine does not answer
  };
  for (const Case& c : cases) {
    drive.Faults().Clear();
    c.fault(drive.Faults());
    EXPECT_EQ(c.operation(), c.expected);
    EXPECT_EQ(std::tuple(DiagnosticsOn(), drive.BaudRate()),
              std::tuple(false, c.expected == 3 ? 115200 : 19200));
    drive.ChangeBaudRate(19200);
  }
}

}  // namespace
}  // namespace svodb::testing
