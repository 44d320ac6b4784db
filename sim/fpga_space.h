// The drive's FPGA register space as the bus sees it: 256 byte registers,
// some of them windows into memories inside the FPGA, some bits owned by
// the drive (inputs, measurements, the model and logic strapping) that a
// bus write cannot change.
#pragma once

#include <array>
#include <cstdint>

#include "drive/register_table.h"
#include "drive_memories.h"

namespace svodb::sim {

// FPGA addresses with a meaning of their own to the drive.
namespace fpga {
inline constexpr uint8_t kIndirectAddressLow = 42;   // biquad address; motor-data/fault-log address bits 7-0
inline constexpr uint8_t kIndirectAddressHigh = 43;  // motor-data/fault-log address bit 8
inline constexpr uint8_t kMotorData = 44;
inline constexpr uint8_t kSetupSwitches = 25;
inline constexpr uint8_t kDriveControl = 58;
inline constexpr uint8_t kFaultHistory = 62;
inline constexpr uint8_t kIspRegister = 77;
inline constexpr uint8_t kBiquadData = 108;
inline constexpr uint8_t kSpiEnable = 111;

// Bits of the drive control register: the host asks for the feedback
// device's diagnostics mode, the drive reports it.
inline constexpr uint8_t kDiagnosticsRequest = 0x02;
inline constexpr uint8_t kDiagnosticsActive = 0x40;
}  // namespace fpga

using RegisterBytes = std::array<uint8_t, 256>;

// Packs raw into the register's bytes the way the drive lays the field out,
// keeping the other fields that share a byte. Biquad rows and layouts the
// codec cannot place are left alone.
void StoreField(RegisterBytes& registers, const RegisterDescriptor& layout, int32_t raw) noexcept;

// The register table row of that name (exact spelling), or nullptr.
const RegisterDescriptor* FindTableRow(const char* name) noexcept;

class FpgaSpace {
 public:
  FpgaSpace() noexcept;

  // A bus access: windows answer for their memories, drive-owned bits keep
  // their value, and the drive answers a diagnostics request at once.
  uint8_t Read(uint8_t address) const noexcept;
  void Write(uint8_t address, uint8_t value) noexcept;

  // The register's plain byte, as the drive's own logic sees it.
  uint8_t Byte(uint8_t address) const noexcept { return registers_[address]; }
  void SetByte(uint8_t address, uint8_t value) noexcept { registers_[address] = value; }
  void SetField(const RegisterDescriptor& layout, int32_t raw) noexcept {
    StoreField(registers_, layout, raw);
  }

  // Bits of the register that only the drive changes.
  uint8_t DriveOwnedBits(uint8_t address) const noexcept { return driveOwned_[address]; }

  // Address bits 8-0 from registers 43 and 42: the motor-data and fault-log
  // windows use them.
  uint16_t IndirectAddress() const noexcept;

  // Power-up: every register and the biquad memory back to 0. The motor
  // data copy and the fault log live elsewhere in the drive and stay.
  void ClearVolatile() noexcept;

  BiquadMemory& Biquads() noexcept { return biquads_; }
  const BiquadMemory& Biquads() const noexcept { return biquads_; }
  MotorDataMemory& MotorData() noexcept { return motorData_; }
  const MotorDataMemory& MotorData() const noexcept { return motorData_; }
  FaultLog& Faults() noexcept { return faultLog_; }
  const FaultLog& Faults() const noexcept { return faultLog_; }

 private:
  RegisterBytes registers_{};
  RegisterBytes driveOwned_{};
  BiquadMemory biquads_;
  MotorDataMemory motorData_;
  FaultLog faultLog_;
};

}  // namespace svodb::sim
