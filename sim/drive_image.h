// What a drive of a given model, logic version and version text holds when
// it leaves the factory: its register layout, its NV parameter set, its
// motor data copy, and the values its hardware reports by itself.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drive/register_table.h"
#include "drive_memories.h"
#include "fpga_space.h"

namespace svodb::sim {

struct DriveConfig {
  int32_t modelCode = 31;                   // X7102, 240 Vac 3/9 A; 0-31 fit the Model field
  int32_t logicVersion = 4;                 // 0-15
  std::string versionText = "4.0A";         // the logic's version text, e.g. "3.2A", "S1.0B", "102.1A"
  std::string serialNumber = "VD22010001";  // at most 24 characters
  uint8_t setupSwitches = 0x00;             // register 25: SetupS1 bits 7-4, SetupS2 bits 3-0
  int32_t serialPort = 1;                   // the port the drive hangs on, 1-255
  int32_t feedbackGeneration = 1;           // the motor's feedback device: 1 EEPROM, 2 serial flash
  std::vector<FaultRecord> faultHistory = DefaultFaultHistory();

  static std::vector<FaultRecord> DefaultFaultHistory();
};

// Throws std::invalid_argument naming the first field the drive cannot have.
void ValidateConfig(const DriveConfig& config);

// Bytes 509, 510, 511 of the motor-data memory for a version text "<head>.<d><l>":
// byte 511 from the head (a number 0-127, 102 or 255, or "S" and a character
// stored as its code + 80), byte 510 = d - '0', byte 509 = l - 'A', both
// modulo 256. None when the text has another form.
std::optional<std::array<uint8_t, 3>> VersionTextBytes(std::string_view text);

// A power board code (byte 511) of 3-127 means the 6-bit dead band.
bool HasWideDeadBand(uint8_t powerBoardCode) noexcept;

// A register as this drive lays it out, with its factory value.
struct DriveRegister {
  RegisterDescriptor layout;
  int32_t factoryRaw;
};

// The registers this drive has, in table order. Logic before 3 keeps its
// current limits as 2-bit selectors in register 13; only logic 4 has FbType
// and FilterType; the power board decides the dead band's width.
std::vector<DriveRegister> DriveRegisters(const DriveConfig& config);

// The NV memory as the factory leaves it: each register's bytes paired with
// their FPGA addresses, each biquad coefficient as its indirect write
// sequence, the serial number in entries 255 down to 232, the rest erased.
NvImage FactoryNvImage(const DriveConfig& config);

// A valid motor data block in bytes 0-383 and the version bytes at 509-511.
std::array<uint8_t, MotorDataMemory::kSize> FactoryMotorData(const DriveConfig& config);

// The low byte of the block's sum is 255.
bool IsMotorDataBlockValid(const std::array<uint8_t, MotorDataMemory::kSize>& bytes) noexcept;

// What the hardware shows by itself after power-up: model and logic
// strapping, setup switches, status bits, measurements, fault-log pointer.
void ApplyHardwareState(FpgaSpace& space, const DriveConfig& config) noexcept;

}  // namespace svodb::sim
