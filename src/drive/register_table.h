// Where each drive register's bits live in the FPGA register space and in
// the NV memory, how they are coded and which raw values are legal.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "catalog/name_index.h"

namespace svodb {

inline constexpr int kNodeCount = 7;  // node 0 is the drive, 1-6 offline images

struct RegisterDescriptor {
  int32_t number;        // row sequence number; nothing looks it up
  const char* name;      // as spelled by the drive's tools
  int32_t fpgaAddress;   // most significant byte; -1 = none
  int32_t nvEntry;       // most significant byte (biquad: first of four); -1 = none
  uint32_t byteCount;    // 1-4; 12 = two bytes (PWMMinus); 24 = SerialNum
  uint32_t topBit;       // 7-0 within the (lower) byte
  uint32_t bitWidth;     // see the field codec
  uint8_t live;          // 1 = read once, 0 = a setting read twice
  int32_t codec;
  int32_t velocityMin, velocityMax;
  int32_t torqueMin, torqueMax;
  std::array<int32_t, kNodeCount> initialRaw;  // nodes 0-6
};

inline constexpr std::size_t kRegisterCount = 158;
extern const std::array<RegisterDescriptor, kRegisterCount> kRegisterTable;
// The rows (0-based) by name without regard to case, built at compile time.
extern const NameIndex<kRegisterCount> kRegisterNameIndex;
// Row of BQ0B2, the first of the 16 biquad rows.
extern const std::size_t kBiquadStart;

}  // namespace svodb
