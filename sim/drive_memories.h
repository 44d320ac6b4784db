// The drive's memories besides its FPGA registers: the memories inside the
// FPGA that are reached through an address register, the fault log and
// the NV memory.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace svodb::sim {

// A byte memory behind an address register. The address decoder looks only
// at as many address bits as the memory needs, so larger addresses wrap.
template <std::size_t N>
class IndirectMemory {
 public:
  static constexpr std::size_t kSize = N;

  uint8_t Read(std::size_t address) const noexcept { return bytes_[address % N]; }
  void Write(std::size_t address, uint8_t value) noexcept { bytes_[address % N] = value; }

  // Direct access for the drive's own logic and for tests; throws
  // std::out_of_range beyond the memory.
  uint8_t At(std::size_t address) const { return bytes_.at(address); }
  void Set(std::size_t address, uint8_t value) { bytes_.at(address) = value; }

  std::array<uint8_t, N>& Bytes() noexcept { return bytes_; }
  const std::array<uint8_t, N>& Bytes() const noexcept { return bytes_; }

 private:
  std::array<uint8_t, N> bytes_{};
};

// 16 two-byte filter coefficients, low byte first.
using BiquadMemory = IndirectMemory<32>;

// The drive's copy of the motor data block (bytes 0-383) and, at its top
// (bytes 509-511), the version bytes of the drive's logic.
using MotorDataMemory = IndirectMemory<512>;
inline constexpr std::size_t kMotorDataBlockSize = 384;
inline constexpr std::size_t kLogicVersionBytesStart = 509;

// Eight bytes per fault: the fault code, then the drive's snapshot of the
// moment.
using FaultRecord = std::array<uint8_t, 8>;

// 64 fault records in a ring. The drive keeps its own pointer to the
// record it writes next.
class FaultLog {
 public:
  static constexpr std::size_t kRecordCount = 64;

  void Record(const FaultRecord& record) noexcept {
    for (std::size_t b = 0; b < record.size(); ++b) bytes_.Write(nextRecord_ * record.size() + b, record[b]);
    nextRecord_ = (nextRecord_ + 1) % kRecordCount;
  }
  std::size_t NextRecord() const noexcept { return nextRecord_; }
  IndirectMemory<kRecordCount * 8>& Bytes() noexcept { return bytes_; }
  const IndirectMemory<kRecordCount * 8>& Bytes() const noexcept { return bytes_; }

 private:
  IndirectMemory<kRecordCount * 8> bytes_;
  std::size_t nextRecord_ = 0;
};

// One NV entry: a register write the drive replays at power-up.
struct NvEntry {
  uint8_t fpgaRegister = 0xFF;
  uint8_t data = 0xFF;

  bool operator==(const NvEntry&) const = default;
};

// What NVEraseUnit leaves behind; the power-up load skips such entries.
inline constexpr NvEntry kErasedNvEntry{0xFF, 0xFF};
inline constexpr std::size_t kNvEntryCount = 256;
using NvImage = std::array<NvEntry, kNvEntryCount>;

// What survives the drive being switched off and is kept between processes.
struct PersistentState {
  NvImage nv{};
  std::array<uint8_t, MotorDataMemory::kSize> motorData{};

  bool operator==(const PersistentState&) const = default;
};

// What a powered drive holds besides that: its FPGA registers and the
// biquad memory behind register 108. Kept between processes so that
// successive clients see one drive that stays switched on.
struct WorkingRegisters {
  std::array<uint8_t, 256> registers{};
  std::array<uint8_t, BiquadMemory::kSize> biquads{};

  bool operator==(const WorkingRegisters&) const = default;
};

}  // namespace svodb::sim
