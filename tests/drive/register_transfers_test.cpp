#include "drive/register_transfers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/drive_facts.h"
#include "drive/register_map.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb {
namespace {

using sim::Operation;
using sim::Persistence;
using Lines = std::vector<std::string>;
using Bytes = std::vector<std::pair<int, int>>;  // address or entry, content
using Plan = std::function<void(sim::FaultPlan&)>;

// A failing call: the call-th of the operation (counting only calls with
// that first argument, when one is given) answers code.
struct Failure {
  Failure(Operation o, int c, int32_t r, std::optional<int32_t> a = std::nullopt)
      : operation(o), call(c), code(r), argument(a) {}
  Operation operation;
  int call;
  int32_t code;
  std::optional<int32_t> argument;
};
Plan Failing(std::vector<Failure> failures) {
  return [failures](sim::FaultPlan& p) {
    for (const Failure& f : failures) p.FailCall(f.operation, f.call, f.code, f.argument);
  };
}

std::string N(int value) { return std::to_string(value); }
std::string FpgaGet(int address, int value) {
  return "GetVarFromFPGA(" + N(address) + ") -> 1 [" + N(value) + "]";
}
std::string FpgaPut(int address, int value, int result = 1) {
  return "PutVarToFPGA(" + N(address) + ", " + N(value) + ") -> " + N(result);
}
std::string NvGet(int entry, int reg, int data) {
  return "GetVarFromEEPROM(" + N(entry) + ") -> 1 [" + N(reg) + ", " + N(data) + "]";
}
std::string NvPut(int entry, int reg, int data, int result = 1) {
  return "PutVarToEEPROM(" + N(entry) + ", " + N(reg) + ", " + N(data) + ") -> " + N(result);
}
std::string Erase(int entry, int result = 1) { return "NVEraseUnit(" + N(entry) + ") -> " + N(result); }

Lines Concat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// The drive on the serial port, a fresh register map and an empty call log.
class RegisterTransfers : public ::testing::Test {
 protected:
  explicit RegisterTransfers(sim::DriveConfig config = {}) : drive(std::move(config)) {}

  void SetUp() override {
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    drive.Log().Clear();
  }

  Lines Log() const { return drive.Log().Lines(); }
  // No fault plan, an empty call log, then the given plan.
  void Fresh(const Plan& plan = {}) {
    drive.Faults().Clear();
    drive.Log().Clear();
    if (plan) plan(drive.Faults());
  }
  int32_t& Store(std::string_view name, int node) {
    return registers.FindRegister(name)->raw[static_cast<std::size_t>(node)];
  }
  void SetFpga(const Bytes& bytes) {
    for (const auto& [address, value] : bytes)
      drive.SetFpgaByte(static_cast<uint8_t>(address), static_cast<uint8_t>(value));
  }

