#include "values/conversion_dispatch.h"

#include <utility>

namespace svodb {
namespace {

Result ReadRawValue(ValueStore& store, std::string_view name, double& value) {
  int32_t raw = 0;
  const Result result = store.ReadRaw(name, raw);
  if (result == code::kOk) value = raw;
  return result;
}

Result ReadUnitScaled(ValueStore& store, std::string_view name, int32_t conversionCode, double& value) {
  int32_t raw = 0;
  const Result result = store.ReadRaw(name, raw);
  if (result != code::kOk) return result;
  return RawToUser(conversionCode, raw, store.Scaling(conversionCode), value);
}

Result ReadAuxFbType(ValueStore& store, double& value) {
  AuxFbBits bits;
  const std::pair<const char*, int32_t*> reads[] = {{"AFBHallsDis", &bits.hallsDis},
                                                    {"AFBDivisorSrc", &bits.divisorSrc},
                                                    {"AFBEnDatEnb", &bits.enDatEnb},
                                                    {"AFBSrc", &bits.src},
                                                    {"AFBMitEn", &bits.mitEn}};
  for (const auto& [name, field] : reads) {
    const Result result = store.ReadRaw(name, *field);
    if (result != code::kOk) return result;
  }
  if (!store.HasMitutoyoSelection()) bits.mitEn = 1;
  value = ComposeAuxFBType(bits);
  return code::kOk;
}

// PWMMinus, PWMPlus and CmdSrc: the analog command's two counts and scale.
struct CommandCounts {
  int32_t pwmMinus = 0, pwmPlus = 0;
  CommandSetup setup;
};

Result ReadCommandCounts(ValueStore& store, CommandCounts& counts) {
  int32_t commandSource = 0;
  Result result = store.ReadRaw("PWMMinus", counts.pwmMinus);
  if (result == code::kOk) result = store.ReadRaw("PWMPlus", counts.pwmPlus);
  if (result == code::kOk) result = store.ReadRaw("CmdSrc", commandSource);
  counts.setup = store.Command(commandSource);
  return result;
}

Result CommandFromCounts(int32_t conversionCode, const CommandCounts& counts, double& value) {
  return conversionCode == kCmdGainCode
             ? CommandGainFromPwm(counts.setup, counts.pwmPlus, counts.pwmMinus, value)
             : CommandOffsetFromPwm(counts.setup, counts.pwmPlus, counts.pwmMinus, value);
}

Result ReadCommandScaling(ValueStore& store, int32_t conversionCode, double& value) {
  CommandCounts counts;
  const Result result = ReadCommandCounts(store, counts);
  return result == code::kOk ? CommandFromCounts(conversionCode, counts, value) : result;
}

// The drive reports one extended fault as its bit number + 1, several at
// once as 16 + the lowest bit number.
double ExtendedFaultValue(int32_t word) {
  if (word == 0) return 0;
  int lowest = 0;
  while (((word >> lowest) & 1) == 0) ++lowest;
  const bool single = (word & (word - 1)) == 0;
  return single ? lowest + 1 : 16 + lowest;
}

Result ReadExtendedFaults(ValueStore& store, double& value) {
  int32_t low = 0, high = 0;
  Result result = store.ReadRaw("ExtFaults1", low);
  if (result == code::kOk) result = store.ReadRaw("ExtFaults2", high);
  if (result == code::kOk) value = ExtendedFaultValue(high * 256 + low);
  return result;
}

Result WriteAuxFbType(ValueStore& store, double value) {
  AuxFbBits bits;
  const Result split = SplitAuxFBType(value, bits);
  if (split != code::kOk) return split;
  for (const auto& [name, raw] : AuxFbWrites(bits)) {
    const Result result = store.WriteRaw(name, raw);
    if (result != code::kOk) return result;
  }
  return code::kOk;
}

// A new gain keeps the present offset and a new offset the present gain;
// both counts are rewritten.
Result WriteCommandScaling(ValueStore& store, int32_t conversionCode, double value) {
  CommandCounts counts;
  Result result = ReadCommandCounts(store, counts);
  if (result != code::kOk) return result;
  double gain = value, offset = value;
  result = CommandFromCounts(conversionCode == kCmdGainCode ? kCmdOffsetCode : kCmdGainCode, counts,
                             conversionCode == kCmdGainCode ? offset : gain);
  int32_t pwmPlus = 0, pwmMinus = 0;
  if (result == code::kOk) result = PwmPlusFromCommand(counts.setup, gain, offset, pwmPlus);
  if (result == code::kOk) result = PwmMinusFromCommand(counts.setup, gain, offset, pwmMinus);
  return result == code::kOk ? WriteCommandCounts(store, pwmMinus, pwmPlus) : result;
}

template <typename Write>
Result WriteUnitScaled(ValueStore& store, int32_t conversionCode, double value, Write&& write) {
  int32_t raw = 0;
  const Result result = UserToRaw(conversionCode, value, store.Scaling(conversionCode), raw);
  return result == code::kOk ? write(raw) : result;
}

}  // namespace

ValueKind KindOf(int32_t conversionCode) {
  switch (conversionCode) {
    case 0:
    case 1: return ValueKind::kRaw;
    case 2: return ValueKind::kModelCode;
    case kAuxFbTypeCode: return ValueKind::kAuxFbType;
    case kCmdGainCode:
    case kCmdOffsetCode: return ValueKind::kCommandScaling;
    case kPwmMinusCode:
    case kPwmPlusCode: return ValueKind::kPwmCount;
    case kExtendedFaultsCode: return ValueKind::kExtendedFaults;
    case kHoldStepCode: return ValueKind::kHoldStep;
    case kBiquadCode: return ValueKind::kUnitScaled;
    default: return IsUnitTableConversion(conversionCode) ? ValueKind::kUnitScaled : ValueKind::kNone;
  }
}

Result ReadValue(ValueStore& store, std::string_view name, int32_t conversionCode, double& value) {
  switch (KindOf(conversionCode)) {
    case ValueKind::kRaw: return ReadRawValue(store, name, value);
    case ValueKind::kModelCode: return store.ReadModelCode(name, value);
    case ValueKind::kAuxFbType: return ReadAuxFbType(store, value);
    case ValueKind::kUnitScaled:
    case ValueKind::kPwmCount: return ReadUnitScaled(store, name, conversionCode, value);
    case ValueKind::kCommandScaling: return ReadCommandScaling(store, conversionCode, value);
    case ValueKind::kExtendedFaults:
      return store.ReportsStatus() ? ReadExtendedFaults(store, value) : code::kWrongDataType;
    case ValueKind::kHoldStep:
      // The hold setting's step reads as HstSet converted like code 51.
      return store.ReportsStatus() ? ReadUnitScaled(store, "HstSet", 51, value) : code::kWrongDataType;
    case ValueKind::kNone: break;
  }
  return code::kWrongDataType;
}

Result WriteValue(ValueStore& store, std::string_view name, int32_t conversionCode, double value) {
  switch (KindOf(conversionCode)) {
    case ValueKind::kRaw: return store.WriteRaw(name, TruncateToRaw(value));
    case ValueKind::kModelCode: return store.WriteModelCode(name, value);
    case ValueKind::kAuxFbType: return WriteAuxFbType(store, value);
    case ValueKind::kUnitScaled:
      return WriteUnitScaled(store, conversionCode, value,
                             [&](int32_t raw) { return store.WriteRaw(name, raw); });
    case ValueKind::kPwmCount:
      return WriteUnitScaled(store, conversionCode, value,
                             [&](int32_t raw) { return store.WritePwmCount(name, conversionCode, raw); });
    case ValueKind::kCommandScaling: return WriteCommandScaling(store, conversionCode, value);
    case ValueKind::kExtendedFaults:
    case ValueKind::kHoldStep:
    case ValueKind::kNone: break;
  }
  return code::kWrongDataType;
}

}  // namespace svodb
