// The variable catalogue, its parameter sets and the messages of the result
// codes, checked by their properties and by hand-worked values.
#include "catalog/catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "catalog/result_codes.h"

namespace svodb {
namespace {

std::vector<std::string> Names(const ParameterList& list) {
  std::vector<std::string> names;
  for (const VariableRecord* record : list) names.emplace_back(record->name);
  return names;
}

ParameterList SetOf(const Catalogue& catalogue, ParameterSet set) {
  ParameterList list;
  AppendParameterSet(catalogue, set, list);
  return list;
}

// Checked by property: a name once (case-folded), flags as bits, every
// variable listed and within the logic versions, units led by one blank.
TEST(CatalogueTable, NamesFlagsAndUnitsAreWellFormed) {
  std::set<std::string> keys;
  for (const VariableRecord& record : kCatalogueTable) {
    for (uint8_t flag : record.flags) EXPECT_LE(flag, 1);
    EXPECT_EQ(record.flags[14] + record.flags[15], 0) << (record.name ? record.name : "terminator");
    if (record.name == nullptr) continue;
    EXPECT_TRUE(keys.insert(FoldCase(record.name)).second) << record.name;
    EXPECT_LE(std::string(record.name).size(), 18u) << record.name;
    EXPECT_TRUE(record.minLogicVersion >= 2 && record.minLogicVersion <= 4) << record.name;
    EXPECT_EQ(record.flags[kListedFlag], 1) << record.name;
    for (int column = 0; column < 4; ++column) {
      const std::string unit = record.units[static_cast<std::size_t>(column)];
      EXPECT_LT(unit.size(), 14u) << record.name;
      const bool blank = unit.find_first_not_of(" \t") == std::string::npos;
      const bool pwmMinusTab = std::string(record.name) == "PWMMinus" && column == 1;
      EXPECT_TRUE(blank || pwmMinusTab || (unit[0] == ' ' && unit[1] != ' ')) << record.name << " " << column;
    }
  }
  EXPECT_EQ(keys.size(), 159u);
  EXPECT_EQ(FoldCase("AZaz09-() \xC4"), "azaz09-() \xC4");  // the letters A to Z only
  const Catalogue catalogue;
  const VariableRecord& terminator = *catalogue.AtPosition(160);
  EXPECT_EQ(terminator.number, -1);
  EXPECT_STREQ(terminator.description, "Table terminator");
}

TEST(CatalogueIndex, FindsTheCataloguesOwnRecordsAndNothingElse) {
  Catalogue catalogue;
  for (const char* unknown : {"DInp1 ", "", "AFBDivisorSrcAndMore"})
    EXPECT_EQ(catalogue.Find(unknown), nullptr);
  EXPECT_EQ(catalogue.GetConversionCode("NoSuchVariable"), 9);
  catalogue.Find("command")->flags[kReadOnlyFlag] = 1;  // changes stick
  EXPECT_EQ(catalogue.Find("Command")->flags[kReadOnlyFlag], 1);
}

TEST(ParameterSets, SizesAndTheSerialOnlyParameters) {
  const Catalogue catalogue;
  const std::pair<ParameterSet, std::size_t> sizes[] = {{ParameterSet::kDriveRead, 83},
                                                        {ParameterSet::kUserWrite, 69},
                                                        {ParameterSet::kUserFile, 65},
                                                        {ParameterSet::kManufacturing, 14},
                                                        {ParameterSet::kManufacturingFile, 14}};
  for (const auto& [set, size] : sizes) EXPECT_EQ(SetOf(catalogue, set).size(), size);
  EXPECT_EQ(Names(SetOf(catalogue, ParameterSet::kUserFile)).front(), "ARF0");
  EXPECT_EQ(Names(SetOf(catalogue, ParameterSet::kUserFile)).back(), "TRXSpan");
  const auto serial = Names(SetOf(catalogue, ParameterSet::kUserWrite));
  const auto network = Names(SetOf(catalogue, ParameterSet::kNetworkUserWrite));
  std::vector<std::string> missing;
  for (const std::string& name : serial) {
    if (std::find(network.begin(), network.end(), name) == network.end()) missing.push_back(name);
  }
  EXPECT_EQ(missing, (std::vector<std::string>{"EnInhibitCCW", "EnInhibitCW", "GearIn", "GearOut"}));
}

TEST(ParameterSets, KeepTheBiquadOrderOfEachSection) {
  const Catalogue catalogue;
  for (ParameterSet set : {ParameterSet::kDriveRead, ParameterSet::kUserWrite, ParameterSet::kUserFile}) {
    std::vector<std::string> biquads;
    for (const std::string& name : Names(SetOf(catalogue, set))) {
      if (name.rfind("BQ", 0) == 0) biquads.push_back(name);
    }
    ASSERT_EQ(biquads.size(), 16u);
    for (std::size_t i = 0; i < 16; ++i) {
      static const char* kOrder[] = {"B2", "K1", "B1", "K2"};
      EXPECT_EQ(biquads[i], "BQ" + std::to_string(i / 4) + kOrder[i % 4]);
    }
  }
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
  std::size_t longest = 0;
  for (Result context = -2; context <= 12; ++context) {
    for (Result detail = 0; detail < 100; ++detail) {
      for (Result base = -99; base < 100; ++base) {
        const Result code =
            context * 10000 + (context < 0 ? -1 : 1) * (detail * 100 + (base < 0 ? -base : base));
        longest = std::max(longest, ErrorMessage(catalogue, code).size());
      }
    }
  }
  for (Result code : {INT32_MIN, INT32_MAX, INT32_MIN + 1, 2147480000, -2147480000}) {
    longest = std::max(longest, ErrorMessage(catalogue, code).size());
  }
  EXPECT_LT(longest, kMessageCapacity);
}

// The message goes straight into the caller's buffer: cut to its room,
// always terminated, the length returned; bytes past the room untouched.
TEST(ErrorMessage, ComposesIntoTheCallersBufferAndCutsAtItsEnd) {
  const Catalogue catalogue;
  struct Case {
    Result code;
    std::size_t room;
    const char* message;
  };
  const Case cases[] = {
      {SVODB_CONTEXT_LOAD_FROM_FPGA + 4 * 100 + SVODB_INVALID_PARAMETER, 120,
       "Invalid parameter when loading from FPGA at variable--AFBMitEn"},
      {SVODB_CONTEXT_LOAD_FROM_FPGA + 4 * 100 + SVODB_INVALID_PARAMETER, 21, "Invalid parameter wh"},
      {SVODB_CONTEXT_READ_FILE + 7 * 100 + SVODB_CANT_OPEN_FILE, 40,
       "Can't open file when reading file at No"},
      {SVODB_OUT_OF_RANGE, 1, ""},
  };
  for (const Case& c : cases) {
    std::array<char, 130> buffer;
    buffer.fill('#');
    const std::size_t length = ComposeErrorMessage(catalogue, c.code, std::span<char>(buffer.data(), c.room));
    EXPECT_EQ(std::string(buffer.data()), c.message) << c.code;
    EXPECT_EQ(length, std::string_view(c.message).size()) << c.code;
    EXPECT_EQ(buffer[c.room], '#') << c.code;
  }
}

}  // namespace
}  // namespace svodb