  ParameterDatabase db;
  RegisterMap registers;
  sim::VirtualDrive drive;
  sim::VirtualPlatform platform;
  LibraryContext ctx{db, registers, drive, platform};
};

// A drive whose logic keeps the current limits as two-bit steps in register 13.
class RegisterTransfersOldLogic : public RegisterTransfers {
 protected:
  RegisterTransfersOldLogic()
      : RegisterTransfers(sim::DriveConfig{.logicVersion = 2, .versionText = "2.0A"}) {}
};

// ------------------------------------------------------------------- reads

TEST_F(RegisterTransfers, ReadsEachByteCountInItsOrderAndSettingsTwice) {
  const std::tuple<const char*, Bytes, std::vector<int>, int32_t> cases[] = {
      {"KVP", {{16, 0x12}}, {16, 16}, 0x21},  // nibbles swapped
      {"HSTemp", {{38, 0xF0}}, {38}, -16},    // live: once
      {"GearIn", {{81, 0x12}, {80, 0x34}}, {81, 80, 81, 80}, 0x1234},
      {"CommOff", {{15, 0xFF}, {14, 0xF5}}, {15, 14, 15, 14}, -1},  // EncOut's bits ignored
      {"PWMMinus", {{6, 0xEB}, {5, 0xCA}}, {6, 5, 6, 5}, -5174},
      {"PosFB", {{47, 0x01}, {46, 0x02}, {45, 0x03}}, {47, 46, 45}, 0x010203},
      {"FBDivisor",
       {{102, 0x80}, {101, 0}, {100, 0}, {99, 1}},
       {102, 101, 100, 99, 102, 101, 100, 99},
       -2147483647},
      {"AuxFBDivisor", {{83, 1}, {82, 2}, {81, 3}, {80, 4}}, {83, 82, 81, 80, 83, 82, 81, 80}, 0x01020304},
  };
  using Reader = Result (*)(LibraryContext&, std::string_view, int32_t&);
  for (const Reader read : {Reader{&ReadFpgaField}, Reader{&ReadRegisterOnline}}) {
    for (const auto& [name, bytes, reads, value] : cases) {
      SCOPED_TRACE(name);
      SetFpga(bytes);
      Fresh();
      Lines expected;
      for (int address : reads) {
        for (const auto& [a, v] : bytes)
          if (a == address) expected.push_back(FpgaGet(a, v));
      }
      int32_t raw = 0;
      EXPECT_EQ(read(ctx, name, raw), code::kOk);
      EXPECT_EQ(raw, value);
      EXPECT_EQ(Log(), expected);
    }
  }
}

TEST_F(RegisterTransfers, SecondReadThatDiffersFailsExceptForTheCommand) {
  SetFpga({{16, 0x12}, {10, 0x01}, {9, 0x00}});
  int32_t raw = -7;
  drive.Faults().ChangeSecondRead(16);
  EXPECT_EQ(ReadFpgaField(ctx, "KVP", raw), code::kTransferError);
  EXPECT_EQ(Log(), (Lines{FpgaGet(16, 0x12), FpgaGet(16, 0x13)}));

  // The command moves with the motor: its second read stands.
  Fresh([](sim::FaultPlan& p) { p.ChangeSecondRead(10); });
  EXPECT_EQ(ReadFpgaField(ctx, "Command", raw), code::kOk);
  EXPECT_EQ(raw, 0);
  EXPECT_EQ(Log(), (Lines{FpgaGet(10, 1), FpgaGet(9, 0), FpgaGet(10, 0), FpgaGet(9, 0)}));

  // Only that exact spelling is spared the comparison.
  drive.Faults().ChangeSecondRead(10);
  EXPECT_EQ(ReadFpgaField(ctx, "command", raw), code::kTransferError);
}

TEST_F(RegisterTransfers, TransportFailurePassesThroughUnchanged) {
  SetFpga({{81, 0x12}, {80, 0x34}});
  for (const auto& [call, failure] : {std::pair{2, 3}, std::pair{3, 6}, std::pair{4, 2}}) {
    SCOPED_TRACE(call);
    Fresh();
    drive.Faults().FailCall(Operation::kGetVarFromFPGA, call, failure);
    int32_t raw = 0;
    EXPECT_EQ(ReadFpgaField(ctx, "GearIn", raw), failure);
    ASSERT_EQ(Log().size(), static_cast<std::size_t>(call));
    EXPECT_EQ(Log().back(), "GetVarFromFPGA(" + N(call % 2 == 1 ? 81 : 80) + ") -> " + N(failure));
  }

  // A write's read of the shared byte or entry, and its read-back, likewise.
  for (const auto& [operation, call, logged] :
       {std::tuple{Operation::kGetVarFromFPGA, 1, 1u}, std::tuple{Operation::kGetVarFromFPGA, 2, 3u},
        std::tuple{Operation::kGetVarFromEEPROM, 1, 1u}, std::tuple{Operation::kGetVarFromEEPROM, 2, 3u}}) {
    SCOPED_TRACE(call);
    Fresh();
    drive.Faults().FailCall(operation, call, 6);
    const bool fpga = operation == Operation::kGetVarFromFPGA;
    EXPECT_EQ(fpga ? WriteFpgaField(ctx, "KVP", 1) : WriteNvField(ctx, "KVP", 1), 6);
    EXPECT_EQ(Log().size(), logged);
  }
}

TEST_F(RegisterTransfers, BiquadCoefficientIsReadThroughTheAddressRegister) {
  drive.SetBiquadByte(10, 0x34);
  drive.SetBiquadByte(11, 0x12);
  int32_t raw = 0;
  EXPECT_EQ(ReadFpgaField(ctx, "BQ1K1", raw), code::kOk);
  EXPECT_EQ(raw, 0x1234);
  EXPECT_EQ(Log(), (Lines{FpgaPut(42, 10), FpgaGet(108, 0x34), FpgaPut(42, 11), FpgaGet(108, 0x12)}));

  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 3);
  EXPECT_EQ(ReadFpgaField(ctx, "BQ1K1", raw), code::kSystemError);
}

