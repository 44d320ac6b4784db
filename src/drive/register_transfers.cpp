#include "drive/register_transfers.h"

#include <algorithm>
#include <array>
#include <optional>

#include "catalog/catalogue.h"
#include "drive/current_limits.h"
#include "drive/drive_facts.h"
#include "drive/one_repeat.h"
#include "drive/register_map.h"
#include "drive/transport.h"

namespace svodb {
namespace {

int32_t StoreIndex(int32_t node, int32_t lowest) { return node >= lowest && node <= 6 ? node : 0; }

// The old two-bit current-limit layout is in place while the connected
// drive's logic is below 3; a LogicVer that cannot be read leaves the
// layout as it is.
std::optional<int32_t> DriveLogicVersion(LibraryContext& ctx) {
  int32_t logicVersion = 0;
  if (ReadLogicVersion(ctx, logicVersion) != code::kOk) return std::nullopt;
  return logicVersion;
}

// The register's descriptor as the connected drive lays it out; every
// transfer starts here.
const RegisterDescriptor* DescribeRegister(LibraryContext& ctx, std::string_view name) {
  RegisterState* state = ctx.registers.FindRegister(name);
  if (state == nullptr) return nullptr;
  if (IsCurrentLimit(name)) {
    if (const auto logicVersion = DriveLogicVersion(ctx)) ctx.registers.SetCurrentLimitLayout(*logicVersion);
  }
  return &state->descriptor;
}

bool IsBiquad(const RegisterDescriptor& d) { return d.codec == 752; }

// ---- FPGA ----------------------------------------------------------------

Result ReadFpgaByte(Transport& transport, int32_t address, uint8_t& byte) {
  int32_t data = 0, unused = 0;
  const Result result = transport.GetVarFromFPGA(address, &data, &unused);
  byte = static_cast<uint8_t>(data & 0xFF);
  return result;
}

// Reads the field's bytes once, the named address first, and decodes them.
Result ReadFieldOnce(Transport& transport, const RegisterDescriptor& d, int32_t& raw) {
  const std::size_t length = FieldByteLength(d.byteCount);
  if (length == 0) return code::kSystemError;
  std::array<uint8_t, 4> bytes{};
  for (std::size_t i = 0; i < length; ++i) {
    const Result result = ReadFpgaByte(transport, d.fpgaAddress - static_cast<int32_t>(i), bytes[i]);
    if (result != code::kOk) return result;
  }
  return DecodeField(d, std::span<const uint8_t>(bytes.data(), length), raw);
}

Result ReadBiquadCoefficient(Transport& transport, int32_t address, int32_t& raw) {
  uint8_t low = 0, high = 0;
  if (transport.PutVarToFPGA(kIndirectAddressRegister, address) != code::kOk ||
      ReadFpgaByte(transport, kBiquadDataRegister, low) != code::kOk ||
      transport.PutVarToFPGA(kIndirectAddressRegister, address + 1) != code::kOk ||
      ReadFpgaByte(transport, kBiquadDataRegister, high) != code::kOk) {
    return code::kSystemError;
  }
  raw = high * 256 + low;
  return code::kOk;
}

Result WriteBiquadCoefficient(Transport& transport, int32_t address, int32_t raw) {
  if (transport.PutVarToFPGA(kIndirectAddressRegister, address) != code::kOk ||
      transport.PutVarToFPGA(kBiquadDataRegister, raw & 0xFF) != code::kOk ||
      transport.PutVarToFPGA(kIndirectAddressRegister, address + 1) != code::kOk ||
      transport.PutVarToFPGA(kBiquadDataRegister, (raw >> 8) & 0xFF) != code::kOk) {
    return code::kSystemError;
  }
  return code::kOk;
}

// The drive takes the biquad coefficients as one bank: all sixteen are
// written, the others with their node-0 store values.
Result WriteBiquadBank(LibraryContext& ctx, std::string_view name, int32_t raw) {
  const auto registers = ctx.registers.Registers();
  const std::string folded = FoldCase(name);
  for (std::size_t i = 0; i < 16; ++i) {
    const RegisterState& row = registers[ctx.registers.BiquadStart() + i];
    int32_t value = raw;
    if (FoldCase(row.descriptor.name) != folded) {
      const Result stored = ctx.registers.GetRawValue(row.descriptor.name, 0, value);
      if (stored != code::kOk) return stored;
    }
    const Result written = WriteBiquadCoefficient(ctx.transport, row.descriptor.fpgaAddress, value);
    if (written != code::kOk) return written;
  }
  return ctx.registers.SetRawValue(name, raw, 0, 0);
}

// Writes the field's bytes from the lowest address upward; the shared byte
// of one- and two-byte fields is read first so its other registers keep
// their bits. The write results are not examined: the read-back checks.
Result WriteFieldOnce(Transport& transport, const RegisterDescriptor& d, int32_t raw) {
  const std::size_t length = FieldByteLength(d.byteCount);
  if (length == 0) return code::kSystemError;
  uint8_t shared = 0;
  if (length <= 2) {
    const Result result = ReadFpgaByte(transport, d.fpgaAddress - static_cast<int32_t>(length - 1), shared);
    if (result != code::kOk) return result;
  }
  FieldBytes out;
  const Result encoded = EncodeField(d, raw, shared, out);
  if (encoded != code::kOk) return encoded;
  for (std::size_t i = length; i-- > 0;) {
    transport.PutVarToFPGA(d.fpgaAddress - static_cast<int32_t>(i), out.bytes[i]);
  }
  return code::kOk;
}

// Runs a write and its read-back, and both once more if the value did not
// stick.
template <typename Write, typename ReadBack>
Result WriteVerified(int32_t raw, Write write, ReadBack readBack) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    const Result written = write();
    if (written != code::kOk) return written;
    int32_t back = 0;
    const Result read = readBack(back);
    if (read != code::kOk) return read;
    if (back == raw) return code::kOk;
  }
  return code::kTransferError;
}

