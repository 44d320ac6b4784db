#include "drive/register_transfers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <set>
#include <sstream>
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
using Plan = std::function<void(sim::FaultPlan&)>;
constexpr Operation kGet = Operation::kGetVarFromFPGA, kPut = Operation::kPutVarToFPGA;
constexpr Operation kNvGet = Operation::kGetVarFromEEPROM, kNvPut = Operation::kPutVarToEEPROM;
constexpr Persistence kAlways = Persistence::kAlways;

// A failing call: the call-th of the operation (counting only calls with
// that first argument, when one is given) answers code.
struct Failure {
  Operation operation;
  int call;
  int32_t code;
  std::optional<int32_t> argument = std::nullopt;
};
Plan Failing(std::vector<Failure> failures) {
  return [failures](sim::FaultPlan& p) {
    for (const Failure& f : failures) p.FailCall(f.operation, f.call, f.code, f.argument);
  };
}
Plan Fail(Operation operation, int call, int32_t code) { return Failing({{operation, call, code}}); }
Plan DropFpga(int address, Persistence persistence = Persistence::kOnce) {
  return [=](sim::FaultPlan& p) { p.DropFpgaWrite(address, persistence); };
}
Plan DropNv(int entry, Persistence persistence = Persistence::kOnce) {
  return [=](sim::FaultPlan& p) { p.DropNvWrite(entry, persistence); };
}

// A script of calls, one word a call: rA=V and wA=V read and write the
// FPGA byte at A, RE=G,V and WE=G,V read and write NV entry E (register G,
// data V), eE erases NV entry E. A call that answers C instead of 1 ends in
// !C; a failed read has no data. Calls() gives the drive's call log of a
// script; given the drive, it first sets what the first read of each FPGA
// byte and NV entry says the drive holds.
Lines Calls(std::string_view script, sim::VirtualDrive* drive = nullptr) {
  Lines lines;
  std::set<std::pair<char, int>> held;
  std::istringstream words{std::string(script)};
  for (std::string word; words >> word;) {
    char kind = 0;
    int where = 0, first = 0, second = 0;
    const int fields = std::sscanf(word.c_str(), "%c%i=%i,%i", &kind, &where, &first, &second);
    const std::size_t bang = word.find('!');
    const std::string result = bang == std::string::npos ? "1" : word.substr(bang + 1);
    const std::string at = "(" + std::to_string(where), one = std::to_string(first),
                      two = std::to_string(second);
    const std::string read = fields < 3 ? "" : fields == 3 ? " [" + one + "]" : " [" + one + ", " + two + "]";
    const auto u8 = [](int value) { return static_cast<uint8_t>(value); };
    if (drive != nullptr && fields >= 3 && held.insert({kind, where}).second) {
      if (kind == 'r') drive->SetFpgaByte(u8(where), u8(first));
      if (kind == 'R') drive->SetNvEntry(u8(where), {u8(first), u8(second)});
    }
    switch (kind) {
      case 'r': lines.push_back("GetVarFromFPGA" + at + ") -> " + result + read); break;
      case 'w': lines.push_back("PutVarToFPGA" + at + ", " + one + ") -> " + result); break;
      case 'R': lines.push_back("GetVarFromEEPROM" + at + ") -> " + result + read); break;
      case 'W': lines.push_back("PutVarToEEPROM" + at + ", " + one + ", " + two + ") -> " + result); break;
      case 'e': lines.push_back("NVEraseUnit" + at + ") -> " + result); break;
      default: ADD_FAILURE() << "no such call: " << word;
    }
  }
  return lines;
}

// The calls of a row: kRead and kWrite are the online ones. A row's value
// is the raw a read gives or a write writes, or the node a load or store takes.
enum Call { kReadFpga, kReadNv, kRead, kWriteFpga, kWriteNv, kWrite, kLoad, kLoadNv, kStore, kStoreNv };

