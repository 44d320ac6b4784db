// Moves raw register values between the library and the connected drive:
// the FPGA (the working copy) and the NV memory (the power-up copy).
//
// Settings read from the FPGA are read twice and must agree; every write is
// read back and made once more if it did not stick; a remaining mismatch is
// "Error during data transfer" (10). A transport code other than 1 is
// returned unchanged. What was written before a failure stays written.
#pragma once

#include <cstdint>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// FPGA registers behind the drive's indirect memories.
inline constexpr int32_t kIndirectAddressRegister = 42;  // biquad and motor-data address
inline constexpr int32_t kBiquadDataRegister = 108;
inline constexpr int32_t kLastErasableNvEntry = 230;
inline constexpr int32_t kSerialNumberTopEntry = 255;

Result ReadFpgaField(LibraryContext& ctx, std::string_view name, int32_t& raw);
Result WriteFpgaField(LibraryContext& ctx, std::string_view name, int32_t raw);
Result ReadNvField(LibraryContext& ctx, std::string_view name, int32_t& raw);
Result WriteNvField(LibraryContext& ctx, std::string_view name, int32_t raw);

// The online raw read and the range-checked online raw write (command units
// 0 torque, any other value velocity).
Result ReadRegisterOnline(LibraryContext& ctx, std::string_view name, int32_t& raw);
Result WriteRegisterOnline(LibraryContext& ctx, std::string_view name, int32_t raw, int32_t commandUnits);

// Moves between a node's raw store and the drive. A node outside 0-6 means
// node 0. An unknown name is 8 before any traffic.
Result LoadFromDrive(LibraryContext& ctx, std::string_view name, int32_t node);
Result LoadFromNv(LibraryContext& ctx, std::string_view name, int32_t node);
Result StoreToDrive(LibraryContext& ctx, std::string_view name, int32_t node);
Result StoreToNv(LibraryContext& ctx, std::string_view name, int32_t node);

// Erases the NV entries above the last one any register owns, up to 230.
Result EraseUnusedNv(LibraryContext& ctx);

// A byte of the drive's motor-data memory (0-511), keeping the address
// register's other bits; the short form (0-383) reads the motor data block
// and leaves register 43 as it finds it. 5 for an address out of range.
Result ReadMotorMemoryByte(LibraryContext& ctx, int32_t address, uint8_t& byte);
Result ReadMotorDataByte(LibraryContext& ctx, int32_t address, uint8_t& byte);

}  // namespace svodb
