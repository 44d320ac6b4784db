#include "drive_image.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <string_view>

#include "catalog/catalogue_table.h"
#include "drive/register_map.h"
#include "drive/unit_scaling.h"
#include "values/scaling_context.h"

namespace svodb::sim {

namespace {

constexpr int32_t kBiquadCodec = 752;
constexpr std::size_t kSerialNumberLength = 24;
constexpr uint8_t kSerialNumberRegister = 127;
constexpr uint8_t kSerialNumberPadding = 0xFF;
constexpr uint8_t kPowerBoardByte = 2;  // index of byte 511 in VersionTextBytes

bool IsNamed(const RegisterDescriptor& row, const char* name) noexcept {
  return std::strcmp(row.name, name) == 0;
}

// Before logic 3 both current limits are 2-bit selectors in register 13;
// 3 is the full current.
constexpr int32_t kFullCurrentStep = 3;

void UseSelectorLayout(RegisterDescriptor& layout, uint32_t topBit) noexcept {
  layout.fpgaAddress = 13;
  layout.nvEntry = 12;
  layout.byteCount = 1;
  layout.topBit = topBit;
  layout.bitWidth = 2;
  layout.codec = 1;
  layout.velocityMin = layout.torqueMin = 0;
  layout.velocityMax = layout.torqueMax = 3;
}

void UseWideDeadBand(RegisterDescriptor& layout) noexcept {
  layout.topBit = 5;
  layout.bitWidth = 6;
  layout.velocityMax = layout.torqueMax = 63;
}

bool DriveHasRegister(const RegisterDescriptor& row, const DriveConfig& config) noexcept {
  if (IsNamed(row, "FbType") || IsNamed(row, "FilterType")) return config.logicVersion >= 4;
  return true;
}

// The catalogue's conversion code of a register, 0 when it has none.
int32_t ConversionCodeOf(const RegisterDescriptor& row) noexcept {
  for (const VariableRecord& record : kCatalogueTable) {
    if (record.name != nullptr && std::string_view(record.name) == row.name) return record.conversionCode;
  }
  return 0;
}

// The factory values are kept in the gain format of current logic; an
// older logic holds the same gains in its own format.
int32_t FactoryGainForLogic(const RegisterDescriptor& row, const DriveConfig& config, int32_t raw) noexcept {
  const int32_t conversion = ConversionCodeOf(row);
  if (!DependsOnLogicVersion(conversion)) return raw;
  const auto model = static_cast<uint32_t>(config.modelCode);
  double gain = 0.0;
  int32_t drivesRaw = raw;
  if (RawToUser(conversion, raw, ScalingInputs{model, 0, 4, 5}, gain) != code::kOk ||
      UserToRaw(conversion, gain, ScalingInputs{model, 0, config.logicVersion, 5}, drivesRaw) != code::kOk) {
    return raw;
  }
  return drivesRaw;
}

DriveRegister AdaptToDrive(const RegisterDescriptor& row, const DriveConfig& config,
                           bool wideDeadBand) noexcept {
  DriveRegister reg{row, row.initialRaw[0]};
  const bool selectors = config.logicVersion < 3;
  if (IsNamed(row, "ILmtMinus") && selectors) {
    UseSelectorLayout(reg.layout, 1);
    reg.factoryRaw = kFullCurrentStep;
  } else if (IsNamed(row, "ILmtPlus") && selectors) {
    UseSelectorLayout(reg.layout, 3);
    reg.factoryRaw = kFullCurrentStep;
  } else if (IsNamed(row, "DeadBand") && wideDeadBand) {
    UseWideDeadBand(reg.layout);
  } else if (IsNamed(row, "Model")) {
    reg.factoryRaw = config.modelCode;
  } else if (IsNamed(row, "LogicVer")) {
    reg.factoryRaw = config.logicVersion;
  } else {
    reg.factoryRaw = FactoryGainForLogic(row, config, reg.factoryRaw);
  }
  return reg;
}

bool IsBiquad(const RegisterDescriptor& layout) noexcept { return layout.codec == kBiquadCodec; }

uint8_t LowByte(int32_t value) noexcept { return static_cast<uint8_t>(value & 0xFF); }

uint8_t HighByte(int32_t value) noexcept { return static_cast<uint8_t>((value >> 8) & 0xFF); }

void PlaceBiquadSequence(NvImage& nv, const DriveRegister& reg) noexcept {
  const auto first = static_cast<std::size_t>(reg.layout.nvEntry);
  const auto address = static_cast<uint8_t>(reg.layout.fpgaAddress);
  if (first + 3 >= nv.size()) return;
  nv[first] = {fpga::kIndirectAddressLow, address};
  nv[first + 1] = {fpga::kBiquadData, LowByte(reg.factoryRaw)};
  nv[first + 2] = {fpga::kIndirectAddressLow, static_cast<uint8_t>(address + 1)};
  nv[first + 3] = {fpga::kBiquadData, HighByte(reg.factoryRaw)};
}

void PlaceRegisterBytes(NvImage& nv, const RegisterDescriptor& layout,
                        const RegisterBytes& registers) noexcept {
  const std::size_t length = FieldByteLength(layout.byteCount);
  if (layout.nvEntry < 0 || layout.fpgaAddress < 0 || length == 0) return;
  const auto entry = static_cast<std::size_t>(layout.nvEntry);
  const auto address = static_cast<std::size_t>(layout.fpgaAddress);
  for (std::size_t k = 0; k < length && k <= entry && k <= address; ++k)
    nv[entry - k] = {static_cast<uint8_t>(address - k), registers[address - k]};
}

void PlaceSerialNumber(NvImage& nv, std::string_view serial) noexcept {
  for (std::size_t i = 0; i < kSerialNumberLength; ++i) {
    const uint8_t data = i < serial.size() ? static_cast<uint8_t>(serial[i]) : kSerialNumberPadding;
    nv[nv.size() - 1 - i] = {kSerialNumberRegister, data};
  }
}

std::optional<uint8_t> PowerBoardCode(std::string_view head) {
  if (head.size() == 2 && head[0] == 'S') {
    const int code = static_cast<unsigned char>(head[1]) + 80;
    if (code < 128 || code > 254) return std::nullopt;
    return static_cast<uint8_t>(code);
  }
  if (head.empty() || head.size() > 3) return std::nullopt;
  int number = 0;
  for (char c : head) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return std::nullopt;
    number = number * 10 + (c - '0');
  }
  if (number > 127 && number != 255) return std::nullopt;
  return static_cast<uint8_t>(number);
}

// --- motor data block ---

struct MotorByte {
  std::size_t offset;
  uint8_t value;
};

// A small servo motor. Floating values are an exponent byte at the field's
// offset and a mantissa byte below it.
constexpr MotorByte kMotorBlock[] = {
    {0, 1},                              // memory layout version
    {118, 0},   {119, 0xFE},             // rotor inertia 0.25 kg-cm2
    {120, 0},   {121, 0xFD},             // damping 0.125
    {122, 32},  {123, 1},                // winding resistance 2.5 ohm
    {124, 0},   {125, 0xFF},             // torque constant 0.5 N-m/A
    {126, 26},  {127, 0xFE},             // back-EMF constant 0.3
    {238, 12},  {239, 21},               // made in week 12 of 2021
    {256, 4},                            // 8 poles
    {370, 122}, {371, 9},                // current loop bandwidth ~1000 Hz
    {372, 64},  {373, 1},                // continuous current 3 A
    {374, 16},  {375, 3},                // peak current 9 A
    {376, 118}, {377, 0xFA},             // velocity gain suggestion
    {378, 36},  {379, 0xF9},             // inductance 10 mH
    {380, 36},  {381, 0xF9}, {382, 64},  // thermal sensor trip count
    {383, 4},                            // pole pairs
};
constexpr std::string_view kMotorNumber = "VM2201-A04N0000 ";
constexpr std::size_t kMotorNumberOffset = 240;
constexpr std::size_t kBalanceByte = 1;  // the block's own sum byte

uint8_t BlockSumLowByte(const std::array<uint8_t, MotorDataMemory::kSize>& bytes) noexcept {
  const unsigned sum = std::accumulate(bytes.begin(), bytes.begin() + kMotorDataBlockSize, 0u);
  return static_cast<uint8_t>(sum & 0xFF);
}

}  // namespace