// ---- NV ------------------------------------------------------------------

Result ReadNvEntries(Transport& transport, const RegisterDescriptor& d, bool checkRegister, int32_t& raw) {
  const std::size_t length = FieldByteLength(d.byteCount);
  std::array<uint8_t, 4> bytes{};
  for (std::size_t i = 0; i < length; ++i) {
    int32_t fpgaRegister = 0, data = 0;
    const Result result = transport.GetVarFromEEPROM(d.nvEntry - static_cast<int32_t>(i), &fpgaRegister, &data);
    if (result != code::kOk) return result;
    if (i == 0 && checkRegister && fpgaRegister != d.fpgaAddress) return code::kNvAddressMismatch;
    bytes[i] = static_cast<uint8_t>(data & 0xFF);
  }
  return DecodeField(d, std::span<const uint8_t>(bytes.data(), length), raw);
}

Result WriteNvEntries(Transport& transport, const RegisterDescriptor& d, int32_t raw) {
  const std::size_t length = FieldByteLength(d.byteCount);
  if (length == 0) return code::kSystemError;
  uint8_t shared = 0;
  if (length <= 2) {
    int32_t fpgaRegister = 0, data = 0;
    const int32_t entry = d.nvEntry - static_cast<int32_t>(length - 1);
    const Result result = transport.GetVarFromEEPROM(entry, &fpgaRegister, &data);
    if (result != code::kOk) return result;
    shared = static_cast<uint8_t>(data & 0xFF);
  }
  FieldBytes out;
  const Result encoded = EncodeField(d, raw, shared, out);
  if (encoded != code::kOk) return encoded;
  for (std::size_t i = length; i-- > 0;) {
    const auto offset = static_cast<int32_t>(i);
    const Result result = transport.PutVarToEEPROM(d.nvEntry - offset, d.fpgaAddress - offset, out.bytes[i]);
    // Three- and four-byte fields are checked by the read-back alone.
    if (length <= 2 && result != code::kOk) return result;
  }
  return code::kOk;
}

// The NV copy of a coefficient is the indirect write sequence itself.
Result WriteBiquadNv(Transport& transport, const RegisterDescriptor& d, int32_t raw) {
  const int32_t entry = d.nvEntry, address = d.fpgaAddress;
  if (transport.PutVarToEEPROM(entry, kIndirectAddressRegister, address) != code::kOk ||
      transport.PutVarToEEPROM(entry + 1, kBiquadDataRegister, raw & 0xFF) != code::kOk ||
      transport.PutVarToEEPROM(entry + 2, kIndirectAddressRegister, address + 1) != code::kOk ||
      transport.PutVarToEEPROM(entry + 3, kBiquadDataRegister, (raw >> 8) & 0xFF) != code::kOk) {
    return code::kSystemError;
  }
  return code::kOk;
}

Result ReadBiquadNv(Transport& transport, const RegisterDescriptor& d, int32_t& raw) {
  const int32_t entry = d.nvEntry, address = d.fpgaAddress;
  int32_t fpgaRegister = 0, low = 0, high = 0;
  if (transport.PutVarToEEPROM(entry, kIndirectAddressRegister, address) != code::kOk ||
      transport.GetVarFromEEPROM(entry + 1, &fpgaRegister, &low) != code::kOk ||
      transport.PutVarToEEPROM(entry + 2, kIndirectAddressRegister, address + 1) != code::kOk ||
      transport.GetVarFromEEPROM(entry + 3, &fpgaRegister, &high) != code::kOk) {
    return code::kSystemError;
  }
  raw = (high & 0xFF) * 256 + (low & 0xFF);
  return code::kOk;
}