TEST_F(RegisterTransfers, UnknownNameAndSerialNumberAreRefusedBeforeAnyTraffic) {
  using Op = std::function<Result(std::string_view)>;
  int32_t raw = 0;
  const std::vector<Op> ops{
      [&](std::string_view n) { return ReadFpgaField(ctx, n, raw); },
      [&](std::string_view n) { return WriteFpgaField(ctx, n, 1); },
      [&](std::string_view n) { return ReadNvField(ctx, n, raw); },
      [&](std::string_view n) { return WriteNvField(ctx, n, 1); },
      [&](std::string_view n) { return ReadRegisterOnline(ctx, n, raw); },
      [&](std::string_view n) { return WriteRegisterOnline(ctx, n, 1, 0); },
      [&](std::string_view n) { return LoadFromDrive(ctx, n, 0); },
      [&](std::string_view n) { return LoadFromNv(ctx, n, 0); },
      [&](std::string_view n) { return StoreToDrive(ctx, n, 0); },
      [&](std::string_view n) { return StoreToNv(ctx, n, 0); },
  };
  for (std::size_t i = 0; i < ops.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(ops[i]("NoSuchRegister"), code::kInvalidParameter);
    // 24 bytes: only the online strings move the serial number.
    EXPECT_EQ(ops[i]("SerialNum"), code::kSystemError);
    EXPECT_TRUE(Log().empty());
  }
}

// ------------------------------------------------------------------ writes

TEST_F(RegisterTransfers, OneByteWriteKeepsTheOtherRegistersBits) {
  const std::tuple<const char*, int, int, int32_t, int> cases[] = {
      {"KIP", 2, 0xC0, 8, 0xC1},        // KII and BatFDis kept, 3-bit halves swapped
      {"CmdSrc", 1, 0x8D, 2, 0xAD},     // between OpMode, CommMode and EMUFunc
      {"DInp2Pol", 74, 0x1F, 0, 0x1D},  // clearing one bit
      {"HstSet", 39, 0x00, -88, 0xA8},  // signed 8-bit
  };
  for (const auto& [name, address, before, value, after] : cases) {
    SCOPED_TRACE(name);
    SetFpga({{address, before}});
    Fresh();
    EXPECT_EQ(WriteFpgaField(ctx, name, value), code::kOk);
    EXPECT_EQ(Log(), (Lines{FpgaGet(address, before), FpgaPut(address, after), FpgaGet(address, after)}));
  }
}

TEST_F(RegisterTransfers, TwoByteWriteReadsTheLowerByteWritesItFirstAndReadsBack) {
  SetFpga({{14, 0x05}, {15, 0x00}});
  EXPECT_EQ(WriteFpgaField(ctx, "CommOff", -1), code::kOk);
  EXPECT_EQ(Log(), (Lines{FpgaGet(14, 0x05), FpgaPut(14, 0xF5), FpgaPut(15, 0xFF), FpgaGet(15, 0xFF),
                          FpgaGet(14, 0xF5)}));

  // PWMMinus (byte count 12) is read back like the others: a lost upper byte
  // is written once more, after the shared byte is read again.
  SetFpga({{5, 0x00}, {6, 0x00}});
  Fresh([](sim::FaultPlan& p) { p.DropFpgaWrite(6); });
  EXPECT_EQ(WriteFpgaField(ctx, "PWMMinus", -5174), code::kOk);
  EXPECT_EQ(Log(), (Lines{FpgaGet(5, 0), FpgaPut(5, 0xCA), FpgaPut(6, 0xEB), FpgaGet(6, 0x00),
                          FpgaGet(5, 0xCA), FpgaGet(5, 0xCA), FpgaPut(5, 0xCA), FpgaPut(6, 0xEB),
                          FpgaGet(6, 0xEB), FpgaGet(5, 0xCA)}));
}

TEST_F(RegisterTransfers, WideFieldsAreWrittenLowestAddressFirstWithoutReadingFirst) {
  EXPECT_EQ(WriteFpgaField(ctx, "FBDivisor", 0x01020304), code::kOk);
  EXPECT_EQ(Log(), (Lines{FpgaPut(99, 4), FpgaPut(100, 3), FpgaPut(101, 2), FpgaPut(102, 1), FpgaGet(102, 1),
                          FpgaGet(101, 2), FpgaGet(100, 3), FpgaGet(99, 4)}));

  // The position counter belongs to the drive: three bytes go out twice and
  // the write is reported as not confirmed.
  Fresh();
  const Lines attempt{FpgaPut(45, 3), FpgaPut(46, 2), FpgaPut(47, 1),
                      FpgaGet(47, 0), FpgaGet(46, 0), FpgaGet(45, 0)};
  EXPECT_EQ(WriteFpgaField(ctx, "PosFB", 0x010203), code::kTransferError);
  EXPECT_EQ(Log(), Concat({attempt, attempt}));
}