std::vector<FaultRecord> DriveConfig::DefaultFaultHistory() {
  // Two trips from the factory's burn-in.
  return {FaultRecord{9, 1, 44, 219, 58, 0, 0, 0}, FaultRecord{4, 1, 45, 231, 60, 0, 0, 0}};
}

void ValidateConfig(const DriveConfig& config) {
  if (config.modelCode < 0 || config.modelCode > 31) throw std::invalid_argument("model code outside 0-31");
  if (config.logicVersion < 0 || config.logicVersion > 15)
    throw std::invalid_argument("logic version outside 0-15");
  if (!VersionTextBytes(config.versionText))
    throw std::invalid_argument("version text not of the drive's form");
  if (config.serialNumber.size() > kSerialNumberLength)
    throw std::invalid_argument("serial number over 24 characters");
  if (config.serialPort < 1 || config.serialPort > 255)
    throw std::invalid_argument("serial port outside 1-255");
  if (config.feedbackGeneration != 1 && config.feedbackGeneration != 2)
    throw std::invalid_argument("feedback device generation not 1 or 2");
}

std::optional<std::array<uint8_t, 3>> VersionTextBytes(std::string_view text) {
  const std::size_t dot = text.find('.');
  if (dot == std::string_view::npos || text.size() != dot + 3) return std::nullopt;
  const std::optional<uint8_t> board = PowerBoardCode(text.substr(0, dot));
  if (!board) return std::nullopt;
  const auto digit = static_cast<uint8_t>(text[dot + 1] - '0');
  const auto letter = static_cast<uint8_t>(text[dot + 2] - 'A');
  return std::array<uint8_t, 3>{letter, digit, *board};
}