bool IsInWriteRange(std::string_view name, const RegisterDescriptor& d, int32_t raw, int32_t commandUnits) {
  const int32_t min = commandUnits != 0 ? d.velocityMin : d.torqueMin;
  const int32_t max = commandUnits != 0 ? d.velocityMax : d.torqueMax;
  if (name == "FBDivisor") return raw != 0;
  if (d.codec == 43) return raw == 0 || (raw >= max && raw <= min);
  return raw >= min && raw <= max;
}

// ---- motor-data memory -----------------------------------------------------

Result ReadMotorByte(LibraryContext& ctx, int32_t address, uint8_t& byte) {
  const RegisterState* addressRegister = ctx.registers.FindRegister("MTRAddress");
  const RegisterState* dataRegister = ctx.registers.FindRegister("MTRData");
  if (addressRegister == nullptr || dataRegister == nullptr) return code::kSystemError;
  Transport& transport = ctx.transport;
  Result result = WithOneRepeat(
      [&] { return transport.PutVarToFPGA(addressRegister->descriptor.fpgaAddress, (address >> 8) & 1); });
  if (result != code::kOk) return result;
  result = WithOneRepeat([&] { return transport.PutVarToFPGA(kIndirectAddressRegister, address & 0xFF); });
  if (result != code::kOk) return result;
  return WithOneRepeat([&] { return ReadFpgaByte(transport, dataRegister->descriptor.fpgaAddress, byte); });
}

}  // namespace

Result ReadFpgaField(LibraryContext& ctx, std::string_view name, int32_t& raw) {
  const RegisterDescriptor* d = DescribeRegister(ctx, name);
  if (d == nullptr) return code::kInvalidParameter;
  if (IsBiquad(*d)) return ReadBiquadCoefficient(ctx.transport, d->fpgaAddress, raw);
  int32_t first = 0;
  const Result result = ReadFieldOnce(ctx.transport, *d, first);
  if (result != code::kOk) return result;
  if (d->live) {
    raw = first;
    return code::kOk;
  }
  int32_t second = 0;
  const Result again = ReadFieldOnce(ctx.transport, *d, second);
  if (again != code::kOk) return again;
  // The command changes while the motor moves; its second read stands.
  if (name != "Command" && second != first) return code::kTransferError;
  raw = second;
  return code::kOk;
}

Result WriteFpgaField(LibraryContext& ctx, std::string_view name, int32_t raw) {
  const RegisterDescriptor* d = DescribeRegister(ctx, name);
  if (d == nullptr) return code::kInvalidParameter;
  if (IsBiquad(*d)) return WriteBiquadBank(ctx, name, raw);
  if (FieldByteLength(d->byteCount) == 0) return code::kSystemError;
  Transport& transport = ctx.transport;
  // PWMMinus's two bytes (byte count 12) are read back like every other
  // field's: a lost byte would leave the analog command scaled wrongly.
  return WriteVerified(
      raw, [&] { return WriteFieldOnce(transport, *d, raw); },
      [&](int32_t& back) { return ReadFieldOnce(transport, *d, back); });
}

Result ReadNvField(LibraryContext& ctx, std::string_view name, int32_t& raw) {
  const RegisterDescriptor* d = DescribeRegister(ctx, name);
  if (d == nullptr) return code::kInvalidParameter;
  if (FieldByteLength(d->byteCount) == 0) return code::kSystemError;
  int32_t first = 0, second = 0;
  Result result = ReadNvEntries(ctx.transport, *d, true, first);
  if (result != code::kOk) return result;
  result = ReadNvEntries(ctx.transport, *d, false, second);
  if (result != code::kOk) return result;
  if (first != second) return code::kTransferError;
  raw = first;
  return code::kOk;
}

Result WriteNvField(LibraryContext& ctx, std::string_view name, int32_t raw) {
  const RegisterDescriptor* d = DescribeRegister(ctx, name);
  if (d == nullptr) return code::kInvalidParameter;
  Transport& transport = ctx.transport;
  if (IsBiquad(*d)) return WriteBiquadNv(transport, *d, raw);
  if (FieldByteLength(d->byteCount) == 0) return code::kSystemError;
  return WriteVerified(
      raw, [&] { return WriteNvEntries(transport, *d, raw); },
      [&](int32_t& back) { return ReadNvEntries(transport, *d, false, back); });
}

Result ReadRegisterOnline(LibraryContext& ctx, std::string_view name, int32_t& raw) {
  if (ctx.registers.FindRegister(name) == nullptr) return code::kInvalidParameter;
  // Inside a whole-set or file operation every question about the logic
  // version gets the one answer read at its start.
  if (const auto known = KnownLogicVersion(ctx); known && IsLogicVersionName(name)) {
    raw = *known;
    return code::kOk;
  }
  if (IsCurrentLimit(name)) {
    const auto logicVersion = DriveLogicVersion(ctx);
    if (logicVersion && *logicVersion < 3) ctx.registers.SetCurrentLimitLayout(*logicVersion);
  }
  return ReadFpgaField(ctx, name, raw);
}

