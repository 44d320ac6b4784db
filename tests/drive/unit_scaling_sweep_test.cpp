// Sweep of the unit scaling over every scaled catalogue variable: each raw
// value its register admits is converted to engineering units and back, for
// every model, both command units and the logic versions and DeadBand forms
// that change a format. kRules says per conversion code whether the raw value
// must come back; where display rounding makes the formulas not inverse it
// gives the largest drift, which the sweep must reach, and the reason.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "catalog/catalogue_table.h"
#include "drive/register_map.h"
#include "drive/unit_scaling.h"

namespace svodb {
namespace {

enum class Expect : uint8_t {
  kInverse,     // the raw value comes back
  kDrift,       // comes back within maxDrift counts; the bound is reached
  kReadOnly,    // no write direction; every raw shows a value of its own
  kCountWrite,  // the write takes the raw count itself, without unit factor
};

enum class Refusal : uint8_t {
  kNone,
  kAtEnds,    // the value shown at an end of the range, rounded, lies beyond it
  kNegative,  // a negative raw reads as unsigned, beyond the signed write
};

enum class Variation : uint8_t { kNone, kLogicVersion, kDeadBandForm };

struct Rule {
  int32_t code;
  int32_t fromLogic;  // the row applies from this logic version on
  Expect expect;
  int32_t maxDrift;      // raw counts; gain codes: code steps
  uint32_t ignoredBits;  // register bits the format does not use
  Refusal refusal;
  Variation variation;
  const char* what;
};

using E = Expect;
using R = Refusal;
using V = Variation;

// Old gain formats have a 3-bit exponent field, so bit 7 of an 8-bit gain
// register does not count; CmdF0 also ignores mantissa bit 0. The write of
// such a raw gives the code without those bits.
//
// Where display rounding makes the formulas not inverse, the row says why
// (the drift in raw counts, or code steps for gains). 603 and 604 write the
// count they are given, without the unit factor of the read.
// clang-format off
constexpr Rule kRules[] = {
    {11, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "Command, CmdIn"},
    {12, 0, E::kDrift, 1, 0, R::kNone, V::kNone, "CommOff: 0.088 degree a count shown to 0.1"},
    {13, 0, E::kDrift, 7, 0, R::kAtEnds, V::kNone, "IdCmd: 0.0074 A a count (X7101) shown to 0.1"},
    {14, 0, E::kInverse, 0, 0, R::kNone, V::kDeadBandForm, "DeadBand, 5 and 6 bits"},
    {15, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "PWMFreq"},
    {16, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "VelFB, Velocity"},
    {17, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "LogicVer"},
    {18, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "bus voltage thresholds"},
    {19, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "KVFF"},
    {20, 0, E::kDrift, 1, 0, R::kAtEnds, V::kNone, "PosFB: 1/256 a count shown to 0.01"},
    {21, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "I2TTrip"},
    {22, 0, E::kReadOnly, 0, 0, R::kNone, V::kNone, "IFB, IdFB"},
    {24, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "counts"},
    {25, 0, E::kInverse, 0, 0, R::kNone, V::kLogicVersion, "KIP"},
    {26, 0, E::kInverse, 0, 0x80, R::kNone, V::kLogicVersion, "KVI, old format"},
    {26, 3, E::kDrift, 1, 0, R::kNone, V::kLogicVersion, "KVI, new format: 0.0118/16 a step shown to 0.001"},
    {27, 0, E::kDrift, 4, 0x80, R::kAtEnds, V::kLogicVersion, "KVP, old format: 0.002 a step shown to 0.001"},
    {27, 3, E::kDrift, 8, 0, R::kAtEnds, V::kLogicVersion, "KVP, new format: 0.001 a step shown to 0.001"},
    {28, 0, E::kInverse, 0, 0x80, R::kNone, V::kLogicVersion, "ARF0, ARF1, old format"},
    {28, 3, E::kInverse, 0, 0, R::kNone, V::kLogicVersion, "ARF0, ARF1, new format"},
    {29, 0, E::kInverse, 0, 0x80, R::kNone, V::kLogicVersion, "I2TF0, old format"},
    {29, 2, E::kInverse, 0, 0, R::kNone, V::kLogicVersion, "I2TF0, new format"},
    {30, 0, E::kInverse, 0, 0x80, R::kAtEnds, V::kLogicVersion, "ITF0: 248 shows as 0.7341 = 248.006 steps"},
    {31, 0, E::kInverse, 0, 0, R::kAtEnds, V::kLogicVersion, "KPP: 248 shows as 94.12 = 248.010 steps"},
    {32, 0, E::kInverse, 0, 0x81, R::kNone, V::kLogicVersion, "CmdF0, old format"},
    {32, 3, E::kInverse, 0, 0x01, R::kNone, V::kLogicVersion, "CmdF0, new format"},
    {33, 0, E::kReadOnly, 0, 0, R::kNone, V::kNone, "SerialNum, VerLW"},
    {34, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "GearOut"},
    {42, 0, E::kReadOnly, 0, 0, R::kNone, V::kNone, "VBus"},
    {43, 0, E::kDrift, 1, 0, R::kNone, V::kLogicVersion, "ILmtMinus: 1.51 counts a percent shown to 1"},
    {44, 0, E::kDrift, 1, 0, R::kNone, V::kLogicVersion, "ILmtPlus"},
    {51, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "HstSet"},
    {52, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "IUOffset, IVOffset"},
    {53, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "MTemp, MTempLimit"},
    {54, 0, E::kReadOnly, 0, 0, R::kNone, V::kNone, "HSTemp"},
    {99, 0, E::kReadOnly, 0, 0, R::kNone, V::kNone, "fault history, AuxFBMitAlrm"},
    {241, 0, E::kReadOnly, 0, 0, R::kNone, V::kNone, "HallInp"},
    {242, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "GearIn"},
    {243, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "AuxFBDivisor"},
    {244, 0, E::kDrift, 6, 0, R::kNone, V::kNone, "AuxFBComAng: 11.4 counts a degree shown to 1"},
    {245, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "encoder counts"},
    {246, 0, E::kInverse, 0, 0, R::kNegative, V::kNone, "FBDivisor: a negative raw reads as r + 2^32"},
    {247, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "EnDatNumClks"},
    {248, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "PosErrorMax"},
    {603, 0, E::kCountWrite, 0, 0, R::kNone, V::kNone, "PWMMinus"},
    {604, 0, E::kCountWrite, 0, 0, R::kNone, V::kNone, "PWMPlus"},
    {752, 0, E::kInverse, 0, 0, R::kNone, V::kNone, "biquad coefficients"},
};
// clang-format on
constexpr std::size_t kRuleCount = std::size(kRules);

// The row for this code under this logic version; kRuleCount for none.
std::size_t RuleIndex(int32_t code, int32_t logic) {
  std::size_t found = kRuleCount;
  for (std::size_t i = 0; i < kRuleCount; ++i)
    if (kRules[i].code == code && kRules[i].fromLogic <= logic) found = i;
  return found;
}

// Logic 1-3 lie on both sides of every format change (I2TF0 above 1, the
// other gains and the current-limit layout from 3).
std::vector<std::pair<int32_t, int32_t>> LogicAndDeadBandForms(Variation variation) {
  switch (variation) {
    case Variation::kLogicVersion: return {{1, 1}, {2, 1}, {3, 1}};
    case Variation::kDeadBandForm: return {{3, 1}, {3, 2}};
    case Variation::kNone: break;
  }
  return {{3, 1}};
}

// Every value of [lo, hi] when there are at most 8192. Else the 64 values at
// either end and around 0, every +-2^k with two neighbours each side, and a
// comb: every 8th value from lo + phase (0-7) for ranges up to 2^17 values,
// 4096 teeth for wider ranges.
constexpr int64_t kFullSweep = 8192;
constexpr int64_t kCombStride = 8;

bool IsCombNarrow(int64_t span) { return span > kFullSweep && span <= (int64_t{1} << 17); }

std::vector<int32_t> RawValues(int64_t lo, int64_t hi, int64_t phase) {
  std::vector<int32_t> out;
  const int64_t span = hi - lo + 1;
  if (span <= kFullSweep) {
    for (int64_t r = lo; r <= hi; ++r) out.push_back(static_cast<int32_t>(r));
    return out;
  }
  std::vector<int64_t> values;
  for (int64_t anchor : {lo, hi - 63, int64_t{-32}})
    for (int64_t i = 0; i < 64; ++i) values.push_back(anchor + i);
  for (int k = 0; k < 32; ++k)
    for (int64_t sign : {1, -1})
      for (int64_t near = -2; near <= 2; ++near) values.push_back(sign * (int64_t{1} << k) + near);
  const int64_t stride = IsCombNarrow(span) ? kCombStride : span / 4096;
  for (int64_t r = lo + phase; r <= hi; r += stride) values.push_back(r);
  for (int64_t r : values)
    if (r >= lo && r <= hi) out.push_back(static_cast<int32_t>(r));
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

// Raw values as the register's field holds them: a one-byte field counts
// modulo its width, so ILmtMinus's bound 256 is the field's 0.
int64_t FieldDifference(const RegisterDescriptor& d, int64_t from, int64_t to) {
  if (d.byteCount != 1) return to - from;
  const int64_t size = int64_t{1} << d.bitWidth;
  int64_t diff = ((to - from) % size + size) % size;
  return diff >= size / 2 ? diff - size : diff;
}

struct Tally {
  int64_t checked = 0;
  uint32_t passes = 0;  // bit 2 * model + units for each pass that converted
  int64_t maxDrift = 0;
  int64_t refused = 0;
};

class Sweep {
 public:
  void Run() {
    for (const VariableRecord& record : kCatalogueTable) {
      if (record.name == nullptr) break;
      const std::size_t first = RuleIndex(record.conversionCode, 0);
      if (first == kRuleCount) continue;
      const RegisterState* state = map_.FindRegister(record.name);
      if (state == nullptr) {
        ADD_FAILURE() << record.name << ": no register";
        continue;
      }
      for (auto [logic, form] : LogicAndDeadBandForms(kRules[first].variation)) {
        map_.SetCurrentLimitLayout(logic);
        map_.SetDeadBandLayout(form);
        // Before logic 3 the current limits are two-bit selectors that the
        // catalogue reads unscaled.
        if (state->descriptor.codec == 1) continue;
        const std::size_t rule = RuleIndex(record.conversionCode, logic);
        for (uint32_t units : {0u, 1u}) SweepRegister(record, kRules[rule], tallies_[rule], logic, units);
      }
    }
  }

  const Tally& TallyOf(std::size_t rule) { return tallies_[rule]; }

 private:
  void SweepRegister(const VariableRecord& record, const Rule& rule, Tally& tally, int32_t logic,
                     uint32_t units) {
    const RegisterDescriptor d = map_.FindRegister(record.name)->descriptor;
    const uint32_t deadBandWidth = map_.FindRegister("DeadBand")->descriptor.bitWidth;
    const RawRange range = units == 0 ? map_.GetTorqueRange(record.name) : map_.GetVelocityRange(record.name);
    for (std::size_t m = 0; m < kModelTable.size(); ++m) {
      const ScalingInputs inputs{kModelTable[m].modelCode, units, logic, deadBandWidth};
      // Variables with one code and one range convert alike: sweep them once.
      const auto key = std::make_tuple(rule.code, range.min, range.max, m, units, logic, deadBandWidth);
      if (!swept_.insert(key).second) continue;
      const std::vector<int32_t> raws = Admitted(record.name, range, units, m);
      const std::string where = std::string(record.name) + " " + kModelTable[m].name + " units " +
                                std::to_string(units) + " logic " + std::to_string(logic);
      // The values shown at the two ends of the range.
      double first = 0.0;
      double last = 0.0;
      if (!raws.empty() && (RawToUser(rule.code, raws.front(), inputs, first) != code::kOk ||
                            RawToUser(rule.code, raws.back(), inputs, last) != code::kOk))
        Fail(where + ": the ends do not read");
      double previous = -std::numeric_limits<double>::infinity();
      for (int32_t raw : raws) {
        double value = 0.0;
        if (RawToUser(rule.code, raw, inputs, value) != code::kOk || !std::isfinite(value)) {
          Fail(where + " raw " + std::to_string(raw) + ": no finite reading");
          continue;
        }
        ++tally.checked;
        tally.passes |= 1u << (2 * m + units);
        if (rule.expect == Expect::kReadOnly || rule.expect == Expect::kCountWrite) {
          CheckOneWay(rule, raw, value, previous, inputs, where);
          previous = value;
          continue;
        }
        int32_t back = 0;
        if (UserToRaw(rule.code, value, inputs, back) != code::kOk) {
          Fail(where + " raw " + std::to_string(raw) + ": no write");
          continue;
        }
        const uint32_t canonical = static_cast<uint32_t>(raw) & ~rule.ignoredBits;
        const int32_t expected = rule.ignoredBits != 0 ? static_cast<int32_t>(canonical) : raw;
        const int64_t drift = std::abs(FieldDifference(d, expected, back));
        if (drift == 0) continue;
        const auto trace = [&] {
          return where + " raw " + std::to_string(raw) + " shows " + std::to_string(value) + ", writes " +
                 std::to_string(back);
        };
        if (back == kUnrepresentableRaw || !Admits(record.name, range, back, units)) {
          const bool allowed = (rule.refusal == Refusal::kAtEnds && (value == first || value == last)) ||
                               (rule.refusal == Refusal::kNegative && raw < 0);
          if (!allowed) Fail(trace() + ", refused by the register");
          ++tally.refused;
          continue;
        }
        tally.maxDrift = std::max(tally.maxDrift, drift);
        if (rule.expect == Expect::kInverse || drift > rule.maxDrift) Fail(trace());
        // What is shown must survive the write: the written raw shows the same.
        double again = 0.0;
        if (RawToUser(rule.code, back, inputs, again) != code::kOk || again != value)
          Fail(trace() + ", shown changes");
      }
    }
  }

  // A reading with no write direction (or one whose write takes the count)
  // still orders the raw values: strictly for read-only codes, so that no two
  // raws look alike, and non-decreasing for the PWM counts.
  void CheckOneWay(const Rule& rule, int32_t raw, double value, double previous, const ScalingInputs& inputs,
                   const std::string& where) {
    const auto trace = [&] {
      return where + " raw " + std::to_string(raw) + " shows " + std::to_string(value);
    };
    int32_t back = 0;
    if (rule.expect == Expect::kReadOnly) {
      if (UserToRaw(rule.code, value, inputs, back) != code::kSystemError) Fail(trace() + ": has a write");
      if (!(value > previous)) Fail(trace() + ": not above the raw before");
    } else {
      if (UserToRaw(rule.code, raw, inputs, back) != code::kOk || back != raw)
        Fail(trace() + ": count not taken");
      if (value < previous) Fail(trace() + ": below the raw before");
    }
  }

  // Whether the register takes this raw value: a range stored in order says
  // so itself, one stored upside down has the register map's own rule.
  bool Admits(const char* name, const RawRange& range, int32_t raw, uint32_t units) {
    if (range.min <= range.max) return raw >= range.min && raw <= range.max;
    return map_.SetRawValue(name, raw, static_cast<int32_t>(units), 1) == code::kOk;
  }

  // The raw values the register admits. A range stored upside down
  // (ILmtMinus's 256..105, FBDivisor's 1..-1, EnDatPPR's 0..-1) is left to
  // the register map's own rule over its span and a 32-bit sample.
  std::vector<int32_t> Admitted(const char* name, const RawRange& range, uint32_t units, std::size_t model) {
    if (range.min <= range.max) return Sample(range.min, range.max, model);
    std::vector<int32_t> candidates = Sample(INT32_MIN, INT32_MAX, model);
    const auto middle = static_cast<std::ptrdiff_t>(candidates.size());
    for (int64_t r = range.max; r <= range.min; ++r) candidates.push_back(static_cast<int32_t>(r));
    std::inplace_merge(candidates.begin(), candidates.begin() + middle, candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    std::vector<int32_t> admitted;
    for (int32_t r : candidates)
      if (Admits(name, range, r, units)) admitted.push_back(r);
    return admitted;
  }

  // RawValues, computed once per range and comb phase. The phase is the
  // model's position, so the eight models together reach every value of a
  // 16-bit range in each command unit.
  const std::vector<int32_t>& Sample(int64_t lo, int64_t hi, std::size_t model) {
    const int64_t phase = IsCombNarrow(hi - lo + 1) ? static_cast<int64_t>(model) % kCombStride : 0;
    auto [it, added] = samples_.try_emplace(std::make_tuple(lo, hi, phase));
    if (added) it->second = RawValues(lo, hi, phase);
    return it->second;
  }

  void Fail(const std::string& what) {
    if (++failures_ <= 20) ADD_FAILURE() << what;
  }

  RegisterMap map_;
  std::map<std::size_t, Tally> tallies_;
  std::map<std::tuple<int64_t, int64_t, int64_t>, std::vector<int32_t>> samples_;
  std::set<std::tuple<int32_t, int32_t, int32_t, std::size_t, uint32_t, int32_t, uint32_t>> swept_;
  int failures_ = 0;
};

TEST(UnitScalingSweep, EveryRawValueOfEveryScaledVariableConvertsBack) {
  Sweep sweep;
  sweep.Run();
  for (std::size_t i = 0; i < kRuleCount; ++i) {
    const Rule& rule = kRules[i];
    const Tally& tally = sweep.TallyOf(i);
    SCOPED_TRACE(std::to_string(rule.code) + " from logic " + std::to_string(rule.fromLogic) + ": " +
                 rule.what);
    EXPECT_GT(tally.checked, 0) << "nothing was swept";
    EXPECT_EQ(tally.passes, 0xFFFFu) << "every model in both command units";
    // The table says where the formulas are not inverse; keep it true.
    EXPECT_EQ(tally.maxDrift, rule.maxDrift);
    EXPECT_EQ(tally.refused > 0, rule.refusal != Refusal::kNone) << tally.refused << " refused";
  }
}

// Every conversion code the catalogue uses that the scaling knows has a row.
TEST(UnitScalingSweep, RulesCoverEveryScaledCatalogueCode) {
  for (const VariableRecord& record : kCatalogueTable) {
    if (record.name == nullptr) break;
    double value = 0.0;
    const bool scaled = RawToUser(record.conversionCode, 0, ScalingInputs{31, 0, 3, 5}, value) == code::kOk;
    EXPECT_EQ(scaled, RuleIndex(record.conversionCode, 0) != kRuleCount)
        << record.name << " code " << record.conversionCode;
  }
}

}  // namespace
}  // namespace svodb