TEST_F(RegisterTransfers, WriteThatDoesNotStickIsMadeOnceMore) {
  for (const auto& [persistence, expected] :
       {std::pair{Persistence::kOnce, code::kOk}, std::pair{Persistence::kAlways, code::kTransferError}}) {
    SCOPED_TRACE(expected);
    SetFpga({{16, 0x00}});
    Fresh();
    drive.Faults().DropFpgaWrite(16, persistence);
    EXPECT_EQ(WriteFpgaField(ctx, "KVP", 0x21), expected);
    const int last = expected == code::kOk ? 0x12 : 0x00;
    EXPECT_EQ(Log(), (Lines{FpgaGet(16, 0), FpgaPut(16, 0x12), FpgaGet(16, 0), FpgaGet(16, 0),
                            FpgaPut(16, 0x12), FpgaGet(16, last)}));
    // The same in NV.
    drive.SetNvEntry(23, {16, 0x00});
    Fresh();
    drive.Faults().DropNvWrite(23, persistence);
    EXPECT_EQ(WriteNvField(ctx, "KVP", 0x21), expected);
    EXPECT_EQ(Log(), (Lines{NvGet(23, 16, 0), NvPut(23, 16, 0x12), NvGet(23, 16, 0), NvGet(23, 16, 0),
                            NvPut(23, 16, 0x12), NvGet(23, 16, last)}));
  }
}

TEST_F(RegisterTransfers, BiquadWriteSendsTheWholeBankWithTheDrivesStoreValues) {
  std::vector<int32_t> values{852, 10989, 128, 132, 852, 10989, 128, 132,
                              852, 10989, 128, 132, 0,   1549,  0,   219};
  ASSERT_EQ(registers.SetRawValue("BQ3K2", 777, 0, 0), code::kOk);
  ASSERT_EQ(registers.SetRawValue("BQ0B2", 999, 0, 1), code::kOk);  // an offline image: not sent
  values[15] = 777;
  values[5] = 0x1234;

  EXPECT_EQ(WriteFpgaField(ctx, "bq1k1", 0x1234), code::kOk);
  Lines expected;
  for (int i = 0; i < 16; ++i) {
    const int v = values[static_cast<std::size_t>(i)];
    for (const std::string& line :
         {FpgaPut(42, 2 * i), FpgaPut(108, v & 0xFF), FpgaPut(42, 2 * i + 1), FpgaPut(108, v >> 8)})
      expected.push_back(line);
  }
  EXPECT_EQ(Log(), expected);
  EXPECT_EQ(Store("BQ1K1", 0), 0x1234);
  EXPECT_EQ(Store("BQ1K1", 1), 10989);

  // A failing call ends the bank; the store keeps its value.
  Fresh([](sim::FaultPlan& p) { p.FailCall(Operation::kPutVarToFPGA, 10, 3); });
  EXPECT_EQ(WriteFpgaField(ctx, "BQ1K1", 0x4321), code::kSystemError);
  EXPECT_EQ(Log().size(), 10u);
  EXPECT_EQ(Store("BQ1K1", 0), 0x1234);
}

// ------------------------------------------------------------------ NV

TEST_F(RegisterTransfers, ReadChecksOnlyTheTopEntryAndReadsTwice) {
  drive.SetNvEntry(39, {81, 0x12});
  drive.SetNvEntry(38, {0x55, 0x34});  // a lower entry's register is not checked
  int32_t raw = 0;
  EXPECT_EQ(ReadNvField(ctx, "GearIn", raw), code::kOk);
  EXPECT_EQ(raw, 0x1234);
  EXPECT_EQ(Log(),
            (Lines{NvGet(39, 81, 0x12), NvGet(38, 0x55, 0x34), NvGet(39, 81, 0x12), NvGet(38, 0x55, 0x34)}));

  Fresh([](sim::FaultPlan& p) { p.ReportWrongNvRegister(39, 50); });
  EXPECT_EQ(ReadNvField(ctx, "GearIn", raw), code::kNvAddressMismatch);
  EXPECT_EQ(Log(), (Lines{NvGet(39, 50, 0x12)}));

  // Either entry's data changing between the reads fails.
  for (int read : {3, 4}) {
    Fresh([&](sim::FaultPlan& p) { p.DistortCall(Operation::kGetVarFromEEPROM, read); });
    EXPECT_EQ(ReadNvField(ctx, "GearIn", raw), code::kTransferError) << read;
  }
}

