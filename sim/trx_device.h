// The motor's feedback device as the drive reaches it through the port
// registers 22 (output), 23 (function) and 24 (input), while the drive is
// in diagnostics mode (register 58, bit 6):
//
//  - generation 1: a 256 x 16-bit Microwire EEPROM driven line by line in
//    bit mode (function 3): chip select, clock and data in at register 22
//    bits 0-2 with the port enable in bit 3, data out at register 24 bit 4;
//  - generation 2: a 256 KiB serial flash behind the FPGA's engine
//    (functions 112-121): write enable, 64 KiB sector erase, 256-byte page
//    program, status bits and a 24-bit address register.
//
// The drive reads the device into its motor-data memory (its copy of the
// motor data block) at power-up and whenever it takes the device back by
// leaving diagnostics mode. After that read the engine's address register
// holds 0x03FE00 on a generation-2 device and 0 on a generation-1 device.
//
// Nothing here keeps time: an erase stays busy for 3 status reads, a page
// program for 2, a read command is ready at the second status read, and an
// EEPROM word is stored by the status check (select, deselect) that follows
// its write; instructions that arrive before that are ignored.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drive_memories.h"
#include "fault_plan.h"
#include "fpga_space.h"

namespace svodb::sim {

namespace trx_port {
inline constexpr uint8_t kOutput = 22;
inline constexpr uint8_t kFunction = 23;
inline constexpr uint8_t kInput = 24;
inline constexpr uint8_t kBitMode = 3;
inline constexpr uint8_t kFirstEngineFunction = 112;
inline constexpr uint8_t kLastEngineFunction = 121;
}  // namespace trx_port

using MotorDataBlock = std::array<uint8_t, kMotorDataBlockSize>;

// Bytes 0-383 of the drive's motor-data memory.
MotorDataBlock BlockOf(const std::array<uint8_t, MotorDataMemory::kSize>& motorData);

class MicrowireEeprom {
 public:
  static constexpr std::size_t kWordCount = 256;

  // One write of the line image; faults decide whether a finished write
  // sticks. True when a word changed.
  bool Drive(bool chipSelect, bool clock, bool dataIn, FaultPlan& faults);
  // Every line low, as when the drive takes the device back; a write in
  // progress finishes.
  bool Release(FaultPlan& faults);
  bool DataOut() const noexcept;

  uint16_t Word(std::size_t address) const { return words_.at(address); }
  void SetWord(std::size_t address, uint16_t value) { words_.at(address) = value; }
  bool WriteEnabled() const noexcept { return writeEnabled_; }
  bool Selected() const noexcept { return chipSelect_; }
  bool Busy() const noexcept { return busy_; }

 private:
  enum class Phase : uint8_t { kIdle, kStart, kHeader, kRead, kWriteData, kWriteComplete, kIgnore, kStatus };

  void Clock(bool dataIn);
  bool FinishWrite(FaultPlan& faults);

  std::array<uint16_t, kWordCount> words_{};
  bool chipSelect_ = false;
  bool clock_ = false;
  bool writeEnabled_ = false;
  bool busy_ = false;
  bool dataOut_ = false;
  Phase phase_ = Phase::kIdle;
  uint32_t shift_ = 0;
  uint32_t count_ = 0;
  uint8_t address_ = 0;
  uint16_t pending_ = 0;
};

class SerialFlash {
 public:
  static constexpr std::size_t kSize = 0x40000;
  static constexpr std::size_t kSectorSize = 0x10000;
  static constexpr std::size_t kPageSize = 256;

  SerialFlash() : bytes_(kSize, 0xFF) {}

  uint8_t Byte(std::size_t address) const { return bytes_.at(address); }
  void SetByte(std::size_t address, uint8_t value) { bytes_.at(address) = value; }

 private:
  friend class FeedbackDevice;
  std::vector<uint8_t> bytes_;
};

class FeedbackDevice {
 public:
  // The flash region the library uses, and where the block lies in it.
  static constexpr uint32_t kRegionStart = 0x3BD00;
  static constexpr std::size_t kRegionSize = 17152;
  static constexpr uint32_t kBlockAddress = 0x3FE80;
  static constexpr std::size_t kBlockFirstWord = 64;
  static constexpr uint32_t kGeneration2AddressAfterLoad = 0x03FE00;

  // A device of generation 1 or 2 as it leaves the factory, holding block.
  FeedbackDevice(int32_t generation, const MotorDataBlock& block);

  // Register 24 as the bus reads it; none for any other register.
  std::optional<uint8_t> Read(uint8_t address, FaultPlan& faults) const;
  // Follows a bus write that FpgaSpace has stored: port registers reach the
  // device, register 58 switches diagnostics mode. True when the device's
  // memory or the drive's copy changed.
  bool AfterWrite(uint8_t address, uint8_t value, FpgaSpace& fpga, FaultPlan& faults);
  // Power-up: port idle, diagnostics mode as register 58 says, the drive's
  // copy read from the device.
  void PowerUp(FpgaSpace& fpga, FaultPlan& faults);

  int32_t Generation() const noexcept { return generation_; }
  MotorDataBlock Block() const;
  // Puts block into the device, as the factory's programmer would.
  void SetBlock(const MotorDataBlock& block);
  MicrowireEeprom& Eeprom() noexcept { return eeprom_; }
  const MicrowireEeprom& Eeprom() const noexcept { return eeprom_; }
  SerialFlash& Flash() noexcept { return flash_; }
  const SerialFlash& Flash() const noexcept { return flash_; }
  uint32_t EngineAddress() const noexcept { return address_; }
  bool FlashWriteEnabled() const noexcept { return writeEnabled_; }

 private:
  bool Engine(uint8_t function, uint8_t byte, FaultPlan& faults);
  bool Instruction(uint8_t instruction, FaultPlan& faults);
  uint8_t Status();
  bool LoadDriveCopy(FpgaSpace& fpga, FaultPlan& faults);

  int32_t generation_;
  MicrowireEeprom eeprom_;
  SerialFlash flash_;
  bool diagnostics_ = false;
  // The engine.
  uint32_t address_ = 0;
  uint8_t output_ = 0;
  uint8_t held_ = 0;
  bool writeEnabled_ = false;
  int busyReads_ = 0;
  bool readOpen_ = false;
  int readyReads_ = 0;
  uint32_t readPointer_ = 0;
  bool programOpen_ = false;
  uint32_t programPage_ = 0;
  uint32_t programOffset_ = 0;
  std::array<uint8_t, SerialFlash::kPageSize> programBuffer_{};
};

// The device's memory as text, so a virtual motor keeps it from one process
// to the next: a header line, "generation N", then for generation 1
// "word <address> <8 words, 4 hex digits each>" for words 0-255, for
// generation 2 "flash <region offset> <16 bytes, 2 hex digits each>" for
// the memory region. Every row must appear exactly once.
std::string FormatDeviceMemory(const FeedbackDevice& device);
// False, leaving the device as it was, when the text is malformed or is
// for the other generation.
bool ParseDeviceMemory(std::string_view text, FeedbackDevice& device);
bool WriteDeviceFile(const std::filesystem::path& path, const FeedbackDevice& device);
bool ReadDeviceFile(const std::filesystem::path& path, FeedbackDevice& device);

}  // namespace svodb::sim
