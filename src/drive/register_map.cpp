#include "drive/register_map.h"

namespace svodb {

namespace {

bool IsNodeValid(int32_t node) noexcept { return node >= 0 && node < kNodeCount; }

// The codec-43 register (ILmtMinus in the 8-bit layout) stores its range
// upside down: min holds the upper bound, max the lower.
bool IsInRange(const RegisterDescriptor& d, int32_t raw, int32_t commandUnits) noexcept {
  const bool velocity = commandUnits != 0;
  const int32_t min = velocity ? d.velocityMin : d.torqueMin;
  const int32_t max = velocity ? d.velocityMax : d.torqueMax;
  // FBDivisor's stored range 1..-1 admits nothing; every divisor but 0 is legal.
  if (std::string_view(d.name) == "FBDivisor") return raw != 0;
  if (d.codec == 43) return raw <= min && raw >= max;
  return raw >= min && raw <= max;
}

// Where a current limit lives and which values are legal in one logic
// version's layout; both command-unit ranges are the same.
struct CurrentLimitLayout {
  int32_t fpgaAddress;
  int32_t nvEntry;
  uint32_t topBit;
  uint32_t bitWidth;
  int32_t codec;
  int32_t min;
  int32_t max;
};

// Before logic version 3 both limits are 2-bit selectors sharing byte 13.
constexpr CurrentLimitLayout kSelectorMinus{13, 12, 1, 2, 1, 0, 3};
constexpr CurrentLimitLayout kSelectorPlus{13, 12, 3, 2, 1, 0, 3};
constexpr CurrentLimitLayout kLimitMinus{84, 44, 7, 8, 43, 256, 105};
constexpr CurrentLimitLayout kLimitPlus{85, 45, 7, 8, 44, 0, 151};

void ApplyLayout(RegisterState* state, const CurrentLimitLayout& layout) noexcept {
  if (state == nullptr) return;
  RegisterDescriptor& d = state->descriptor;
  d.fpgaAddress = layout.fpgaAddress;
  d.nvEntry = layout.nvEntry;
  d.byteCount = 1;
  d.topBit = layout.topBit;
  d.bitWidth = layout.bitWidth;
  d.codec = layout.codec;
  d.velocityMin = d.torqueMin = layout.min;
  d.velocityMax = d.torqueMax = layout.max;
}

// --- field codec ---

bool IsCodecIn(int32_t codec, int32_t first, int32_t last) noexcept {
  return codec >= first && codec <= last;
}

bool SwapsNibbles(int32_t codec) noexcept { return IsCodecIn(codec, 26, 39); }

constexpr int32_t kSwappedHalvesCodec = 25;
constexpr int32_t kFirstUnsignedWordCodec = 201;

// Bits of a one-byte field's value for the signed codecs 50-89; 0 = unsigned.
int32_t SignedFieldBits(int32_t codec) noexcept {
  if (IsCodecIn(codec, 80, 89)) return 5;
  if (IsCodecIn(codec, 70, 79)) return 6;
  if (IsCodecIn(codec, 60, 69)) return 7;
  if (IsCodecIn(codec, 50, 59)) return 8;
  return 0;
}

// A one-byte layout must lie inside the byte; a two-byte field takes 1-8
// bits of its lower byte.
bool IsByteLayoutValid(const RegisterDescriptor& d) noexcept {
  if (d.bitWidth == 0 || d.bitWidth > 8) return false;
  return d.byteCount != 1 || d.bitWidth <= d.topBit + 1;
}

int32_t DecodeByteField(const RegisterDescriptor& d, uint8_t byte) noexcept {
  const uint32_t shift = d.topBit - d.bitWidth + 1;
  int32_t field = static_cast<int32_t>((byte >> shift) & ((1u << d.bitWidth) - 1));
  const int32_t signedBits = SignedFieldBits(d.codec);
  if (signedBits != 0 && field >= (1 << (signedBits - 1))) field -= 1 << signedBits;
  if (d.codec == kSwappedHalvesCodec) return field / 8 + (field % 8) * 8;
  if (SwapsNibbles(d.codec)) return (field % 16) * 16 + field / 16;
  return field;
}

int32_t DecodeWordField(const RegisterDescriptor& d, uint8_t high, uint8_t low) noexcept {
  int32_t value = ((high << 8) | low) >> (8 - d.bitWidth);
  const int32_t fieldBits = static_cast<int32_t>(d.bitWidth) + 8;
  if ((value & (1 << (fieldBits - 1))) != 0) value -= 1 << fieldBits;
  if (d.codec >= kFirstUnsignedWordCodec && value < 0) value += 65536;
  return value;
}

// Three- and four-byte fields are plain unsigned numbers; a four-byte
// pattern is taken as it is, so the top bit makes it negative.
int32_t DecodeWideField(std::span<const uint8_t> bytes) noexcept {
  uint32_t value = 0;
  for (uint8_t byte : bytes) value = (value << 8) | byte;
  return static_cast<int32_t>(value);
}

// Inserts the low bits of value into bits topBit .. topBit - bitWidth + 1.
uint8_t InsertBits(uint8_t byte, uint32_t topBit, uint32_t bitWidth, uint32_t value) noexcept {
  const uint32_t mask = (1u << bitWidth) - 1;
  const uint32_t shift = topBit - bitWidth + 1;
  return static_cast<uint8_t>((byte & ~(mask << shift)) | ((value & mask) << shift));
}

// The drive keeps these fields with their halves exchanged, so the whole
// byte is recoded after the insertion; bits outside the halves stay.
uint8_t RecodeByte(int32_t codec, uint8_t byte) noexcept {
  if (codec == kSwappedHalvesCodec)
    return static_cast<uint8_t>((byte & 0xC0) | ((byte & 0x07) << 3) | ((byte >> 3) & 0x07));
  if (SwapsNibbles(codec)) return static_cast<uint8_t>(((byte & 0x0F) << 4) | (byte >> 4));
  return byte;
}

uint8_t EncodeByteField(const RegisterDescriptor& d, int32_t raw, uint8_t shared) noexcept {
  const int32_t signedBits = SignedFieldBits(d.codec);
  int64_t value = raw;
  if (signedBits != 0 && value < 0) value += int64_t{1} << signedBits;
  if (value < 0) value += int64_t{1} << d.bitWidth;
  const uint8_t inserted = InsertBits(shared, d.topBit, d.bitWidth, static_cast<uint32_t>(value));
  return RecodeByte(d.codec, inserted);
}

void EncodeWordField(const RegisterDescriptor& d, int32_t raw, uint8_t sharedLow,
                     FieldBytes& out) noexcept {
  int64_t value = raw;
  if (d.codec >= kFirstUnsignedWordCodec && value >= 32768) value -= 65536;
  if (value < 0) value += int64_t{1} << (d.bitWidth + 8);
  const auto pattern = static_cast<uint32_t>(value);
  out.bytes[0] = static_cast<uint8_t>(pattern >> d.bitWidth);
  out.bytes[1] = InsertBits(sharedLow, 7, d.bitWidth, pattern);
}

void EncodeWideField(int32_t raw, FieldBytes& out) noexcept {
  const auto pattern = static_cast<uint32_t>(raw);
  for (std::size_t i = 0; i < out.count; ++i) {
    const std::size_t shiftBytes = out.count - 1 - i;
    out.bytes[i] = static_cast<uint8_t>(pattern >> (8 * shiftBytes));
  }
}

}  // namespace

// --- RegisterMap ---

RegisterMap::RegisterMap() : RegisterMap(kRegisterTable) {}

RegisterState* RegisterMap::FindRegister(std::string_view name) noexcept {
  const int row = kRegisterNameIndex.Find(name);
  return row < 0 ? nullptr : &registers_[static_cast<std::size_t>(row)];
}

const RegisterState* RegisterMap::FindRegister(std::string_view name) const noexcept {
  return const_cast<RegisterMap*>(this)->FindRegister(name);
}

Result RegisterMap::GetRawValue(std::string_view name, int32_t node, int32_t& raw) const noexcept {
  const RegisterState* state = FindRegister(name);
  if (state == nullptr) return code::kInvalidParameter;
  if (!IsNodeValid(node)) return code::kOutOfRange;
  raw = state->raw[static_cast<std::size_t>(node)];
  return code::kOk;
}

Result RegisterMap::SetRawValue(std::string_view name, int32_t raw, int32_t commandUnits,
                                int32_t node) noexcept {
  RegisterState* state = FindRegister(name);
  if (state == nullptr) return code::kInvalidParameter;
  if (!IsInRange(state->descriptor, raw, commandUnits)) return code::kOutOfRange;
  if (!IsNodeValid(node)) return code::kOutOfRange;
  state->raw[static_cast<std::size_t>(node)] = raw;
  return code::kOk;
}

RawRange RegisterMap::GetVelocityRange(std::string_view name) const noexcept {
  const RegisterState* state = FindRegister(name);
  if (state == nullptr) return {};
  const RegisterDescriptor& d = state->descriptor;
  return RawRange{true, d.velocityMin, d.velocityMax, state->raw[0]};
}

RawRange RegisterMap::GetTorqueRange(std::string_view name) const noexcept {
  const RegisterState* state = FindRegister(name);
  if (state == nullptr) return {};
  const RegisterDescriptor& d = state->descriptor;
  return RawRange{true, d.torqueMin, d.torqueMax, state->raw[0]};
}

RawRange RegisterMap::GetCurrentLimitRange(std::string_view name, int32_t logicVersion) const noexcept {
  const RegisterState* state = FindRegister(name);
  if (state == nullptr) return {};
  const bool minus = name == "ILmtMinus";
  const CurrentLimitLayout& layout =
      logicVersion < 3 ? (minus ? kSelectorMinus : kSelectorPlus) : (minus ? kLimitMinus : kLimitPlus);
  return RawRange{true, layout.min, layout.max, state->raw[0]};
}

void RegisterMap::SetCurrentLimitLayout(int32_t logicVersion) noexcept {
  const bool selectors = logicVersion < 3;
  ApplyLayout(FindRegister("ILmtMinus"), selectors ? kSelectorMinus : kLimitMinus);
  ApplyLayout(FindRegister("ILmtPlus"), selectors ? kSelectorPlus : kLimitPlus);
}

bool RegisterMap::SetDeadBandLayout(int32_t form) noexcept {
  if (form != 1 && form != 2) return false;
  RegisterState* state = FindRegister("DeadBand");
  if (state == nullptr) return false;
  RegisterDescriptor& d = state->descriptor;
  d.topBit = form == 1 ? 4 : 5;
  d.bitWidth = form == 1 ? 5 : 6;
  d.velocityMax = d.torqueMax = form == 1 ? 31 : 63;
  return true;
}

// --- field codec ---

std::size_t FieldByteLength(uint32_t byteCount) noexcept {
  switch (byteCount) {
    case 1: return 1;
    case 2:
    case 12: return 2;
    case 3: return 3;
    case 4: return 4;
    default: return 0;
  }
}

Result DecodeField(const RegisterDescriptor& descriptor, std::span<const uint8_t> fieldBytes,
                   int32_t& raw) noexcept {
  const std::size_t length = FieldByteLength(descriptor.byteCount);
  if (length == 0 || fieldBytes.size() != length) return code::kSystemError;
  if (length <= 2 && !IsByteLayoutValid(descriptor)) return code::kSystemError;
  if (length == 1) {
    raw = DecodeByteField(descriptor, fieldBytes[0]);
  } else if (length == 2) {
    raw = DecodeWordField(descriptor, fieldBytes[0], fieldBytes[1]);
  } else {
    raw = DecodeWideField(fieldBytes);
  }
  return code::kOk;
}

Result EncodeField(const RegisterDescriptor& descriptor, int32_t raw, uint8_t sharedByte,
                   FieldBytes& out) noexcept {
  const std::size_t length = FieldByteLength(descriptor.byteCount);
  if (length == 0) return code::kSystemError;
  if (length <= 2 && !IsByteLayoutValid(descriptor)) return code::kSystemError;
  out = FieldBytes{};
  out.count = length;
  if (length == 1) {
    out.bytes[0] = EncodeByteField(descriptor, raw, sharedByte);
  } else if (length == 2) {
    EncodeWordField(descriptor, raw, sharedByte, out);
  } else {
    EncodeWideField(raw, out);
  }
  return code::kOk;
}

}  // namespace svodb
