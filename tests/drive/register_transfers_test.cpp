#include "drive/register_transfers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
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

using code::kOk;
using code::kSystemError;
using code::kTransferError;
using sim::Operation;
using sim::Persistence;
using Lines = std::vector<std::string>;
using Bytes = std::vector<std::pair<int, int>>;             // FPGA address, content
using Entries = std::vector<std::pair<int, sim::NvEntry>>;  // NV entry, content
using Plan = std::function<void(sim::FaultPlan&)>;
constexpr Operation kGet = Operation::kGetVarFromFPGA, kPut = Operation::kPutVarToFPGA;
constexpr Operation kNvGet = Operation::kGetVarFromEEPROM, kNvPut = Operation::kPutVarToEEPROM;
constexpr Persistence kAlways = Persistence::kAlways;

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
Plan DropFpga(int address, Persistence persistence = Persistence::kOnce) {
  return [=](sim::FaultPlan& p) { p.DropFpgaWrite(address, persistence); };
}
Plan DropNv(int entry, Persistence persistence = Persistence::kOnce) {
  return [=](sim::FaultPlan& p) { p.DropNvWrite(entry, persistence); };
}

std::string N(int value) { return std::to_string(value); }
std::string Get(int address, int value) {
  return "GetVarFromFPGA(" + N(address) + ") -> 1 [" + N(value) + "]";
}
std::string Put(int address, int value, int result = 1) {
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

enum Call : uint8_t { kReadFpga, kReadNv, kReadOnline, kWriteFpga, kWriteNv, kWriteOnline };

// One transfer: what the drive holds first and the faults it shows, then
// what must come of the call: its result, the raw value a read gives and
// the traffic.
struct Row {
  Row(Call c, const char* n, int32_t v, Result r, Lines t, Bytes f = {}, Entries e = {}, Plan p = {})
      : call(c),
        name(n),
        value(v),
        code(r),
        traffic(std::move(t)),
        fpga(std::move(f)),
        nv(std::move(e)),
        faults(std::move(p)) {}
  Call call;
  const char* name;
  int32_t value;  // the raw written, or the raw a successful read gives
  Result code;
  Lines traffic;
  Bytes fpga;
  Entries nv;
  Plan faults;
};

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
  Result Run(Call call, std::string_view name, int32_t value, int32_t& raw) {
    switch (call) {
      case kReadFpga: return ReadFpgaField(ctx, name, raw);
      case kReadNv: return ReadNvField(ctx, name, raw);
      case kReadOnline: return ReadRegisterOnline(ctx, name, raw);
      case kWriteFpga: return WriteFpgaField(ctx, name, value);
      case kWriteNv: return WriteNvField(ctx, name, value);
      case kWriteOnline: return WriteRegisterOnline(ctx, name, value, 0);
    }
    return code::kSystemError;
  }
  void Expect(const Row& row) {
    SCOPED_TRACE(std::string(row.name) + " " + N(row.call) + " " + N(row.value) + " " +
                 N(static_cast<int>(row.traffic.size())));
    SetFpga(row.fpga);
    for (const auto& [entry, content] : row.nv) drive.SetNvEntry(static_cast<uint8_t>(entry), content);
    Fresh(row.faults);
    int32_t raw = 0;
    EXPECT_EQ(Run(row.call, row.name, row.value, raw), row.code);
    EXPECT_EQ(Log(), row.traffic);
    if (row.call <= kReadOnline && row.code == kOk) {
      EXPECT_EQ(raw, row.value);
    }
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
  for (const Call call : {kReadFpga, kReadOnline}) {
    for (const auto& [name, bytes, reads, value] : cases) {
      Lines expected;
      for (int address : reads) {
        for (const auto& [a, v] : bytes)
          if (a == address) expected.push_back(Get(a, v));
      }
      Expect({call, name, value, kOk, expected, bytes});
    }
  }
}

TEST_F(RegisterTransfers, ReadsFailAsTheDriveAnswers) {
  drive.SetBiquadByte(10, 0x34);
  drive.SetBiquadByte(11, 0x12);
  const Bytes gearIn{{81, 0x12}, {80, 0x34}}, command{{10, 1}, {9, 0}};
  const Lines commandTwice{Get(10, 1), Get(9, 0), Get(10, 0), Get(9, 0)};
  const Entries entries{{39, {81, 0x12}}, {38, {0x55, 0x34}}};  // the lower entry's register is not checked
  const Plan secondKvp = [](sim::FaultPlan& p) { p.ChangeSecondRead(16); };
  const Plan secondCommand = [](sim::FaultPlan& p) { p.ChangeSecondRead(10); };
  const auto distort = [](int call) { return [=](sim::FaultPlan& p) { p.DistortCall(kNvGet, call); }; };
  const Row rows[] = {
      Row(kReadFpga, "KVP", 0, kTransferError, {Get(16, 0x12), Get(16, 0x13)}, {{16, 0x12}}, {}, secondKvp),
      // The command moves with the motor: its second read stands, but only
      // under that exact spelling.
      Row(kReadFpga, "Command", 0, kOk, commandTwice, command, {}, secondCommand),
      Row(kReadFpga, "command", 0, kTransferError, commandTwice, command, {}, secondCommand),
      // A transport failure passes through unchanged.
      Row(kReadFpga, "GearIn", 0, 3, {Get(81, 0x12), "GetVarFromFPGA(80) -> 3"}, gearIn, {},
          Failing({{kGet, 2, 3}})),
      Row(kReadFpga, "GearIn", 0, 6, {Get(81, 0x12), Get(80, 0x34), "GetVarFromFPGA(81) -> 6"}, gearIn, {},
          Failing({{kGet, 3, 6}})),
      Row(kReadFpga, "GearIn", 0, 2, {Get(81, 0x12), Get(80, 0x34), Get(81, 0x12), "GetVarFromFPGA(80) -> 2"},
          gearIn, {}, Failing({{kGet, 4, 2}})),
      // A biquad coefficient is read through the address register.
      Row(kReadFpga, "BQ1K1", 0x1234, kOk, {Put(42, 10), Get(108, 0x34), Put(42, 11), Get(108, 0x12)}),
      Row(kReadFpga, "BQ1K1", 0, kSystemError, {Put(42, 10), "GetVarFromFPGA(108) -> 3"}, {}, {},
          Failing({{kGet, 1, 3}})),
      Row(kReadNv, "GearIn", 0x1234, kOk,
          Concat(
              {{NvGet(39, 81, 0x12), NvGet(38, 0x55, 0x34)}, {NvGet(39, 81, 0x12), NvGet(38, 0x55, 0x34)}}),
          {}, entries),
      Row(kReadNv, "GearIn", 0, code::kNvAddressMismatch, {NvGet(39, 50, 0x12)}, {}, entries,
          [](sim::FaultPlan& p) { p.ReportWrongNvRegister(39, 50); }),
      // Either entry's data changing between the reads fails.
      Row(kReadNv, "GearIn", 0, kTransferError,
          {NvGet(39, 81, 0x12), NvGet(38, 0x55, 0x34), NvGet(39, 81, 0x13), NvGet(38, 0x55, 0x34)}, {},
          entries, distort(3)),
      Row(kReadNv, "GearIn", 0, kTransferError,
          {NvGet(39, 81, 0x12), NvGet(38, 0x55, 0x34), NvGet(39, 81, 0x12), NvGet(38, 0x55, 0x35)}, {},
          entries, distort(4)),
  };
  for (const Row& row : rows) Expect(row);
}

TEST_F(RegisterTransfers, UnknownNameAndSerialNumberAreRefusedBeforeAnyTraffic) {
  for (int call = 0; call < 10; ++call) {
    SCOPED_TRACE(call);
    const auto run = [&](std::string_view name) {
      int32_t raw = 0;
      switch (call) {
        case 6: return LoadFromDrive(ctx, name, 0);
        case 7: return LoadFromNv(ctx, name, 0);
        case 8: return StoreToDrive(ctx, name, 0);
        case 9: return StoreToNv(ctx, name, 0);
        default: return Run(static_cast<Call>(call), name, 1, raw);
      }
    };
    EXPECT_EQ(run("NoSuchRegister"), code::kInvalidParameter);
    // 24 bytes: only the online strings move the serial number.
    EXPECT_EQ(run("SerialNum"), kSystemError);
    EXPECT_TRUE(Log().empty());
  }
}

TEST_F(RegisterTransfers, WritesReadWhatTheyShareWriteInOrderAndReadBack) {
  const Lines posFb{Put(45, 3), Put(46, 2), Put(47, 1), Get(47, 0), Get(46, 0), Get(45, 0)};
  const Lines kvpLost{Get(16, 0), Put(16, 0x12), Get(16, 0), Get(16, 0), Put(16, 0x12)};
  const Lines kvpNvLost{NvGet(23, 16, 0), NvPut(23, 16, 0x12), NvGet(23, 16, 0), NvGet(23, 16, 0),
                        NvPut(23, 16, 0x12)};
  const Lines pwmNv{NvPut(4, 5, 0xCA), NvPut(5, 6, 0xEB), NvGet(5, 6, 0), NvGet(4, 5, 0xCA)};
  const Lines fbDivisorPuts{NvPut(63, 99, 4), NvPut(64, 100, 3), NvPut(65, 101, 2), NvPut(66, 102, 1)};
  const Lines fbDivisorReads{NvGet(66, 102, 1), NvGet(65, 101, 2), NvGet(64, 100, 3), NvGet(63, 99, 4)};
  const Entries kvpEntry{{23, {16, 0}}}, pwmEntries{{4, {5, 0}}, {5, {6, 0}}};
  const Row rows[] = {
      // One byte: the other registers' bits are kept (KIP's 3-bit halves swapped).
      Row(kWriteFpga, "KIP", 8, kOk, {Get(2, 0xC0), Put(2, 0xC1), Get(2, 0xC1)}, {{2, 0xC0}}),
      Row(kWriteFpga, "CmdSrc", 2, kOk, {Get(1, 0x8D), Put(1, 0xAD), Get(1, 0xAD)}, {{1, 0x8D}}),
      Row(kWriteFpga, "DInp2Pol", 0, kOk, {Get(74, 0x1F), Put(74, 0x1D), Get(74, 0x1D)}, {{74, 0x1F}}),
      Row(kWriteFpga, "HstSet", -88, kOk, {Get(39, 0), Put(39, 0xA8), Get(39, 0xA8)}, {{39, 0}}),
      // Two bytes: the shared lower byte is read, written first and read back last.
      Row(kWriteFpga, "CommOff", -1, kOk,
          {Get(14, 0x05), Put(14, 0xF5), Put(15, 0xFF), Get(15, 0xFF), Get(14, 0xF5)}, {{14, 0x05}, {15, 0}}),
      // A lost upper byte is written once more, after the shared byte is read again.
      Row(kWriteFpga, "PWMMinus", -5174, kOk,
          {Get(5, 0), Put(5, 0xCA), Put(6, 0xEB), Get(6, 0x00), Get(5, 0xCA), Get(5, 0xCA), Put(5, 0xCA),
           Put(6, 0xEB), Get(6, 0xEB), Get(5, 0xCA)},
          {{5, 0}, {6, 0}}, {}, DropFpga(6)),
      // Wide fields: lowest address first, nothing read first.
      Row(kWriteFpga, "FBDivisor", 0x01020304, kOk,
          {Put(99, 4), Put(100, 3), Put(101, 2), Put(102, 1), Get(102, 1), Get(101, 2), Get(100, 3),
           Get(99, 4)}),
      // The position counter belongs to the drive: never confirmed.
      Row(kWriteFpga, "PosFB", 0x010203, kTransferError, Concat({posFb, posFb})),
      // A write that does not stick is made once more.
      Row(kWriteFpga, "KVP", 0x21, kOk, Concat({kvpLost, {Get(16, 0x12)}}), {{16, 0}}, {}, DropFpga(16)),
      Row(kWriteFpga, "KVP", 0x21, kTransferError, Concat({kvpLost, {Get(16, 0)}}), {{16, 0}}, {},
          DropFpga(16, kAlways)),
      Row(kWriteNv, "KVP", 0x21, kOk, Concat({kvpNvLost, {NvGet(23, 16, 0x12)}}), {}, kvpEntry, DropNv(23)),
      Row(kWriteNv, "KVP", 0x21, kTransferError, Concat({kvpNvLost, {NvGet(23, 16, 0)}}), {}, kvpEntry,
          DropNv(23, kAlways)),
      // A failing read of the shared byte or entry, or of the read-back, passes through.
      Row(kWriteFpga, "KVP", 1, 6, {"GetVarFromFPGA(16) -> 6"}, {{16, 0}}, {}, Failing({{kGet, 1, 6}})),
      Row(kWriteFpga, "KVP", 1, 6, {Get(16, 0), Put(16, 0x10), "GetVarFromFPGA(16) -> 6"}, {{16, 0}}, {},
          Failing({{kGet, 2, 6}})),
      Row(kWriteNv, "KVP", 1, 6, {"GetVarFromEEPROM(23) -> 6"}, {}, kvpEntry, Failing({{kNvGet, 1, 6}})),
      Row(kWriteNv, "KVP", 1, 6, {NvGet(23, 16, 0), NvPut(23, 16, 0x10), "GetVarFromEEPROM(23) -> 6"}, {},
          kvpEntry, Failing({{kNvGet, 2, 6}})),
      // An NV write repairs the entry's register; its read-back looks at the data only.
      Row(kWriteNv, "KVP", 0x21, kOk, {NvGet(23, 50, 0), NvPut(23, 16, 0x12), NvGet(23, 16, 0x12)}, {},
          {{23, {50, 0}}}),
      Row(kWriteNv, "KVP", 0x21, kOk, {NvGet(23, 50, 0x12), NvPut(23, 16, 0x12), NvGet(23, 50, 0x12)}, {},
          {{23, {50, 0x12}}}, DropNv(23)),
      Row(kWriteNv, "KIP", 8, kOk, {NvGet(1, 2, 0xC0), NvPut(1, 2, 0xC1), NvGet(1, 2, 0xC1)}, {},
          {{1, {2, 0xC0}}}),
      // Two bytes in NV: a failed put ends the write; PWMMinus is read back.
      Row(kWriteNv, "CommOff", -1, 3, {NvGet(13, 14, 5), NvPut(13, 14, 0xF5, 3)}, {}, {{13, {14, 5}}},
          Failing({{kNvPut, 1, 3}})),
      Row(kWriteNv, "CommOff", -1, kOk,
          {NvGet(13, 14, 5), NvPut(13, 14, 0xF5), NvPut(14, 15, 0xFF), NvGet(14, 15, 0xFF),
           NvGet(13, 14, 0xF5)},
          {}, {{13, {14, 5}}}),
      Row(kWriteNv, "PWMMinus", -5174, kTransferError,
          Concat({{NvGet(4, 5, 0)}, pwmNv, {NvGet(4, 5, 0xCA)}, pwmNv}), {}, pwmEntries, DropNv(5, kAlways)),
      // Wide fields in NV: the put results are ignored, the read-back decides.
      Row(kWriteNv, "FBDivisor", 0x01020304, kOk,
          Concat({{NvPut(63, 99, 4), NvPut(64, 100, 3, 3), NvPut(65, 101, 2), NvPut(66, 102, 1)},
                  {NvGet(66, 102, 1), NvGet(65, 101, 2), NvGet(64, 100, 0), NvGet(63, 99, 4)},
                  fbDivisorPuts,
                  fbDivisorReads}),
          {}, {{64, {100, 0}}}, Failing({{kNvPut, 2, 3}})),
      // A biquad coefficient in NV is the indirect write sequence, not read back.
      Row(kWriteNv, "BQ1K1", 0x1234, kOk,
          {NvPut(93, 42, 10), NvPut(94, 108, 0x34), NvPut(95, 42, 11), NvPut(96, 108, 0x12)}, {}, {},
          DropNv(94)),
      Row(kWriteNv, "BQ1K1", 0x1234, kSystemError,
          {NvPut(93, 42, 10), NvPut(94, 108, 0x34), NvPut(95, 42, 11, 6)}, {}, {}, Failing({{kNvPut, 3, 6}})),
  };
  for (const Row& row : rows) Expect(row);
}

TEST_F(RegisterTransfers, BiquadWriteSendsTheWholeBankWithTheDrivesStoreValues) {
  std::vector<int32_t> values{852, 10989, 128, 132, 852, 10989, 128, 132,
                              852, 10989, 128, 132, 0,   1549,  0,   219};
  ASSERT_EQ(registers.SetRawValue("BQ3K2", 777, 0, 0), code::kOk);
  ASSERT_EQ(registers.SetRawValue("BQ0B2", 999, 0, 1), code::kOk);  // an offline image: not sent
  values[15] = 777;
  values[5] = 0x1234;
  Lines bank;
  for (int i = 0; i < 16; ++i) {
    const int v = values[static_cast<std::size_t>(i)];
    for (const std::string& line : {Put(42, 2 * i), Put(108, v & 0xFF), Put(42, 2 * i + 1), Put(108, v >> 8)})
      bank.push_back(line);
  }
  Expect(Row(kWriteFpga, "bq1k1", 0x1234, kOk, bank));
  EXPECT_EQ(Store("BQ1K1", 0), 0x1234);
  EXPECT_EQ(Store("BQ1K1", 1), 10989);
  // A failing call ends the bank; the store keeps its value.
  Lines failed(bank.begin(), bank.begin() + 9);
  failed.push_back(Put(108, 128, 3));
  Expect(Row(kWriteFpga, "BQ1K1", 0x4321, kSystemError, failed, {}, {}, Failing({{kPut, 10, 3}})));
  EXPECT_EQ(Store("BQ1K1", 0), 0x1234);
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

  drive.Faults().FailCall(kNvGet, 2, 3);
  EXPECT_EQ(LoadFromNv(ctx, "BQ1K1", 4), code::kSystemError);
  EXPECT_EQ(Store("BQ1K1", 4), 10989);
}

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
    Fresh();
    OperationFacts facts(ctx);
    if (insideOperation) {
      ASSERT_EQ(facts.Read(FactNeeds{.logicVersion = true}, Context::kNone), 1);
    }
    if (failure != 1) drive.Faults().FailEveryCall(kGet, failure);
    int32_t answer = -1;
    EXPECT_EQ(ReadLogicVersion(ctx, answer), expected);
    EXPECT_EQ(answer, logicVersion);
    EXPECT_EQ(LogicVersionOrOldest(ctx), logicVersion);
    EXPECT_EQ(Log(), traffic);
  }
}

