// The variable catalogue, its parameter sets and the messages of the result
// codes, checked by their properties and by hand-worked values.
#include "catalog/catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <iterator>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "catalog/result_codes.h"

namespace svodb {
namespace {

std::vector<std::string> NamesOf(ParameterSet set) {
  const Catalogue catalogue;
  ParameterList list;
  AppendParameterSet(catalogue, set, list);
  std::vector<std::string> names;
  for (const VariableRecord* record : list) names.emplace_back(record->name);
  return names;
}

// Checked by property: a name once (case-folded), flags as bits, every
// variable listed and within the logic versions, units led by one blank.
TEST(CatalogueTable, NamesFlagsAndUnitsAreWellFormed) {
  std::set<std::string> keys;
  for (const VariableRecord& record : kCatalogueTable) {
    const std::string name = record.name ? record.name : "terminator";
    const auto bit = [](uint8_t flag) { return flag <= 1; };
    EXPECT_TRUE(std::ranges::all_of(record.flags, bit) && record.flags[14] + record.flags[15] == 0) << name;
    if (record.name == nullptr) continue;
    EXPECT_TRUE(keys.insert(FoldCase(name)).second) << name;
    EXPECT_TRUE(name.size() <= 18 && record.minLogicVersion >= 2 && record.minLogicVersion <= 4) << name;
    EXPECT_EQ(record.flags[kListedFlag], 1) << name;
    for (std::size_t column = 0; column < 4; ++column) {
      const std::string unit = record.units[column];
      const bool blank = unit.find_first_not_of(" \t") == std::string::npos;
      const bool pwmMinusTab = name == "PWMMinus" && column == 1;
      EXPECT_TRUE(unit.size() < 14 && (blank || pwmMinusTab || (unit[0] == ' ' && unit[1] != ' ')))
          << name << " " << column;
    }
  }
  EXPECT_EQ(keys.size(), 159u);
  EXPECT_EQ(FoldCase("AZaz09-() \xC4"), "azaz09-() \xC4");  // the letters A to Z only
  const Catalogue catalogue;
  EXPECT_EQ(catalogue.AtPosition(160)->number, -1);
  EXPECT_STREQ(catalogue.AtPosition(160)->description, "Table terminator");
  for (const char* unknown : {"DInp1 ", "", "AFBDivisorSrcAndMore"})
    EXPECT_EQ(catalogue.Find(unknown), nullptr);
  EXPECT_EQ(catalogue.GetConversionCode("NoSuchVariable"), 9);
}

// Each set in catalogue order, the biquads in the order of their section.
TEST(ParameterSets, SizesEndsAndBiquadOrder) {
  const std::tuple<ParameterSet, std::size_t, const char*, const char*, std::size_t> sets[] = {
      {ParameterSet::kDriveRead, 83, "AFBDivisorSrc", "VBusUV", 16},
      {ParameterSet::kUserWrite, 69, "AFBDivisorSrc", "TRXSpan", 16},
      {ParameterSet::kUserFile, 65, "ARF0", "TRXSpan", 16},
      {ParameterSet::kManufacturing, 14, "DeadBand", "VBusUV", 0},
      {ParameterSet::kManufacturingFile, 14, "DeadBand", "VBusUV", 0}};
  for (const auto& [set, size, first, last, biquadCount] : sets) {
    const std::vector<std::string> names = NamesOf(set);
    ASSERT_EQ(names.size(), size);
    EXPECT_EQ(names.front() + " ... " + names.back(), std::string(first) + " ... " + last);
    std::vector<std::string> biquads;
    std::copy_if(names.begin(), names.end(), std::back_inserter(biquads),
                 [](const std::string& name) { return name.starts_with("BQ"); });
    ASSERT_EQ(biquads.size(), biquadCount);
    for (std::size_t i = 0; i < biquads.size(); ++i)
      EXPECT_EQ(biquads[i], "BQ" + std::to_string(i / 4) + std::string("B2K1B1K2").substr(i % 4 * 2, 2));
  }
  // The serial link's user parameters that a network drive does not take.
  const std::vector<std::string> network = NamesOf(ParameterSet::kNetworkUserWrite);
  std::vector<std::string> missing;
  for (const std::string& name : NamesOf(ParameterSet::kUserWrite)) {
    if (std::find(network.begin(), network.end(), name) == network.end()) missing.push_back(name);
  }
  EXPECT_EQ(missing, (std::vector<std::string>{"EnInhibitCCW", "EnInhibitCW", "GearIn", "GearOut"}));
}

TEST(UnitColumns, FollowCommandSourceAndMode) {
  // {command source, mode, column}: mode 0 is torque, command source 1 the second pair.
  const std::array<int32_t, 3> cases[] = {{0, 1, 0}, {0, 0, 1}, {1, 1, 2}, {1, 0, 3},
                                          {2, 1, 0}, {2, 0, 1}, {-1, 5, 0}};
  for (const auto& [source, mode, column] : cases)
    EXPECT_EQ(UnitColumn(source, static_cast<uint32_t>(mode)), column);
}

TEST(ErrorMessage, NeverNeedsMoreThan120Bytes) {
  const Catalogue catalogue;
  std::vector<Result> codes = {INT32_MIN, INT32_MAX, INT32_MIN + 1, 2147480000, -2147480000};
  for (Result context = -2; context <= 12; ++context) {
    for (Result detail = 0; detail < 100; ++detail) {
      for (Result base = -99; base < 100; ++base)
        codes.push_back(context * 10000 +
                        (context < 0 ? -1 : 1) * (detail * 100 + (base < 0 ? -base : base)));
    }
  }
  std::size_t longest = 0;
  for (Result code : codes) longest = std::max(longest, ErrorMessage(catalogue, code).size());
  EXPECT_LT(longest, kMessageCapacity);
}

// The message goes straight into the caller's buffer: cut to its room,
// always terminated, the length returned; bytes past the room untouched.
TEST(ErrorMessage, ComposesIntoTheCallersBufferAndCutsAtItsEnd) {
  const Catalogue catalogue;
  const std::tuple<Result, std::size_t, std::string> cases[] = {
      {SVODB_CONTEXT_LOAD_FROM_FPGA + 4 * 100 + SVODB_INVALID_PARAMETER, 21, "Invalid parameter wh"},
      {SVODB_CONTEXT_READ_FILE + 7 * 100 + SVODB_CANT_OPEN_FILE, 60,
       "Can't open file when reading file at No.7 variable"},
      {SVODB_OUT_OF_RANGE, 1, ""},
  };
  for (const auto& [code, room, message] : cases) {
    std::array<char, 130> buffer;
    buffer.fill('#');
    const std::size_t length = ComposeErrorMessage(catalogue, code, std::span<char>(buffer.data(), room));
    EXPECT_EQ(std::tuple(std::string(buffer.data()), length, buffer[room]),
              std::tuple(message, message.size(), '#'))
        << code;
  }
}

}  // namespace
}  // namespace svodb