// One transfer: the call, the faults the drive shows, and what must come
// of the call: its result, the raw value a read gives and the traffic,
// whose first reads say what the drive holds before the call.
struct Transfer {
  Call call;
  const char* name;
  int32_t value;
  Result code;
  std::string traffic;
  Plan faults;
};
Transfer Row(Call call, const char* name, int32_t value, Result code, std::string traffic, Plan faults = {}) {
  return Transfer{call, name, value, code, std::move(traffic), std::move(faults)};
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
  void Fresh(const Plan& plan = {}) {
    drive.Faults().Clear();
    drive.Log().Clear();
    if (plan) plan(drive.Faults());
  }
  int32_t& Store(std::string_view name, int node) {
    return registers.FindRegister(name)->raw[static_cast<std::size_t>(node)];
  }
  Result Run(Call call, std::string_view name, int32_t value, int32_t& raw) {
    switch (call) {
      case kReadFpga: return ReadFpgaField(ctx, name, raw);
      case kReadNv: return ReadNvField(ctx, name, raw);
      case kRead: return ReadRegisterOnline(ctx, name, raw);
      case kWriteFpga: return WriteFpgaField(ctx, name, value);
      case kWriteNv: return WriteNvField(ctx, name, value);
      case kWrite: return WriteRegisterOnline(ctx, name, value, 0);
      case kLoad: return LoadFromDrive(ctx, name, value);
      case kLoadNv: return LoadFromNv(ctx, name, value);
      case kStore: return StoreToDrive(ctx, name, value);
      case kStoreNv: return StoreToNv(ctx, name, value);
    }
    return kSystemError;
  }
  void Expect(const Transfer& row) {
    SCOPED_TRACE(std::string(row.name) + " " + std::to_string(row.value) + ": " + row.traffic);
    const Lines traffic = Calls(row.traffic, &drive);
    Fresh(row.faults);
    int32_t raw = 0;
    EXPECT_EQ(Run(row.call, row.name, row.value, raw), row.code);
    EXPECT_EQ(Log(), traffic);
    EXPECT_EQ(raw, row.call <= kRead && row.code == kOk ? row.value : raw);  // only a good read gives a value
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

// Each byte from the highest address down; a setting twice, a live value
// once. KVP's nibbles are swapped; CommOff ignores EncOut's bits.
TEST_F(RegisterTransfers, ReadsEachByteCountInItsOrderAndSettingsTwice) {
  const std::tuple<const char*, int32_t, const char*> cases[] = {
      {"KVP", 0x21, "r16=0x12 r16=0x12"},
      {"HSTemp", -16, "r38=0xF0"},
      {"GearIn", 0x1234, "r81=0x12 r80=0x34 r81=0x12 r80=0x34"},
      {"CommOff", -1, "r15=0xFF r14=0xF5 r15=0xFF r14=0xF5"},
      {"PWMMinus", -5174, "r6=0xEB r5=0xCA r6=0xEB r5=0xCA"},
      {"PosFB", 0x010203, "r47=1 r46=2 r45=3"},
      {"FBDivisor", -2147483647, "r102=0x80 r101=0 r100=0 r99=1 r102=0x80 r101=0 r100=0 r99=1"},
      {"AuxFBDivisor", 0x01020304, "r83=1 r82=2 r81=3 r80=4 r83=1 r82=2 r81=3 r80=4"},
  };
  for (const Call call : {kReadFpga, kRead})
    for (const auto& [name, value, traffic] : cases) Expect(Row(call, name, value, kOk, traffic));
}

TEST_F(RegisterTransfers, ReadsFailAsTheDriveAnswers) {
  drive.SetBiquadByte(10, 0x34);
  drive.SetBiquadByte(11, 0x12);
  const Plan secondKvp = [](sim::FaultPlan& p) { p.ChangeSecondRead(16); };
  const Plan secondCommand = [](sim::FaultPlan& p) { p.ChangeSecondRead(10); };
  const auto distort = [](int call) { return [=](sim::FaultPlan& p) { p.DistortCall(kNvGet, call); }; };
  const Transfer rows[] = {
      Row(kReadFpga, "KVP", 0, kTransferError, "r16=0x12 r16=0x13", secondKvp),
      // The command moves with the motor: its second read stands, but only
      // under that exact spelling.
      Row(kReadFpga, "Command", 0, kOk, "r10=1 r9=0 r10=0 r9=0", secondCommand),
      Row(kReadFpga, "command", 0, kTransferError, "r10=1 r9=0 r10=0 r9=0", secondCommand),
      // A transport failure passes through unchanged.
      Row(kReadFpga, "GearIn", 0, 3, "r81=0x12 r80!3", Fail(kGet, 2, 3)),
      Row(kReadFpga, "GearIn", 0, 6, "r81=0x12 r80=0x34 r81!6", Fail(kGet, 3, 6)),
      // A biquad coefficient is read through the address register.
      Row(kReadFpga, "BQ1K1", 0x1234, kOk, "w42=10 r108=0x34 w42=11 r108=0x12"),
      Row(kReadFpga, "BQ1K1", 0, kSystemError, "w42=10 r108!3", Fail(kGet, 1, 3)),
      // NV: only the top entry's register is checked; either entry's data
      // changing between the reads fails.
      Row(kReadNv, "GearIn", 0x1234, kOk, "R39=81,0x12 R38=0x55,0x34 R39=81,0x12 R38=0x55,0x34"),
      Row(kReadNv, "GearIn", 0, code::kNvAddressMismatch, "R39=50,0x12",
          [](sim::FaultPlan& p) { p.ReportWrongNvRegister(39, 50); }),
      Row(kReadNv, "GearIn", 0, kTransferError, "R39=81,0x12 R38=0x55,0x34 R39=81,0x13 R38=0x55,0x34",
          distort(3)),
      Row(kReadNv, "GearIn", 0, kTransferError, "R39=81,0x12 R38=0x55,0x34 R39=81,0x12 R38=0x55,0x35",
          distort(4)),
  };
  for (const Transfer& row : rows) Expect(row);
}

// The serial number's 24 bytes move only with the online strings.
TEST_F(RegisterTransfers, UnknownNameAndSerialNumberAreRefusedBeforeAnyTraffic) {
  for (int call = kReadFpga; call <= kStoreNv; ++call) {
    Expect(Row(static_cast<Call>(call), "NoSuchRegister", 1, code::kInvalidParameter, ""));
    Expect(Row(static_cast<Call>(call), "SerialNum", 1, kSystemError, ""));
  }
}

TEST_F(RegisterTransfers, WritesReadWhatTheyShareWriteInOrderAndReadBack) {
  const std::string posFb = "w45=3 w46=2 w47=1 r47=0 r46=0 r45=0 ";
  const Transfer rows[] = {
      // One byte: the other registers' bits are kept (KIP's 3-bit halves swapped).
      Row(kWriteFpga, "KIP", 8, kOk, "r2=0xC0 w2=0xC1 r2=0xC1"),
      Row(kWriteFpga, "CmdSrc", 2, kOk, "r1=0x8D w1=0xAD r1=0xAD"),
      Row(kWriteFpga, "DInp2Pol", 0, kOk, "r74=0x1F w74=0x1D r74=0x1D"),
      Row(kWriteFpga, "HstSet", -88, kOk, "r39=0 w39=0xA8 r39=0xA8"),
      // Two bytes: the shared lower byte is read, written first and read back last.
      Row(kWriteFpga, "CommOff", -1, kOk, "r14=5 w14=0xF5 w15=0xFF r15=0xFF r14=0xF5"),
      // A lost upper byte is written once more, after the shared byte is read again.
      Row(kWriteFpga, "PWMMinus", -5174, kOk,
          "r5=0 w5=0xCA w6=0xEB r6=0 r5=0xCA r5=0xCA w5=0xCA w6=0xEB r6=0xEB r5=0xCA", DropFpga(6)),
      // Wide fields: lowest address first, nothing read first.
      Row(kWriteFpga, "FBDivisor", 0x01020304, kOk, "w99=4 w100=3 w101=2 w102=1 r102=1 r101=2 r100=3 r99=4"),
      // The position counter belongs to the drive: never confirmed.
      Row(kWriteFpga, "PosFB", 0x010203, kTransferError, posFb + posFb),
      // A write that does not stick is made once more.
      Row(kWriteFpga, "KVP", 0x21, kOk, "r16=0 w16=0x12 r16=0 r16=0 w16=0x12 r16=0x12", DropFpga(16)),
      Row(kWriteFpga, "KVP", 0x21, kTransferError, "r16=0 w16=0x12 r16=0 r16=0 w16=0x12 r16=0",
          DropFpga(16, kAlways)),
      Row(kWriteNv, "KVP", 0x21, kOk, "R23=16,0 W23=16,0x12 R23=16,0 R23=16,0 W23=16,0x12 R23=16,0x12",
          DropNv(23)),
      Row(kWriteNv, "KVP", 0x21, kTransferError,
          "R23=16,0 W23=16,0x12 R23=16,0 R23=16,0 W23=16,0x12 R23=16,0", DropNv(23, kAlways)),
      // A failing read of the shared byte or entry, or of the read-back, passes through.
      Row(kWriteFpga, "KVP", 1, 6, "r16!6", Fail(kGet, 1, 6)),
      Row(kWriteFpga, "KVP", 1, 6, "r16=0 w16=0x10 r16!6", Fail(kGet, 2, 6)),
      Row(kWriteNv, "KVP", 1, 6, "R23!6", Fail(kNvGet, 1, 6)),
      Row(kWriteNv, "KVP", 1, 6, "R23=16,0 W23=16,0x10 R23!6", Fail(kNvGet, 2, 6)),
      // An NV write repairs the entry's register; its read-back looks at the data only.
      Row(kWriteNv, "KVP", 0x21, kOk, "R23=50,0 W23=16,0x12 R23=16,0x12"),
      Row(kWriteNv, "KVP", 0x21, kOk, "R23=50,0x12 W23=16,0x12 R23=50,0x12", DropNv(23)),
      Row(kWriteNv, "KIP", 8, kOk, "R1=2,0xC0 W1=2,0xC1 R1=2,0xC1"),
      // Two bytes in NV: a failed put ends the write; PWMMinus is read back.
      Row(kWriteNv, "CommOff", -1, 3, "R13=14,5 W13=14,0xF5!3", Fail(kNvPut, 1, 3)),
      Row(kWriteNv, "CommOff", -1, kOk, "R13=14,5 W13=14,0xF5 W14=15,0xFF R14=15,0xFF R13=14,0xF5"),
      Row(kWriteNv, "PWMMinus", -5174, kTransferError,
          "R4=5,0 W4=5,0xCA W5=6,0xEB R5=6,0 R4=5,0xCA R4=5,0xCA W4=5,0xCA W5=6,0xEB R5=6,0 R4=5,0xCA",
          DropNv(5, kAlways)),
      // Wide fields in NV: the put results are ignored, the read-back decides.
      Row(kWriteNv, "FBDivisor", 0x01020304, kOk,
          "W63=99,4 W64=100,3!3 W65=101,2 W66=102,1 R66=102,1 R65=101,2 R64=100,0 R63=99,4 "
          "W63=99,4 W64=100,3 W65=101,2 W66=102,1 R66=102,1 R65=101,2 R64=100,3 R63=99,4",
          Fail(kNvPut, 2, 3)),
      // A biquad coefficient in NV is the indirect write sequence, not read back.
      Row(kWriteNv, "BQ1K1", 0x1234, kOk, "W93=42,10 W94=108,0x34 W95=42,11 W96=108,0x12", DropNv(94)),
      Row(kWriteNv, "BQ1K1", 0x1234, kSystemError, "W93=42,10 W94=108,0x34 W95=42,11!6", Fail(kNvPut, 3, 6)),
  };
  for (const Transfer& row : rows) Expect(row);
}

TEST_F(RegisterTransfers, BiquadWriteSendsTheWholeBankWithTheDrivesStoreValues) {
  ASSERT_EQ(registers.SetRawValue("BQ3K2", 777, 0, 0), code::kOk);
  ASSERT_EQ(registers.SetRawValue("BQ0B2", 999, 0, 1), code::kOk);  // an offline image: not sent
  // The drive's defaults, the written coefficient at 5 and BQ3K2's stored 777 at 15.
  const std::vector<int32_t> values{852, 10989, 128, 132, 852, 0x1234, 128, 132,
                                    852, 10989, 128, 132, 0,   1549,   0,   777};
  std::string bank;
  for (int i = 0; i < 16; ++i) {
    const int v = values[static_cast<std::size_t>(i)];
    bank += "w42=" + std::to_string(2 * i) + " w108=" + std::to_string(v & 0xFF) +
            " w42=" + std::to_string(2 * i + 1) + " w108=" + std::to_string(v >> 8) + " ";
  }
  Expect(Row(kWriteFpga, "bq1k1", 0x1234, kOk, bank));
  EXPECT_EQ(std::pair(Store("BQ1K1", 0), Store("BQ1K1", 1)), std::pair(0x1234, 10989));
  // A failing call ends the bank; the store keeps its value.
  Expect(Row(kWriteFpga, "BQ1K1", 0x4321, kSystemError, bank.substr(0, bank.find("w108=128")) + "w108=128!3",
             Fail(kPut, 10, 3)));
  EXPECT_EQ(Store("BQ1K1", 0), 0x1234);
}

// Outside 0-6 the node is the drive's.
TEST_F(RegisterTransfers, LoadingABiquadCoefficientStoresItInTheNode) {
  const std::string traffic = "W93=42,10 R94=108,0x34 W95=42,11 R96=108,0x12";
  Expect(Row(kLoadNv, "BQ1K1", 3, kOk, traffic));
  EXPECT_EQ(std::pair(Store("BQ1K1", 3), Store("BQ1K1", 0)), std::pair(0x1234, 10989));
  Expect(Row(kLoadNv, "BQ1K1", 9, kOk, traffic));
  EXPECT_EQ(Store("BQ1K1", 0), 0x1234);
  Expect(Row(kLoadNv, "BQ1K1", 4, kSystemError, "W93=42,10 R94!3", Fail(kNvGet, 1, 3)));
  EXPECT_EQ(Store("BQ1K1", 4), 10989);
}

// The drive's logic version as every caller asks for it (ReadLogicVersion,
// then LogicVersionOrOldest): read now outside an operation, the operation's
// own answer inside one (read before the reads fail), and 0 with the read's
// code when it cannot be read; a failed first read ends the question.
TEST_F(RegisterTransfers, LogicVersionHasOneAnswerAndOneFailurePolicyForEveryCaller) {
  // Inside an operation, what the FPGA reads answer after it (1: no fault).
  const std::tuple<bool, int32_t, Result, int32_t, std::string> cases[] = {
      {false, 1, 1, 4, "r30=4 r30=4 r30=4 r30=4"},
      {false, 0, 0, 0, "r30!0 r30!0"},
      {false, 4, 4, 0, "r30!4 r30!4"},
      {true, 0, 1, 4, "r30=4 r30=4"},  // the operation's answer: its own read only
  };
  for (const auto& [insideOperation, failure, expected, logicVersion, traffic] : cases) {
    SCOPED_TRACE(traffic);
    Fresh();
    OperationFacts facts(ctx);
    if (insideOperation) {
      ASSERT_EQ(facts.Read(FactNeeds{.logicVersion = true}, Context::kNone), 1);
    }
    if (failure != 1) drive.Faults().FailEveryCall(kGet, failure);
    int32_t answer = -1;
    EXPECT_EQ(ReadLogicVersion(ctx, answer), expected);
    const int32_t oldest = LogicVersionOrOldest(ctx);
    EXPECT_EQ(std::tuple(answer, oldest, Log()), std::tuple(logicVersion, logicVersion, Calls(traffic)));
  }
}

TEST_F(RegisterTransfersOldLogic, StoreToNvMapsEightBitLimitsToSteps) {
  // Node 0 holds raw 151 as loaded.
  Expect(Row(kStoreNv, "ILmtPlus", 0, kOk, "r30=2 r30=2 r30=2 r30=2 R12=13,0x81 W12=13,0x8D R12=13,0x8D"));

  // Raw values at the edges of each step; ILmtPlus's step is in bits 3-2.
  const std::tuple<const char*, int32_t, int> cases[] = {
      {"ILmtPlus", 38, 0},   {"ILmtPlus", 39, 1},   {"ILmtPlus", 77, 1},   {"ILmtPlus", 78, 2},
      {"ILmtPlus", 114, 2},  {"ILmtPlus", 115, 3},  {"ILmtMinus", 218, 0}, {"ILmtMinus", 217, 1},
      {"ILmtMinus", 180, 1}, {"ILmtMinus", 179, 2}, {"ILmtMinus", 142, 2}, {"ILmtMinus", 141, 3}};
  for (const auto& [name, raw, step] : cases) {
    SCOPED_TRACE(std::string(name) + " " + std::to_string(raw));
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
    SCOPED_TRACE(std::string(name) + " " + std::to_string(value));
    Fresh();
    EXPECT_EQ(WriteRegisterOnline(ctx, name, value, units), expected);
    if (expected != code::kOutOfRange) continue;
    // Only the current limits ask the drive for its logic version first.
    EXPECT_EQ(Log(), Calls(std::string_view(name) == "ILmtMinus" ? "r30=4 r30=4" : ""));
  }
}

TEST_F(RegisterTransfers, ErasesTheUnusedEntriesInOrderRetryingABusyEntryOnce) {
  drive.SetNvEntry(137, {1, 2});
  drive.SetNvEntry(231, {1, 2});
  const sim::NvEntry lastUsed = drive.NvEntryAt(136);
  EXPECT_EQ(EraseUnusedNv(ctx), code::kOk);
  std::string all;
  for (int entry = 137; entry <= 230; ++entry) all += "e" + std::to_string(entry) + " ";
  EXPECT_EQ(Log(), Calls(all));
  EXPECT_EQ((std::array{drive.NvEntryAt(136), drive.NvEntryAt(137), drive.NvEntryAt(231)}),
            (std::array{lastUsed, sim::kErasedNvEntry, sim::NvEntry{1, 2}}));

  // The result, the first calls and their number; 2 is "busy".
  constexpr Operation kErase = Operation::kNVEraseUnit;
  const std::tuple<std::vector<Failure>, Result, std::string, std::size_t> cases[] = {
      {{{kErase, 4, 2}}, kOk, "e137 e138 e139 e140!2 e140 e141", 95},
      {{{kErase, 4, 2}, {kErase, 5, 2}}, 2, "e137 e138 e139 e140!2 e140!2", 5},
      {{{kErase, 5, 3}}, 3, "e137 e138 e139 e140 e141!3", 5},
      {{{kErase, 1, 2}, {kErase, 2, 6}}, 6, "e137!2 e137!6", 2},
  };
  for (const auto& [failures, expected, head, calls] : cases) {
    SCOPED_TRACE(head);
    Fresh(Failing(failures));
    EXPECT_EQ(EraseUnusedNv(ctx), expected);
    const Lines lines = Log(), first = Calls(head);
    ASSERT_EQ(lines.size(), calls);
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(first.size())), first);
  }
}

