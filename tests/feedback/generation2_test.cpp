// The flash engine and the whole-memory operations on a virtual
// generation-2 device.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "feedback/device_memory.h"
#include "feedback/trx2_engine.h"
#include "feedback/trx_link.h"
#include "feedback_fixture.h"

namespace svodb::testing {
namespace {

using sim::Operation;
using sim::Persistence;
using Lines = std::vector<std::string>;

constexpr uint32_t kRegion = sim::FeedbackDevice::kRegionStart;

class Generation2Test : public FeedbackTest {
 protected:
  Generation2Test() : FeedbackTest(Generation(2)) {}

  Trx2Image DeviceRegion() const {
    Trx2Image region{};
    for (std::size_t i = 0; i < region.size(); ++i) region[i] = drive.Trx().Flash().Byte(kRegion + i);
    return region;
  }
  void SetDeviceByte(std::size_t offset, uint8_t value) {
    drive.Trx().Flash().SetByte(kRegion + offset, value);
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
    TamperedTransport port(drive);
    port.alter = [&](int32_t address, int number, int32_t& data) {
      if (address == 24 && number == differing) data ^= 0x10;
    };
    LibraryContext tampered{db, registers, port, platform};
    EXPECT_EQ(SetTrx2Address(tampered, 0x3BD00), 2) << "byte " << differing;
  }
}

TEST_F(Generation2Test, ARegionReadWaitsForDataAndFetchesEveryByteInOrder) {
  SetDeviceByte(0, 0x11);
  SetDeviceByte(kTrx2ImageSize - 1, 0x22);
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  Restart();
  drive.Log().SetRecording(true);
  const EngineResult result = ReadTrx2Region(ctx, state.image);
  EXPECT_EQ(result.code, 1);
  EXPECT_FALSE(result.stalled);
  EXPECT_EQ(state.image, DeviceRegion());
  // Address 15, READ 2, two status reads 6, first byte 3, then 2 per byte.
  EXPECT_EQ(drive.Log().TotalCount(), 15u + 2 + 6 + 3 + 2 * (kTrx2ImageSize - 1));
  EXPECT_EQ(Instructions(drive.Log()), (std::vector<int>{3}));
}

TEST_F(Generation2Test, BlankPagesAreNotProgrammedAndReadBackBlank) {
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  ASSERT_EQ(ReadTrx2Region(ctx, state.image).code, 1);
  Trx2Image image = state.image;
  std::fill_n(image.begin(), 256, 0xFF);  // the first calibration page
  Restart();
  EXPECT_FALSE(EraseTrx2Sector(ctx).stalled);
  const EngineResult programmed = ProgramTrx2Pages(ctx, image);
  EXPECT_EQ(programmed.code, 1);
  // Two calibration pages and the two pages of the block: 6, 2 and 4 per page.
  const std::vector<int> sent = Instructions(drive.Log());
  EXPECT_EQ(std::count(sent.begin(), sent.end(), 2), 4);
  EXPECT_EQ(std::count(sent.begin(), sent.end(), 0xD8), 1);
  EXPECT_EQ(DeviceRegion(), image);
  EXPECT_EQ(drive.Trx().Flash().Byte(kRegion), 0xFF);
  image.fill(0xFF);  // nothing to program at all: 255 and no traffic
  Restart();
  EXPECT_EQ(ProgramTrx2Pages(ctx, image).code, 255);
  EXPECT_EQ(drive.Log().TotalCount(), 0u);
}

TEST_F(Generation2Test, EachStatusPollIsBoundedOnTheClock) {
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  struct Case {
    uint8_t stuckInput;
    Result expected;
    uint32_t elapsed;
    EngineResult (*operation)(LibraryContext&, Trx2Image&);
  };
  const Case cases[] = {
      {0x00, 49, 1001, [](LibraryContext& c, Trx2Image& i) { return ReadTrx2Region(c, i); }},
      {0xFF, 52, 1000 + 10001, [](LibraryContext& c, Trx2Image&) { return EraseTrx2Sector(c); }},
      {0xFF, 52, 10 + 1001, [](LibraryContext& c, Trx2Image& i) { return ProgramTrx2Pages(c, i); }},
  };
  for (const Case& c : cases) {
    drive.Faults().Clear();
    drive.Faults().KillTrxPort(c.stuckInput);
    drive.Log().SetRecording(false);
    Restart();
    const EngineResult result = c.operation(ctx, state.image);
    EXPECT_TRUE(result.stalled);
    EXPECT_EQ(result.code, c.expected);
    EXPECT_EQ(Elapsed(), c.elapsed);
  }
}

TEST_F(Generation2Test, AnExchangeWhoseEnableFailsGoesOnAtTheOldSpeed) {
  drive.Faults().RefuseTrxDiagnostics();
  BeginTrx2Exchange(ctx);
  EXPECT_EQ(drive.BaudRate(), 19200);
  EXPECT_TRUE(BaudChanges(drive.Log()).empty());
  drive.Faults().Clear();
  BeginTrx2Exchange(ctx);
  EXPECT_EQ(drive.BaudRate(), 115200);
  drive.Faults().FailCall(Operation::kChangeBaudRate, 1, 3);
  EXPECT_EQ(EndTrx2Exchange(ctx), 3);
  EXPECT_FALSE(DiagnosticsOn());
}

// ---- memory image and checksum ----

// Range before checksum: a byte above 255 whose low byte keeps the sum
// right is 40; the sum's low byte must be 255 (0x1FF passes, 0x1FE not).
TEST(MdbValidation, RangeBeforeChecksum) {
  struct Case {
    std::vector<std::pair<std::size_t, uint32_t>> changes;  // on TestBlock(), or on zeros
    bool zeros;
    Result expected;
  };
  const Block base = TestBlock();
  const Case cases[] = {
      {{}, false, 1},
      {{{0, base[0] + 0x100}}, false, 40},
      {{{10, 256}, {11, (base[11] + 255) & 0xFF}}, false, 40},
      {{{383, (base[383] + 255) & 0xFF}}, false, 41},
      {{{0, 255}, {1, 255}, {2, 1}}, true, 1},
      {{{0, 255}, {1, 255}}, true, 41},
  };
  for (const Case& c : cases) {
    Block block = c.zeros ? Block{} : base;
    for (const auto& [at, value] : c.changes) block[at] = value;
    EXPECT_EQ(ValidateMdb(block), c.expected) << c.changes.size() << (c.zeros ? " on zeros" : "");
  }
}

TEST(Trx2Checksum, CheckAndComputeOnTheImageBlock) {
  Trx2Image image{};
  std::fill(image.begin() + kMdbImageOffset, image.end() - 1, 1);  // 383 ones: sum 0x17F
  image[0] = 0x55;                                                 // outside the block, not counted
  EXPECT_FALSE(Trx2ChecksumValid(image));
  ComputeTrx2Checksum(image);
  EXPECT_EQ(image[17151], 0x80);
  EXPECT_TRUE(Trx2ChecksumValid(image));
  image[17151] = 0x7F;
  EXPECT_FALSE(Trx2ChecksumValid(image));
}

TEST(LogicVersion, OnlyPositions023CountAsSignedCharacters) {
  struct Case {
    const char* text;
    bool newEnough;
  };
  const Case cases[] = {{"3.2M", false}, {"3.2N", true},  {"3.2Z", true},    {"3.3A", true},
                        {"4.0A", true},  {"S1.0B", true}, {"102.1A", false}, {"2.9Z", false},
                        {"", false},     {"3.2", false},  {"\xB3.2N", false}};
  for (const Case& c : cases) EXPECT_EQ(LogicVersionNewEnough(c.text), c.newEnough) << c.text;
}

TEST_F(Generation2Test, TheGenerationCheckReadsTheAddressBackAtTheFastSpeed) {
  uint32_t generation = 0, speed = 0, supported = 0;
  ASSERT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 1);
  EXPECT_EQ(generation, 2u);
  EXPECT_EQ(speed, 115u);
  EXPECT_EQ(supported, 1u);
  EXPECT_EQ(BaudChanges(drive.Log()), (std::vector<int>{115200, 19200}));
  EXPECT_TRUE(ExchangeClosed());
  EXPECT_EQ(Elapsed(), 2 * 1001u + 2 * 200u);
  // A failed enable leaves generation and support unwritten.
  drive.Faults().RefuseTrxDiagnostics();
  Restart();
  generation = supported = 7;
  EXPECT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 50);
  EXPECT_EQ(generation + supported, 14u);
  EXPECT_TRUE(BaudChanges(drive.Log()).empty());
}