TEST_F(RegisterTransfers, OneByteWriteKeepsNeighboursAndRepairsTheRegister) {
  drive.SetNvEntry(23, {50, 0x00});
  drive.SetNvEntry(1, {2, 0xC0});
  EXPECT_EQ(WriteNvField(ctx, "KVP", 0x21), code::kOk);
  EXPECT_EQ(WriteNvField(ctx, "KIP", 8), code::kOk);
  EXPECT_EQ(Log(), (Lines{NvGet(23, 50, 0), NvPut(23, 16, 0x12), NvGet(23, 16, 0x12), NvGet(1, 2, 0xC0),
                          NvPut(1, 2, 0xC1), NvGet(1, 2, 0xC1)}));

  // The read-back looks at the data only.
  drive.SetNvEntry(23, {50, 0x12});
  Fresh([](sim::FaultPlan& p) { p.DropNvWrite(23); });
  EXPECT_EQ(WriteNvField(ctx, "KVP", 0x21), code::kOk);
  EXPECT_EQ(Log().size(), 3u);
}

TEST_F(RegisterTransfers, TwoByteWriteStopsAtAFailedPutAndPwmMinusIsReadBack) {
  drive.SetNvEntry(13, {14, 0x05});
  drive.Faults().FailCall(Operation::kPutVarToEEPROM, 1, 3);
  EXPECT_EQ(WriteNvField(ctx, "CommOff", -1), 3);
  EXPECT_EQ(Log(), (Lines{NvGet(13, 14, 5), NvPut(13, 14, 0xF5, 3)}));

  Fresh();
  EXPECT_EQ(WriteNvField(ctx, "CommOff", -1), code::kOk);
  EXPECT_EQ(Log(), (Lines{NvGet(13, 14, 5), NvPut(13, 14, 0xF5), NvPut(14, 15, 0xFF), NvGet(14, 15, 0xFF),
                          NvGet(13, 14, 0xF5)}));

  drive.SetNvEntry(4, {5, 0});
  drive.SetNvEntry(5, {6, 0});
  Fresh([](sim::FaultPlan& p) { p.DropNvWrite(5, Persistence::kAlways); });
  const Lines attempt{NvGet(4, 5, 0), NvPut(4, 5, 0xCA), NvPut(5, 6, 0xEB), NvGet(5, 6, 0),
                      NvGet(4, 5, 0xCA)};
  const Lines retry{NvGet(4, 5, 0xCA), NvPut(4, 5, 0xCA), NvPut(5, 6, 0xEB), NvGet(5, 6, 0),
                    NvGet(4, 5, 0xCA)};
  EXPECT_EQ(WriteNvField(ctx, "PWMMinus", -5174), code::kTransferError);
  EXPECT_EQ(Log(), Concat({attempt, retry}));
}

TEST_F(RegisterTransfers, WideWriteIgnoresPutResultsAndLetsTheReadBackDecide) {
  drive.Faults().FailCall(Operation::kPutVarToEEPROM, 2, 3);
  EXPECT_EQ(WriteNvField(ctx, "FBDivisor", 0x01020304), code::kOk);
  const Lines puts{NvPut(63, 99, 4), NvPut(64, 100, 3), NvPut(65, 101, 2), NvPut(66, 102, 1)};
  const Lines reads{NvGet(66, 102, 1), NvGet(65, 101, 2), NvGet(64, 100, 3), NvGet(63, 99, 4)};
  const Lines lines = Log();
  ASSERT_EQ(lines.size(), 16u);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 4),
            (Lines{NvPut(63, 99, 4), NvPut(64, 100, 3, 3), NvPut(65, 101, 2), NvPut(66, 102, 1)}));
  EXPECT_EQ(Lines(lines.begin() + 8, lines.end()), Concat({puts, reads}));
}

TEST_F(RegisterTransfers, BiquadCoefficientIsTheIndirectWriteSequence) {
  drive.Faults().DropNvWrite(94);  // not read back
  EXPECT_EQ(WriteNvField(ctx, "BQ1K1", 0x1234), code::kOk);
  EXPECT_EQ(Log(), (Lines{NvPut(93, 42, 10), NvPut(94, 108, 0x34), NvPut(95, 42, 11), NvPut(96, 108, 0x12)}));

  drive.Faults().FailCall(Operation::kPutVarToEEPROM, 3, 6);
  EXPECT_EQ(WriteNvField(ctx, "BQ1K1", 0x1234), code::kSystemError);
}