TEST_F(RegisterTransfersOldLogic, CurrentLimitIsATwoBitFieldInRegister13) {
  const Lines logic{Get(30, 2), Get(30, 2)};
  Expect(Row(kWriteOnline, "ILmtPlus", 2, kOk,
             Concat({logic, logic, {Get(13, 0x8F), Put(13, 0x8B), Get(13, 0x8B)}}), {{13, 0x8F}}));
  // The two-bit range applies: 1 passes although the 8-bit range starts at 105.
  registers.SetCurrentLimitLayout(4);
  EXPECT_EQ(WriteRegisterOnline(ctx, "ILmtMinus", 1, 0), code::kOk);
  EXPECT_EQ(drive.FpgaByte(13), 0x89);
  registers.SetCurrentLimitLayout(4);
  Expect(Row(kWriteOnline, "ILmtPlus", 4, code::kOutOfRange, logic));
  Expect(Row(kReadOnline, "ILmtMinus", 1, kOk, Concat({logic, logic, {Get(13, 0x89), Get(13, 0x89)}})));
}

TEST_F(RegisterTransfersOldLogic, StoreToNvMapsEightBitLimitsToSteps) {
  drive.SetNvEntry(12, {13, 0x81});
  EXPECT_EQ(StoreToNv(ctx, "ILmtPlus", 0), code::kOk);  // raw 151 as loaded
  const Lines logic{Get(30, 2), Get(30, 2)};
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
    EXPECT_EQ(Log(), limit ? (Lines{Get(30, 4), Get(30, 4)}) : Lines{});
  }
}

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