TEST_F(Generation2Test, TheGenerationFollowsTheThreeAddressBytes) {
  struct Case {
    int high, middle, low;
    uint32_t generation, supported;
  };
  const Case cases[] = {
      {3, 254, 0, 2, 1}, {0, 0, 0, 1, 1}, {3, 254, 1, 255, 0}, {1, 0, 0, 255, 0}, {3, 0, 0, 255, 0}};
  for (const Case& c : cases) {
    TamperedTransport port(drive);
    port.alter = [&](int32_t address, int number, int32_t& data) {
      if (address == 24) data = number == 1 ? c.high : number == 2 ? c.middle : c.low;
    };
    LibraryContext tampered{db, registers, port, platform};
    uint32_t generation = 0, speed = 0, supported = 7;
    EXPECT_EQ(CheckGenOfTrx(tampered, generation, speed, supported), 1);
    EXPECT_EQ(generation, c.generation);
    EXPECT_EQ(supported, c.supported);
  }
}

TEST_F(Generation2Test, AWriteCarriesEveryOtherByteOverAndFollowsInTheDrivesCopy) {
  const Block block = TestBlock();
  Trx2Image expected = DeviceRegion();
  std::copy(block.begin(), block.end(), expected.begin() + kMdbImageOffset);
  expected[16642] = 40;
  expected[16692] = 77;
  drive.Log().SetRecording(false);
  EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, block, 77, 40), 1);
  EXPECT_EQ(DeviceRegion(), expected);  // the checksum byte recomputed equals the block's
  EXPECT_EQ(BlockOfDrive(sim::BlockOf(drive.SaveState().motorData)), block);
  EXPECT_TRUE(ExchangeClosed());
  // Two settles, a flush step at each end, 2 s of erase pauses, 10 ms per
  // programmed page (5) and a clock tick per status poll (2+4+5*3+2).
  EXPECT_EQ(Elapsed(), 2 * 1001u + 2 * 200u + 2000u + 5 * 10u + 23u);
}