TEST_F(RegisterTransfers, LoadingABiquadCoefficientStoresItInTheNode) {
  drive.SetNvEntry(94, {108, 0x34});
  drive.SetNvEntry(96, {108, 0x12});
  EXPECT_EQ(LoadFromNv(ctx, "BQ1K1", 3), code::kOk);
  EXPECT_EQ(Log(), (Lines{NvPut(93, 42, 10), NvGet(94, 108, 0x34), NvPut(95, 42, 11), NvGet(96, 108, 0x12)}));
  EXPECT_EQ(Store("BQ1K1", 3), 0x1234);
  EXPECT_EQ(Store("BQ1K1", 0), 10989);

  EXPECT_EQ(LoadFromNv(ctx, "BQ1K1", 9), code::kOk);  // outside 0-6: the drive's node
  EXPECT_EQ(Store("BQ1K1", 0), 0x1234);

  drive.Faults().FailCall(Operation::kGetVarFromEEPROM, 2, 3);
  EXPECT_EQ(LoadFromNv(ctx, "BQ1K1", 4), code::kSystemError);
  EXPECT_EQ(Store("BQ1K1", 4), 10989);
}

// ---------------------------------------------------------- store moves

// The drive's logic version as every part of the library asks for it: read
// now outside an operation, the operation's own answer inside one, and 0
// with the read's code when it cannot be read.
TEST_F(RegisterTransfers, LogicVersionHasOneAnswerAndOneFailurePolicyForEveryCaller) {
  const std::string read = "GetVarFromFPGA(30) -> 1 [4]", failed = "GetVarFromFPGA(30) -> ";
  // insideOperation: the operation read LogicVer before the fault; failure:
  // what the FPGA reads answer after that (1: none). Each case asks twice,
  // ReadLogicVersion then LogicVersionOrOldest; a setting is read twice, and
  // a failed first read ends the question.
  const std::tuple<bool, int32_t, Result, int32_t, std::vector<std::string>> cases[] = {
      {false, 1, 1, 4, {read, read, read, read}},
      {false, 0, 0, 0, {failed + "0", failed + "0"}},
      {false, 4, 4, 0, {failed + "4", failed + "4"}},
      {true, 0, 1, 4, {read, read}},  // the operation's answer: its own read only
  };
  for (const auto& [insideOperation, failure, expected, logicVersion, traffic] : cases) {
    SCOPED_TRACE(traffic.size());
    drive.Faults().Clear();
    drive.Log().Clear();
    OperationFacts facts(ctx);
    if (insideOperation) {
      ASSERT_EQ(facts.Read(FactNeeds{.logicVersion = true}, Context::kNone), 1);
    }
    if (failure != 1) drive.Faults().FailEveryCall(Operation::kGetVarFromFPGA, failure);
    int32_t answer = -1;
    EXPECT_EQ(ReadLogicVersion(ctx, answer), expected);
    EXPECT_EQ(answer, logicVersion);
    EXPECT_EQ(LogicVersionOrOldest(ctx), logicVersion);
    EXPECT_EQ(drive.Log().Lines(), traffic);
  }
}

// ---------------------------------------------------------- current limits

TEST_F(RegisterTransfersOldLogic, CurrentLimitIsATwoBitFieldInRegister13) {
  SetFpga({{13, 0x8F}});
  const Lines logic{FpgaGet(30, 2), FpgaGet(30, 2)};
  EXPECT_EQ(WriteRegisterOnline(ctx, "ILmtPlus", 2, 0), code::kOk);
  EXPECT_EQ(Log(), Concat({logic, logic, {FpgaGet(13, 0x8F), FpgaPut(13, 0x8B), FpgaGet(13, 0x8B)}}));

  // The two-bit range applies: 1 passes although the 8-bit range starts at 105.
  registers.SetCurrentLimitLayout(4);
  EXPECT_EQ(WriteRegisterOnline(ctx, "ILmtMinus", 1, 0), code::kOk);
  EXPECT_EQ(drive.FpgaByte(13), 0x89);

  registers.SetCurrentLimitLayout(4);
  Fresh();
  EXPECT_EQ(WriteRegisterOnline(ctx, "ILmtPlus", 4, 0), code::kOutOfRange);
  EXPECT_EQ(Log(), logic);

  Fresh();
  int32_t raw = -1;
  EXPECT_EQ(ReadRegisterOnline(ctx, "ILmtMinus", raw), code::kOk);
  EXPECT_EQ(raw, 1);
  EXPECT_EQ(Log(), Concat({logic, logic, {FpgaGet(13, 0x89), FpgaGet(13, 0x89)}}));
}

