// Where a variable's registers live: a node's image (offline) or the
// connected drive (online). The dispatch on the conversion code
// (values/conversion_dispatch.h) reads and writes through a store and does
// not know which kind it has; what differs between the two is here.
#pragma once

#include <cstdint>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"
#include "drive/unit_scaling.h"

namespace svodb {

class ValueStore {
 public:
  ValueStore(uint32_t modelCode, uint32_t commandUnits)
      : modelCode_(modelCode), commandUnits_(commandUnits) {}
  virtual ~ValueStore() = default;
  ValueStore(const ValueStore&) = delete;
  ValueStore& operator=(const ValueStore&) = delete;

  virtual Result ReadRaw(std::string_view name, int32_t& raw) = 0;
  // Range-checked for the store's command units.
  virtual Result WriteRaw(std::string_view name, int32_t raw) = 0;
  virtual ScalingInputs Scaling(int32_t conversionCode) = 0;
  // The model code (conversion code 2): an image keeps it in its node
  // state, the drive in a register.
  virtual Result ReadModelCode(std::string_view name, double& value) = 0;
  virtual Result WriteModelCode(std::string_view name, double value) = 0;
  // One command count (conversion codes 603 and 604) already in raw form.
  virtual Result WritePwmCount(std::string_view name, int32_t conversionCode, int32_t count) = 0;
  // Values the drive composes from its status (extended faults, the hold
  // setting's step) exist on the drive only.
  virtual bool ReportsStatus() const = 0;
  // Whether AFBMitEn means what it says; older logic reads it as set.
  virtual bool HasMitutoyoSelection() const = 0;

  CommandSetup Command(int32_t commandSource) const { return {modelCode_, commandUnits_, commandSource}; }

 protected:
  uint32_t CommandUnits() const { return commandUnits_; }

 private:
  uint32_t modelCode_;
  uint32_t commandUnits_;
};

// A node's image, nodes 0-6 (node 0 is the connected drive's image): its
// stored model and units, and for node 0 the drive's logic version where a
// gain format follows it.
class ImageStore final : public ValueStore {
 public:
  ImageStore(LibraryContext& ctx, uint32_t node);
  Result ReadRaw(std::string_view name, int32_t& raw) override;
  Result WriteRaw(std::string_view name, int32_t raw) override;
  ScalingInputs Scaling(int32_t conversionCode) override;
  Result ReadModelCode(std::string_view name, double& value) override;
  Result WriteModelCode(std::string_view name, double value) override;
  Result WritePwmCount(std::string_view name, int32_t conversionCode, int32_t count) override;
  bool ReportsStatus() const override { return false; }
  bool HasMitutoyoSelection() const override;

 private:
  LibraryContext& ctx_;
  uint32_t node_;
};

// The connected drive with its model and units as last read.
class DriveStore final : public ValueStore {
 public:
  explicit DriveStore(LibraryContext& ctx);
  Result ReadRaw(std::string_view name, int32_t& raw) override;
  Result WriteRaw(std::string_view name, int32_t raw) override;
  ScalingInputs Scaling(int32_t conversionCode) override;
  Result ReadModelCode(std::string_view name, double& value) override;
  Result WriteModelCode(std::string_view name, double value) override;
  Result WritePwmCount(std::string_view name, int32_t conversionCode, int32_t count) override;
  bool ReportsStatus() const override { return true; }
  bool HasMitutoyoSelection() const override { return true; }

 private:
  LibraryContext& ctx_;
};

// Both counts of the analog command, PWMMinus first as the drive takes them.
Result WriteCommandCounts(ValueStore& store, int32_t pwmMinus, int32_t pwmPlus);

}  // namespace svodb