bool HasWideDeadBand(uint8_t powerBoardCode) noexcept { return powerBoardCode >= 3 && powerBoardCode <= 127; }

std::vector<DriveRegister> DriveRegisters(const DriveConfig& config) {
  const auto version = VersionTextBytes(config.versionText);
  const bool wideDeadBand = version && HasWideDeadBand((*version)[kPowerBoardByte]);
  std::vector<DriveRegister> registers;
  registers.reserve(kRegisterTable.size());
  for (const RegisterDescriptor& row : kRegisterTable) {
    if (DriveHasRegister(row, config)) registers.push_back(AdaptToDrive(row, config, wideDeadBand));
  }
  return registers;
}

NvImage FactoryNvImage(const DriveConfig& config) {
  const std::vector<DriveRegister> registers = DriveRegisters(config);
  RegisterBytes bytes{};
  for (const DriveRegister& reg : registers) StoreField(bytes, reg.layout, reg.factoryRaw);
  NvImage nv{};
  // Table order matters where two registers claim one entry: FbType and
  // FilterType take over entry 43 from FTFail on logic 4.
  for (const DriveRegister& reg : registers) {
    if (IsBiquad(reg.layout)) {
      PlaceBiquadSequence(nv, reg);
    } else {
      PlaceRegisterBytes(nv, reg.layout, bytes);
    }
  }
  PlaceSerialNumber(nv, config.serialNumber);
  return nv;
}

std::array<uint8_t, MotorDataMemory::kSize> FactoryMotorData(const DriveConfig& config) {
  std::array<uint8_t, MotorDataMemory::kSize> bytes{};
  for (const MotorByte& field : kMotorBlock) bytes[field.offset] = field.value;
  for (std::size_t i = 0; i < kMotorNumber.size(); ++i)
    bytes[kMotorNumberOffset + i] = static_cast<uint8_t>(kMotorNumber[i]);
  bytes[kBalanceByte] = static_cast<uint8_t>(0xFF - BlockSumLowByte(bytes));
  const auto version = VersionTextBytes(config.versionText);
  if (version) std::copy(version->begin(), version->end(), bytes.begin() + kLogicVersionBytesStart);
  return bytes;
}

bool IsMotorDataBlockValid(const std::array<uint8_t, MotorDataMemory::kSize>& bytes) noexcept {
  return BlockSumLowByte(bytes) == 0xFF;
}

void ApplyHardwareState(FpgaSpace& space, const DriveConfig& config) noexcept {
  const bool lowVoltage = config.modelCode == 14 || config.modelCode == 15;
  struct Reading {
    const char* name;
    int32_t raw;
  };
  const Reading readings[] = {
      {"Model", config.modelCode},
      {"LogicVer", config.logicVersion},
      {"DriveOK", 1},
      {"TRXRdy", 1},
      {"VBus", lowVoltage ? 242 : 219},  // 90 V and 325 V on the bus
      {"HSTemp", 58},                    // 35 degrees C
      {"MTemp", 5},
      {"FAULTHISPNTR", static_cast<int32_t>(space.Faults().NextRecord())},
  };
  for (const Reading& reading : readings) {
    if (const RegisterDescriptor* row = FindTableRow(reading.name)) space.SetField(*row, reading.raw);
  }
  space.SetByte(fpga::kSetupSwitches, config.setupSwitches);
}

}  // namespace svodb::sim