// Register 43 selects the motor memory's page; a read keeps its value and
// puts it back, and each access is repeated once after a failure. Motor
// data (a negative address here) keeps nothing.
TEST_F(RegisterTransfers, MotorMemoryReadsThroughRegister43) {
  uint8_t byte = 0;
  EXPECT_EQ(ReadMotorMemoryByte(ctx, 512, byte), code::kWrongData);
  EXPECT_EQ(ReadMotorDataByte(ctx, 384, byte), code::kWrongData);
  EXPECT_TRUE(Log().empty());
  for (const auto& [at, value] : {std::pair{5, 0x77}, std::pair{300, 0x78}, std::pair{383, 0x66}})
    drive.SetMotorByte(static_cast<std::size_t>(at), static_cast<uint8_t>(value));
  // clang-format off
  const std::tuple<int32_t, std::vector<Failure>, Result, std::string> cases[] = {
      {300, {}, kOk, "r43=0x5A w43=1 w42=44 r44=0x78 w43=0x5A"},
      {-383, {}, kOk, "w43=1 w42=127 r44=0x66"},
      {5, {{kPut, 1, 3}}, kOk, "r43=0x5A w43=0!3 w43=0 w42=5 r44=0x77 w43=0x5A"},
      {5, {{kPut, 2, 3}}, kOk, "r43=0x5A w43=0 w42=5!3 w42=5 r44=0x77 w43=0x5A"},
      {5, {{kGet, 2, 3}}, kOk, "r43=0x5A w43=0 w42=5 r44!3 r44=0x77 w43=0x5A"},
      // Register 43 is put back also when the byte could not be read.
      {5, {{kGet, 1, 6, 44}, {kGet, 2, 6, 44}}, 6, "r43=0x5A w43=0 w42=5 r44!6 r44!6 w43=0x5A"},
      {5, {{kGet, 1, 3}}, kSystemError, "r43!3"},
      // A failed restore is made once more and reported when it fails again.
      {5, {{kPut, 2, 6, 43}}, kOk, "r43=0x5A w43=0 w42=5 r44=0x77 w43=0x5A!6 w43=0x5A"},
      {5, {{kPut, 2, 6, 43}, {kPut, 3, 6, 43}}, 6, "r43=0x5A w43=0 w42=5 r44=0x77 w43=0x5A!6 w43=0x5A!6"},
  };
  // clang-format on
  for (const auto& [address, failures, expected, traffic] : cases) {
    SCOPED_TRACE(std::to_string(address) + ": " + traffic);
    drive.SetFpgaByte(43, 0x5A);
    Fresh(Failing(failures));
    byte = 0;
    EXPECT_EQ(address < 0 ? ReadMotorDataByte(ctx, -address, byte) : ReadMotorMemoryByte(ctx, address, byte),
              expected);
    // The byte is handed out once the drive gave it, whatever came after.
    const uint8_t read = traffic.find("r44=") != std::string::npos ? drive.MotorByte(std::abs(address)) : 0;
    EXPECT_EQ(std::tuple(Log(), byte), std::tuple(Calls(traffic), read));
  }
}

}  // namespace
}  // namespace svodb
