#include "values/value_store.h"

#include "catalog/parameter_database.h"
#include "catalog/version_support.h"
#include "drive/drive_facts.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "values/conversion_dispatch.h"
#include "values/scaling_context.h"

namespace svodb {

ImageStore::ImageStore(LibraryContext& ctx, uint32_t node)
    : ValueStore(ctx.db.nodes[node].modelCode, ctx.db.nodes[node].mode), ctx_(ctx), node_(node) {}

Result ImageStore::ReadRaw(std::string_view name, int32_t& raw) {
  return ctx_.registers.GetRawValue(name, static_cast<int32_t>(node_), raw);
}

Result ImageStore::WriteRaw(std::string_view name, int32_t raw) {
  return ctx_.registers.SetRawValue(name, raw, static_cast<int32_t>(CommandUnits()),
                                    static_cast<int32_t>(node_));
}

ScalingInputs ImageStore::Scaling(int32_t conversionCode) {
  ScalingInputs inputs = ImageScalingInputs(ctx_, node_, conversionCode);
  if (node_ == 0)
    inputs.logicVersion = DependsOnLogicVersion(conversionCode) ? LogicVersionOrOldest(ctx_) : 0;
  return inputs;
}

Result ImageStore::ReadModelCode(std::string_view, double& value) {
  value = ctx_.db.nodes[node_].modelCode;
  return code::kOk;
}

Result ImageStore::WriteModelCode(std::string_view, double value) {
  ctx_.db.nodes[node_].modelCode = static_cast<uint32_t>(TruncateToRaw(value));
  return code::kOk;
}

Result ImageStore::WritePwmCount(std::string_view name, int32_t, int32_t count) {
  return WriteRaw(name, count);
}

// The Mitutoyo selection needs a logic that has it; an image written for an
// older drive reads the AFBMitEn bit as set.
bool ImageStore::HasMitutoyoSelection() const { return SupportsMitutoyoFeedback(ctx_.db.driveVersion); }

DriveStore::DriveStore(LibraryContext& ctx)
    : ValueStore(ctx.db.connectedModelCode, ctx.db.connectedMode), ctx_(ctx) {}

Result DriveStore::ReadRaw(std::string_view name, int32_t& raw) {
  return ReadRegisterOnline(ctx_, name, raw);
}

Result DriveStore::WriteRaw(std::string_view name, int32_t raw) {
  return WriteRegisterOnline(ctx_, name, raw, static_cast<int32_t>(CommandUnits()));
}

ScalingInputs DriveStore::Scaling(int32_t conversionCode) {
  return ScalingInputsFor(ctx_, 0, conversionCode);
}

Result DriveStore::ReadModelCode(std::string_view name, double& value) {
  int32_t raw = 0;
  const Result result = ReadRaw(name, raw);
  if (result == code::kOk) value = raw;
  return result;
}

Result DriveStore::WriteModelCode(std::string_view name, double value) {
  return WriteRaw(name, TruncateToRaw(value));
}

// The drive takes either count only with the other rewritten at its present
// value, in its order PWMMinus then PWMPlus.
Result DriveStore::WritePwmCount(std::string_view, int32_t conversionCode, int32_t count) {
  const bool minus = conversionCode == kPwmMinusCode;
  int32_t other = 0;
  const Result result = ReadRaw(minus ? "PWMPlus" : "PWMMinus", other);
  if (result != code::kOk) return result;
  return minus ? WriteCommandCounts(*this, count, other) : WriteCommandCounts(*this, other, count);
}

Result WriteCommandCounts(ValueStore& store, int32_t pwmMinus, int32_t pwmPlus) {
  const Result result = store.WriteRaw("PWMMinus", pwmMinus);
  return result == code::kOk ? store.WriteRaw("PWMPlus", pwmPlus) : result;
}

}  // namespace svodb