TEST_F(Generation2Test, AMemoryWithABadChecksumIsNotWrittenUntilCorrected) {
  SetDeviceByte(kMdbImageOffset + 5, drive.Trx().Flash().Byte(kRegion + kMdbImageOffset + 5) ^ 0x40);
  const Trx2Image before = DeviceRegion();
  const Block block = TestBlock(2);
  EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, block, 1, 2), 41);
  EXPECT_EQ(DeviceRegion(), before);
  const std::vector<int> sent = Instructions(drive.Log());
  EXPECT_EQ(std::count(sent.begin(), sent.end(), 0xD8), 0);
  EXPECT_TRUE(ExchangeClosed());

  std::vector<uint32_t> memory(kTrx2ImageSize, 1000);
  EXPECT_EQ(
      ReadTrx2Memory(ctx, state.image, std::span<uint32_t, kTrx2ImageSize>(memory.data(), kTrx2ImageSize)),
      41);
  EXPECT_TRUE(std::equal(memory.begin(), memory.end(), before.begin()));  // handed out all the same

  drive.Log().SetRecording(false);
  EXPECT_EQ(CorrectTrx2Checksum(ctx, state.image), 1);
  EXPECT_TRUE(Trx2ChecksumValid(DeviceRegion()));
  EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, block, 1, 2), 1);
}

TEST_F(Generation2Test, AFailedWriteStillEndsTheExchange) {
  drive.Log().SetRecording(false);
  drive.Faults().TrxPageProgramsWrong(0x3BD00);  // calibration: the checksum stays right
  EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, TestBlock(), 0, 10), 13);
  EXPECT_TRUE(ExchangeClosed());
  drive.Faults().Clear();
  drive.Faults().KillTrxPort(0x00);
  EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, TestBlock(), 0, 10), 49);
  EXPECT_TRUE(ExchangeClosed());
  drive.Faults().KillTrxPort(0xFF);
  EXPECT_EQ(CorrectTrx2Checksum(ctx, state.image), 52);
  EXPECT_TRUE(ExchangeClosed());
}

}  // namespace
}  // namespace svodb::testing
