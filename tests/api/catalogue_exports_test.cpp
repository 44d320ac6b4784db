// The catalogue, message and identity exports as a C caller sees them,
// without a drive.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <regex>
#include <string>

#include "api/export_fixture.h"
#include "svodb/svodb.h"

namespace svodb::testing {
namespace {

// A caller's buffer followed by bytes that must never be written.
template <std::size_t Size>
struct Guarded {
  std::array<char, Size + 16> bytes;
  Guarded() { bytes.fill('\x5A'); }
  char* data() { return bytes.data(); }
  std::string text() const { return std::string(bytes.data()); }
  bool untouched() const {
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return c == '\x5A'; });
  }
  bool tailIntact() const {
    return std::all_of(bytes.begin() + Size, bytes.end(), [](char c) { return c == '\x5A'; });
  }
};

using CatalogueExports = ExportTest;

TEST_F(CatalogueExports, CountAndNamesByPosition) {
  EXPECT_EQ(GetVarNum_SVODB(), 159);
  struct Case {
    int32_t position;
    const char* name;  // null: refused
  };
  for (const Case& c : {Case{1, "AFBDivisorSrc"}, Case{45, "DInp1 (EnbHWInp)"}, Case{159, "VerLW"}, Case{0, nullptr},
                        Case{-1, nullptr}, Case{160, nullptr}, Case{161, nullptr}, Case{INT32_MIN, nullptr}}) {
    Guarded<SVODB_NAME_SIZE> name;
    EXPECT_EQ(GetVarName_SVODB(c.position, name.data()), c.name != nullptr) << c.position;
    if (c.name != nullptr) {
      EXPECT_EQ(name.text(), c.name);
      EXPECT_TRUE(name.tailIntact());
    } else {
      EXPECT_TRUE(name.untouched()) << c.position;
    }
  }
  for (int32_t position = 1; position <= 159; ++position) {
    Guarded<SVODB_NAME_SIZE> name;
    ASSERT_TRUE(GetVarName_SVODB(position, name.data()));
    EXPECT_TRUE(name.tailIntact()) << position;
  }
}

TEST_F(CatalogueExports, StandardSpellingIgnoresCase) {
  Guarded<SVODB_NAME_SIZE> name;
  EXPECT_TRUE(GetStdVarName_SVODB("setups2-1", name.data()));
  EXPECT_EQ(name.text(), "SetupS2-1");
  Guarded<SVODB_NAME_SIZE> unknown;
  EXPECT_FALSE(GetStdVarName_SVODB("SetupS2-3", unknown.data()));
  EXPECT_FALSE(GetStdVarName_SVODB("an unknown name longer than any in the catalogue", unknown.data()));
  EXPECT_TRUE(unknown.untouched());
}

TEST_F(CatalogueExports, PlainFlagQueries) {
  struct Case {
    bool (*query)(const char*, uint8_t*);
    const char* name;
    uint8_t value;
  };
  const Case cases[] = {
      {StatVar_SVODB, "vbus", 1},          {StatVar_SVODB, "KVP", 0},
      {TRXSelect_SVODB, "KIP", 1},         {TRXSelect_SVODB, "kvp", 1},
      {TRXSelect_SVODB, "CmdSrc", 0},      {EnabledUnchange_SVODB, "PWMFreq", 1},
      {EnabledUnchange_SVODB, "KVP", 0},   {ReadOnly_SVODB, "VBus", 1},
      {ReadOnly_SVODB, "KVP", 0},          {ReadOnly_SVODB, "DInp2 (InhibitCW)", 1},
  };
  for (const Case& c : cases) {
    uint8_t value = 7;
    EXPECT_TRUE(c.query(c.name, &value)) << c.name;
    EXPECT_EQ(value, c.value) << c.name;
  }
}

TEST_F(CatalogueExports, UnknownNamesAndNullPointersAnswerFalseAndWriteNothing) {
  using Query = bool (*)(const char*, uint8_t*);
  for (Query query : {ReadOnly_SVODB, StatVar_SVODB, TRXSelect_SVODB, EnabledUnchange_SVODB, MfgNVPara_SVODB}) {
    uint8_t value = 7;
    EXPECT_FALSE(query("NoSuchVariable", &value));
    EXPECT_EQ(value, 7);
    EXPECT_FALSE(query(nullptr, &value));
    EXPECT_EQ(value, 7);
    EXPECT_FALSE(query("KVP", nullptr));
  }
  for (Query query : {ForUser_SVODB, UserNVPara_SVODB}) {
    uint8_t value = 7;
    EXPECT_FALSE(query("NoSuchVariable", &value) || query(nullptr, &value) || query("KVP", nullptr));
    EXPECT_EQ(value, 0);  // these two always answer with a value
  }
  EXPECT_FALSE(GetVarName_SVODB(1, nullptr));
  EXPECT_FALSE(GetStdVarName_SVODB(nullptr, nullptr));
  ErrorMessage_SVODB(1, nullptr);
  DLLCompileTime_SVODB(nullptr);
}

TEST_F(CatalogueExports, DriveQueriesWithoutAConnection) {
  uint8_t value = 7;
  EXPECT_FALSE(ForUser_SVODB("GearIn", &value));  // no connection type yet
  EXPECT_EQ(value, 0);
  value = 7;
  EXPECT_TRUE(UserNVPara_SVODB("KVP", &value));  // known, but LogicVer cannot be read
  EXPECT_EQ(value, 0);
  EXPECT_FALSE(MfgNVPara_SVODB("PWMFreq", &value));
  EXPECT_TRUE(ReadOnly_SVODB("Command", &value));  // no connection type changes nothing
  EXPECT_EQ(value, 0);
}

TEST_F(CatalogueExports, TextsFitTheirBuffers) {
  for (int32_t code : {0, 10408, 43910, 110008, -1, INT32_MIN, INT32_MAX}) {
    Guarded<SVODB_MESSAGE_SIZE> message;
    ErrorMessage_SVODB(code, message.data());
    EXPECT_TRUE(message.tailIntact()) << code;
  }
  Guarded<SVODB_COMPILE_TIME_SIZE> first, second;
  DLLCompileTime_SVODB(first.data());
  DLLCompileTime_SVODB(second.data());
  EXPECT_EQ(first.text(), second.text());
  EXPECT_EQ(first.text().size(), 20u);
  EXPECT_TRUE(std::regex_match(first.text(), std::regex("[A-Z][a-z]{2} [ 123][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}")))
      << first.text();
  EXPECT_TRUE(first.tailIntact());
  Guarded<SVODB_VERSION_SIZE> library, network;  // without a transport library
  DLLVersion_SVODB(library.data());
  NCLVersion_SVODB(network.data());
  EXPECT_EQ(library.text(), " and 1.60.0000");
  EXPECT_EQ(network.text(), "");
}

}  // namespace
}  // namespace svodb::testing
