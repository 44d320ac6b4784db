// The drive's register descriptors: where each register's bits lie in the
// FPGA register space and in the NV memory, how they are coded, which raw
// values are legal and the raw value every node starts from.
//
// ILmtMinus, ILmtPlus and DeadBand are listed in their load-time layout
// (8-bit current limits, 5-bit dead band); RegisterMap rewrites them when the
// drive's logic version or dead-band form says otherwise.
#include "drive/register_table.h"

#include <string_view>

#include "drive/register_rows.h"

namespace svodb {

namespace {

constexpr std::array<RegisterDescriptor, kRegisterCount> kRows = RegisterRows();

// A short initialiser list would leave trailing rows zeroed without a word
// from the compiler, so every row must carry its own position and a name.
constexpr bool EveryRowPresent() {
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    if (kRows[i].name == nullptr || kRows[i].number != static_cast<int32_t>(i + 1)) return false;
  }
  return true;
}

static_assert(kRows.size() == 158, "the drive has 158 registers");
static_assert(EveryRowPresent(), "every row numbered by its position, none missing");

}  // namespace

constexpr std::array<RegisterDescriptor, kRegisterCount> kRegisterTable = kRows;
constexpr NameIndex<kRegisterCount> kRegisterNameIndex = BuildNameIndex<kRegisterCount>(kRows);
static_assert(!kRegisterNameIndex.HasDuplicates(), "register names are unique without regard to case");

namespace {

consteval std::size_t PositionOf(std::string_view name) {
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    if (name == kRows[i].name) return i;
  }
  throw "no such register";
}

}  // namespace

constexpr std::size_t kBiquadStart = PositionOf("BQ0B2");

}  // namespace svodb
