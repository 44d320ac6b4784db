#include "fpga_space.h"

#include <cstring>

#include "drive/register_map.h"

namespace svodb::sim {

namespace {

constexpr int32_t kBiquadCodec = 752;

bool HasFpgaBytes(const RegisterDescriptor& row) noexcept {
  return row.fpgaAddress >= 0 && row.codec != kBiquadCodec && FieldByteLength(row.byteCount) != 0;
}

uint8_t FieldBits(uint32_t topBit, uint32_t width) noexcept {
  return static_cast<uint8_t>(((1u << width) - 1) << (topBit - width + 1));
}

// Marks the bits a field occupies in each of its bytes.
void MarkField(RegisterBytes& bits, const RegisterDescriptor& row) noexcept {
  const std::size_t length = FieldByteLength(row.byteCount);
  const auto top = static_cast<std::size_t>(row.fpgaAddress);
  if (top + 1 < length) return;
  if (length == 1) {
    bits[top] |= FieldBits(row.topBit, row.bitWidth);
  } else if (length == 2) {
    bits[top] = 0xFF;
    bits[top - 1] |= FieldBits(7, row.bitWidth);
  } else {
    for (std::size_t k = 0; k < length; ++k) bits[top - k] = 0xFF;
  }
}

// Live registers are the drive's inputs and measurements; the ISP register
// is the exception, the host writes it. The model and the logic version are
// strapped in the hardware, and the fault-log pointer is the drive's own.
bool IsDriveOwned(const RegisterDescriptor& row) noexcept {
  if (row.fpgaAddress == fpga::kIspRegister) return false;
  if (row.live != 0) return true;
  for (const char* name : {"Model", "LogicVer", "FAULTHISPNTR"}) {
    if (std::strcmp(row.name, name) == 0) return true;
  }
  return false;
}

RegisterBytes ComputeDriveOwnedBits() noexcept {
  RegisterBytes bits{};
  for (const RegisterDescriptor& row : kRegisterTable) {
    if (HasFpgaBytes(row) && IsDriveOwned(row)) MarkField(bits, row);
  }
  return bits;
}

}  // namespace

void StoreField(RegisterBytes& registers, const RegisterDescriptor& layout, int32_t raw) noexcept {
  if (!HasFpgaBytes(layout)) return;
  const auto top = static_cast<std::size_t>(layout.fpgaAddress);
  const std::size_t length = FieldByteLength(layout.byteCount);
  if (top + 1 < length) return;
  const uint8_t shared = length == 2 ? registers[top - 1] : registers[top];
  FieldBytes out;
  if (EncodeField(layout, raw, shared, out) != code::kOk) return;
  for (std::size_t k = 0; k < out.count; ++k) registers[top - k] = out.bytes[k];
}

const RegisterDescriptor* FindTableRow(const char* name) noexcept {
  for (const RegisterDescriptor& row : kRegisterTable) {
    if (std::strcmp(row.name, name) == 0) return &row;
  }
  return nullptr;
}

FpgaSpace::FpgaSpace() noexcept : driveOwned_(ComputeDriveOwnedBits()) {}

uint16_t FpgaSpace::IndirectAddress() const noexcept {
  return static_cast<uint16_t>(((registers_[fpga::kIndirectAddressHigh] & 0x01) << 8) |
                               registers_[fpga::kIndirectAddressLow]);
}

uint8_t FpgaSpace::Read(uint8_t address) const noexcept {
  switch (address) {
    case fpga::kMotorData: return motorData_.Read(IndirectAddress());
    case fpga::kFaultHistory: return faultLog_.Bytes().Read(IndirectAddress());
    case fpga::kBiquadData: return biquads_.Read(registers_[fpga::kIndirectAddressLow]);
    default: return registers_[address];
  }
}

void FpgaSpace::Write(uint8_t address, uint8_t value) noexcept {
  switch (address) {
    // The motor data copy is refreshed from the feedback device only, and
    // the fault log is written by the drive when it trips.
    case fpga::kMotorData:
    case fpga::kFaultHistory: return;
    case fpga::kBiquadData: biquads_.Write(registers_[fpga::kIndirectAddressLow], value); return;
    default: break;
  }
  const uint8_t owned = driveOwned_[address];
  registers_[address] = static_cast<uint8_t>((registers_[address] & owned) | (value & ~owned));
  if (address == fpga::kDriveControl) {
    const bool requested = (registers_[address] & fpga::kDiagnosticsRequest) != 0;
    registers_[address] = static_cast<uint8_t>((registers_[address] & ~fpga::kDiagnosticsActive) |
                                               (requested ? fpga::kDiagnosticsActive : 0));
  }
}

void FpgaSpace::ClearVolatile() noexcept {
  registers_.fill(0);
  biquads_.Bytes().fill(0);
}

}  // namespace svodb::sim