TEST_F(RegisterTransfersOldLogic, StoreToNvMapsEightBitLimitsToSteps) {
  drive.SetNvEntry(12, {13, 0x81});
  EXPECT_EQ(StoreToNv(ctx, "ILmtPlus", 0), code::kOk);  // raw 151 as loaded
  const Lines logic{FpgaGet(30, 2), FpgaGet(30, 2)};
  EXPECT_EQ(Log(), Concat({logic, logic, {NvGet(12, 13, 0x81), NvPut(12, 13, 0x8D), NvGet(12, 13, 0x8D)}}));

  // Raw values at the edges of each step; ILmtPlus's step is in bits 3-2.
  const std::tuple<const char*, int32_t, int> cases[] = {
      {"ILmtPlus", 38, 0},   {"ILmtPlus", 39, 1},   {"ILmtPlus", 77, 1},   {"ILmtPlus", 78, 2},
      {"ILmtPlus", 114, 2},  {"ILmtPlus", 115, 3},  {"ILmtMinus", 218, 0}, {"ILmtMinus", 217, 1},
      {"ILmtMinus", 180, 1}, {"ILmtMinus", 179, 2}, {"ILmtMinus", 142, 2}, {"ILmtMinus", 141, 3}};
  for (const auto& [name, raw, step] : cases) {
    SCOPED_TRACE(std::string(name) + " " + N(raw));
    registers.SetCurrentLimitLayout(4);  // the value is in the 8-bit form
    Store(name, 1) = raw;
    EXPECT_EQ(StoreToNv(ctx, name, 1), code::kOk);
    const int shift = std::string_view(name) == "ILmtPlus" ? 2 : 0;
    EXPECT_EQ((drive.NvEntryAt(12).data >> shift) & 3, step);
  }

  // Already in the two-bit form: written as it is.
  Store("ILmtPlus", 1) = 2;
  EXPECT_EQ(StoreToNv(ctx, "ILmtPlus", 1), code::kOk);
  EXPECT_EQ((drive.NvEntryAt(12).data >> 2) & 3, 2);
}

// ------------------------------------------------------- online write range

TEST_F(RegisterTransfers, WriteIsRangeCheckedBeforeAnyWrite) {
  const std::tuple<const char*, int32_t, int32_t, Result> cases[] = {
      {"KVP", 256, 0, code::kOutOfRange},       {"KVP", -1, 0, code::kOutOfRange},
      {"Command", 20000, 0, code::kOutOfRange}, {"Command", 20000, 1, code::kOk},
      {"Command", -19336, 0, code::kOk},        {"EnDatPPR", 5, 1, code::kOutOfRange},
      {"FBDivisor", 0, 0, code::kOutOfRange},   {"FBDivisor", -5, 0, code::kOk},
      {"fbdivisor", -5, 0, code::kOutOfRange},  // the stored 1..-1 range admits nothing
      {"ILmtMinus", 104, 0, code::kOutOfRange}, {"ILmtMinus", 257, 0, code::kOutOfRange},
      {"ILmtMinus", 0, 0, code::kOk},           {"ILmtMinus", 105, 0, code::kOk},
      {"ILmtMinus", 200, 1, code::kOk},         {"ILmtMinus", 256, 0, code::kTransferError},  // encodes as 0
  };
  for (const auto& [name, value, units, expected] : cases) {
    SCOPED_TRACE(std::string(name) + " " + N(value));
    Fresh();
    EXPECT_EQ(WriteRegisterOnline(ctx, name, value, units), expected);
    if (expected != code::kOutOfRange) continue;
    // Only the current limits ask the drive for its logic version first.
    const bool limit = std::string_view(name) == "ILmtMinus";
    EXPECT_EQ(Log(), limit ? (Lines{FpgaGet(30, 4), FpgaGet(30, 4)}) : Lines{});
  }
}

// --------------------------------------------------------------- NV erase