Result WriteRegisterOnline(LibraryContext& ctx, std::string_view name, int32_t raw, int32_t commandUnits) {
  const RegisterState* state = ctx.registers.FindRegister(name);
  if (state == nullptr) return code::kInvalidParameter;
  if (IsCurrentLimit(name)) {
    const auto logicVersion = DriveLogicVersion(ctx);
    if (logicVersion && *logicVersion < 3) ctx.registers.SetCurrentLimitLayout(*logicVersion);
  }
  if (!IsInWriteRange(name, state->descriptor, raw, commandUnits)) return code::kOutOfRange;
  return WriteFpgaField(ctx, name, raw);
}

Result LoadFromDrive(LibraryContext& ctx, std::string_view name, int32_t node) {
  RegisterState* state = ctx.registers.FindRegister(name);
  if (state == nullptr) return code::kInvalidParameter;
  int32_t raw = 0;
  const Result result = ReadFpgaField(ctx, name, raw);
  if (result == code::kOk) state->raw[static_cast<std::size_t>(StoreIndex(node, 0))] = raw;
  return result;
}

// A coefficient read from NV lands in the node's store like one read from the
// FPGA, so that a whole set read from NV and written back is unchanged.
Result LoadFromNv(LibraryContext& ctx, std::string_view name, int32_t node) {
  RegisterState* state = ctx.registers.FindRegister(name);
  if (state == nullptr) return code::kInvalidParameter;
  int32_t raw = 0;
  const Result result = IsBiquad(state->descriptor) ? ReadBiquadNv(ctx.transport, state->descriptor, raw)
                                                    : ReadNvField(ctx, name, raw);
  if (result == code::kOk) state->raw[static_cast<std::size_t>(StoreIndex(node, 0))] = raw;
  return result;
}

Result StoreToDrive(LibraryContext& ctx, std::string_view name, int32_t node) {
  const RegisterState* state = ctx.registers.FindRegister(name);
  if (state == nullptr) return code::kInvalidParameter;
  return WriteFpgaField(ctx, name, state->raw[static_cast<std::size_t>(StoreIndex(node, 1))]);
}

Result StoreToNv(LibraryContext& ctx, std::string_view name, int32_t node) {
  const RegisterState* state = ctx.registers.FindRegister(name);
  if (state == nullptr) return code::kInvalidParameter;
  int32_t raw = state->raw[static_cast<std::size_t>(StoreIndex(node, 1))];
  if (IsCurrentLimit(name)) {
    const auto logicVersion = DriveLogicVersion(ctx);
    if (logicVersion && *logicVersion < 3 && state->descriptor.codec != 1) raw = CurrentLimitStep(name, raw);
  }
  return WriteNvField(ctx, name, raw);
}

Result EraseUnusedNv(LibraryContext& ctx) {
  int32_t highest = -1;
  for (const RegisterState& state : ctx.registers.Registers()) {
    const RegisterDescriptor& d = state.descriptor;
    if (d.nvEntry < 0 || d.nvEntry == kSerialNumberTopEntry) continue;
    highest = std::max(highest, IsBiquad(d) ? d.nvEntry + 3 : d.nvEntry);
  }
  for (int32_t entry = highest + 1; entry <= kLastErasableNvEntry; ++entry) {
    Result result = ctx.transport.NVEraseUnit(entry);
    // A drive busy with the entry gets one more try.
    if (result == kNvEraseBusy) result = ctx.transport.NVEraseUnit(entry);
    if (result != code::kOk) return result;
  }
  return code::kOk;
}

Result ReadMotorMemoryByte(LibraryContext& ctx, int32_t address, uint8_t& byte) {
  if (address < 0 || address > 511) return code::kWrongData;
  uint8_t kept = 0;
  if (ReadFpgaByte(ctx.transport, 43, kept) != code::kOk) return code::kSystemError;
  const Result result = ReadMotorByte(ctx, address, byte);
  // Register 43 also holds other drive settings: it is put back also after a
  // failed read, with one more try, and a restore that still fails is
  // reported even when the byte was read.
  const Result restored = WithOneRepeat([&] { return ctx.transport.PutVarToFPGA(43, kept); });
  return result != code::kOk ? result : restored;
}

Result ReadMotorDataByte(LibraryContext& ctx, int32_t address, uint8_t& byte) {
  if (address < 0 || address > 383) return code::kWrongData;
  return ReadMotorByte(ctx, address, byte);
}

}  // namespace svodb
