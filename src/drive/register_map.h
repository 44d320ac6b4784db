// The process-wide register map: every drive register's current layout and
// the raw value held for it on each node, found by name without regard to
// case, plus the field codec that packs raw values into drive bytes.
//
// Byte order used by the codec: a field's bytes are always handed over most
// significant first. bytes[0] is the byte at the register's named FPGA
// address (or NV entry), bytes[1] the byte at address - 1, and so on. For a
// two-byte field bytes[1] is the lower byte, whose top bits may be shared
// with other registers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "catalog/result_codes.h"
#include "drive/register_table.h"

namespace svodb {

// One register as the library holds it: its layout (three layouts change
// with the drive's logic version) and the raw value per node.
struct RegisterState {
  RegisterDescriptor descriptor;
  std::array<int32_t, kNodeCount> raw;
};

// A range query's answer. min and max are the stored bounds, so for codec 43
// min is the upper and max the lower bound.
struct RawRange {
  bool found = false;
  int32_t min = 0;
  int32_t max = 0;
  int32_t driveRaw = 0;  // the raw value held for node 0
};

class RegisterMap {
 public:
  RegisterMap();
  // From the table's rows, at compile time for the process's own map.
  constexpr explicit RegisterMap(const std::array<RegisterDescriptor, kRegisterCount>& rows) noexcept
      : biquadStart_(kRegisterCount) {
    for (std::size_t i = 0; i < kRegisterCount; ++i) {
      registers_[i] = RegisterState{rows[i], rows[i].initialRaw};
      if (biquadStart_ == kRegisterCount && std::string_view(rows[i].name) == "BQ0B2") biquadStart_ = i;
    }
  }

  // nullptr when no register has this name; case of A-Z does not matter.
  RegisterState* FindRegister(std::string_view name) noexcept;
  const RegisterState* FindRegister(std::string_view name) const noexcept;

  // 8 for an unknown name, 23 for a node outside 0-6; raw is set only on 1.
  Result GetRawValue(std::string_view name, int32_t node, int32_t& raw) const noexcept;

  // Range check against the range of the command units (0 torque, any other
  // value velocity), then the node check: 8 unknown name, 23 out of range or
  // bad node. The stored value changes only on success.
  Result SetRawValue(std::string_view name, int32_t raw, int32_t commandUnits,
                     int32_t node) noexcept;

  RawRange GetVelocityRange(std::string_view name) const noexcept;
  RawRange GetTorqueRange(std::string_view name) const noexcept;
  // A current limit's range in the layout of that logic version, whatever
  // layout is in place, and its node-0 raw value.
  RawRange GetCurrentLimitRange(std::string_view name, int32_t logicVersion) const noexcept;

  // Logic below 3 has 2-bit current-limit selectors in one byte; from 3 on
  // ILmtPlus and ILmtMinus are 8-bit limits of their own.
  void SetCurrentLimitLayout(int32_t logicVersion) noexcept;

  // Form 1: 5-bit DeadBand, form 2: 6-bit. Any other form changes nothing
  // and returns false.
  bool SetDeadBandLayout(int32_t form) noexcept;

  // Table position (0-based) of BQ0B2, the first of the 16 biquad rows
  // BQ0B2, BQ0K1, BQ0B1, BQ0K2, BQ1B2 ... BQ3K2.
  std::size_t BiquadStart() const noexcept { return biquadStart_; }

  // All registers in table order, for whole-set work and the biquad block.
  std::span<RegisterState, kRegisterCount> Registers() noexcept { return registers_; }
  std::span<const RegisterState, kRegisterCount> Registers() const noexcept { return registers_; }

 private:
  // The layouts of three registers change at run time, so the map owns a copy
  // of the constant table; the name index is constant.
  std::array<RegisterState, kRegisterCount> registers_{};
  std::size_t biquadStart_;
};

// Bytes a field of this byteCount occupies: 1, 2 (also for 12), 3 or 4; 0
// for counts no generic transfer handles (SerialNum's 24 among them).
std::size_t FieldByteLength(uint32_t byteCount) noexcept;

// Unpacks the raw value from the field's bytes, most significant first.
// 99 when the byte count is not 1, 2, 12, 3 or 4, when fieldBytes does not
// hold exactly that many bytes, or when the bit layout does not fit a byte.
Result DecodeField(const RegisterDescriptor& descriptor, std::span<const uint8_t> fieldBytes,
                   int32_t& raw) noexcept;

// What to write for a field, most significant first (see the byte order
// above); only the first `count` bytes are meaningful.
struct FieldBytes {
  std::array<uint8_t, 4> bytes{};
  std::size_t count = 0;

  std::span<const uint8_t> View() const noexcept { return {bytes.data(), count}; }
};

// Packs raw into the field. sharedByte is the current content of the byte
// the field shares with other registers: the whole byte of a one-byte field,
// the lower byte of a two-byte field; three- and four-byte fields ignore it.
// The other registers' bits in that byte are kept. 99 as for DecodeField.
Result EncodeField(const RegisterDescriptor& descriptor, int32_t raw, uint8_t sharedByte,
                   FieldBytes& out) noexcept;

}  // namespace svodb