TEST_F(RegisterTransfers, ErasesTheUnusedEntriesInOrderRetryingABusyEntryOnce) {
  drive.SetNvEntry(137, {1, 2});
  drive.SetNvEntry(231, {1, 2});
  const sim::NvEntry lastUsed = drive.NvEntryAt(136);
  EXPECT_EQ(EraseUnusedNv(ctx), code::kOk);
  Lines all;
  for (int entry = 137; entry <= 230; ++entry) all.push_back(Erase(entry));
  EXPECT_EQ(Log(), all);
  EXPECT_EQ(drive.NvEntryAt(137), sim::kErasedNvEntry);
  EXPECT_EQ(drive.NvEntryAt(136), lastUsed);
  EXPECT_EQ(drive.NvEntryAt(231), (sim::NvEntry{1, 2}));

  constexpr Operation kErase = Operation::kNVEraseUnit;
  const std::tuple<Plan, Result, Lines, std::size_t> cases[] = {
      {Failing({{kErase, 4, 2}}),
       code::kOk,
       {Erase(137), Erase(138), Erase(139), Erase(140, 2), Erase(140), Erase(141)},
       95},  // 2: busy
      {Failing({{kErase, 4, 2}, {kErase, 5, 2}}),
       2,
       {Erase(137), Erase(138), Erase(139), Erase(140, 2), Erase(140, 2)},
       5},
      {Failing({{kErase, 5, 3}}), 3, {Erase(137), Erase(138), Erase(139), Erase(140), Erase(141, 3)}, 5},
      {Failing({{kErase, 1, 2}, {kErase, 2, 6}}), 6, {Erase(137, 2), Erase(137, 6)}, 2},
  };
  for (const auto& [faults, expected, head, calls] : cases) {
    SCOPED_TRACE(expected);
    Fresh(faults);
    EXPECT_EQ(EraseUnusedNv(ctx), expected);
    const Lines lines = Log();
    ASSERT_EQ(lines.size(), calls);
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(head.size())), head);
  }
}

// ---------------------------------------------------------- motor memory

TEST_F(RegisterTransfers, HighAddressSetsBit8AndRestoresRegister43) {
  uint8_t byte = 0;
  EXPECT_EQ(ReadMotorMemoryByte(ctx, 512, byte), code::kWrongData);
  EXPECT_EQ(ReadMotorDataByte(ctx, 384, byte), code::kWrongData);
  EXPECT_TRUE(Log().empty());

  SetFpga({{43, 0x5A}});
  drive.SetMotorByte(300, 0x77);
  drive.SetMotorByte(383, 0x66);
  EXPECT_EQ(ReadMotorMemoryByte(ctx, 300, byte), code::kOk);
  EXPECT_EQ(byte, 0x77);
  EXPECT_EQ(Log(), (Lines{FpgaGet(43, 0x5A), FpgaPut(43, 1), FpgaPut(42, 44), FpgaGet(44, 0x77),
                          FpgaPut(43, 0x5A)}));

  Fresh();
  EXPECT_EQ(ReadMotorDataByte(ctx, 383, byte), code::kOk);
  EXPECT_EQ(byte, 0x66);
  EXPECT_EQ(Log(), (Lines{FpgaPut(43, 1), FpgaPut(42, 127), FpgaGet(44, 0x66)}));
}

TEST_F(RegisterTransfers, EachAccessIsRepeatedOnceAfterAFailure) {
  constexpr Operation kGet = Operation::kGetVarFromFPGA, kPut = Operation::kPutVarToFPGA;
  const std::string keep = FpgaGet(43, 0x5A), high = FpgaPut(43, 0), low = FpgaPut(42, 5),
                    data = FpgaGet(44, 0x77), restore = FpgaPut(43, 0x5A),
                    failedRestore = FpgaPut(43, 0x5A, 6);
  const std::tuple<std::vector<Failure>, Result, Lines> cases[] = {
      {{{kPut, 1, 3}}, code::kOk, {keep, FpgaPut(43, 0, 3), high, low, data, restore}},
      {{{kPut, 2, 3}}, code::kOk, {keep, high, FpgaPut(42, 5, 3), low, data, restore}},
      {{{kGet, 2, 3}}, code::kOk, {keep, high, low, "GetVarFromFPGA(44) -> 3", data, restore}},
      // Register 43 is put back also when the byte could not be read.
      {{{kGet, 1, 6, 44}, {kGet, 2, 6, 44}},
       6,
       {keep, high, low, "GetVarFromFPGA(44) -> 6", "GetVarFromFPGA(44) -> 6", restore}},
      {{{kGet, 1, 3}}, code::kSystemError, {"GetVarFromFPGA(43) -> 3"}},
      // A failed restore is made once more and reported when it fails again.
      {{{kPut, 2, 6, 43}}, code::kOk, {keep, high, low, data, failedRestore, restore}},
      {{{kPut, 2, 6, 43}, {kPut, 3, 6, 43}}, 6, {keep, high, low, data, failedRestore, failedRestore}},
  };
  drive.SetMotorByte(5, 0x77);
  for (const auto& [failures, expected, log] : cases) {
    SCOPED_TRACE(log.size());
    SetFpga({{43, 0x5A}});
    Fresh(Failing(failures));
    uint8_t byte = 0;
    EXPECT_EQ(ReadMotorMemoryByte(ctx, 5, byte), expected);
    EXPECT_EQ(Log(), log);
  }
}

}  // namespace
}  // namespace svodb