// Register 43 selects the motor memory's page; a read keeps its value and
// puts it back, and each access is repeated once after a failure.
TEST_F(RegisterTransfers, MotorMemoryReadsThroughRegister43) {
  uint8_t byte = 0;
  EXPECT_EQ(ReadMotorMemoryByte(ctx, 512, byte), code::kWrongData);
  EXPECT_EQ(ReadMotorDataByte(ctx, 384, byte), code::kWrongData);
  EXPECT_TRUE(Log().empty());
  drive.SetMotorByte(5, 0x77);
  drive.SetMotorByte(300, 0x78);
  drive.SetMotorByte(383, 0x66);
  const std::string keep = Get(43, 0x5A), high = Put(43, 0), low = Put(42, 5), data = Get(44, 0x77),
                    restore = Put(43, 0x5A), failedRestore = Put(43, 0x5A, 6);
  const std::tuple<int32_t, std::vector<Failure>, Result, Lines> cases[] = {
      {300, {}, kOk, {keep, Put(43, 1), Put(42, 44), Get(44, 0x78), restore}},
      {-383, {}, kOk, {Put(43, 1), Put(42, 127), Get(44, 0x66)}},  // motor data: nothing kept
      {5, {{kPut, 1, 3}}, kOk, {keep, Put(43, 0, 3), high, low, data, restore}},
      {5, {{kPut, 2, 3}}, kOk, {keep, high, Put(42, 5, 3), low, data, restore}},
      {5, {{kGet, 2, 3}}, kOk, {keep, high, low, "GetVarFromFPGA(44) -> 3", data, restore}},
      // Register 43 is put back also when the byte could not be read.
      {5,
       {{kGet, 1, 6, 44}, {kGet, 2, 6, 44}},
       6,
       {keep, high, low, "GetVarFromFPGA(44) -> 6", "GetVarFromFPGA(44) -> 6", restore}},
      {5, {{kGet, 1, 3}}, kSystemError, {"GetVarFromFPGA(43) -> 3"}},
      // A failed restore is made once more and reported when it fails again.
      {5, {{kPut, 2, 6, 43}}, kOk, {keep, high, low, data, failedRestore, restore}},
      {5, {{kPut, 2, 6, 43}, {kPut, 3, 6, 43}}, 6, {keep, high, low, data, failedRestore, failedRestore}},
  };
  for (const auto& [address, failures, expected, log] : cases) {
    SCOPED_TRACE(N(address) + " " + N(static_cast<int>(log.size())));
    SetFpga({{43, 0x5A}});
    Fresh(Failing(failures));
    byte = 0;
    EXPECT_EQ(address < 0 ? ReadMotorDataByte(ctx, -address, byte) : ReadMotorMemoryByte(ctx, address, byte),
              expected);
    EXPECT_EQ(Log(), log);
    if (expected == kOk) {
      EXPECT_EQ(byte, drive.MotorByte(static_cast<std::size_t>(std::abs(address))));
    }
  }
}

}  // namespace
}  // namespace svodb
