// The catalogue, message and identity exports as a C caller sees them,
// without a drive.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <regex>
#include <string>

#include "api/export_fixture.h"
#include "svodb/svodb.h"

namespace svodb::testing {
namespace {

// A caller's buffer of `Size` bytes followed by bytes that must never be written.
template <std::size_t Size>
struct Guarded {
  std::array<char, Size + 16> bytes;
  Guarded() { bytes.fill('\x5A'); }
  char* data() { return bytes.data(); }
  std::string text() const { return bytes.data(); }
  bool UntouchedFrom(std::size_t from) const {
    return std::all_of(bytes.begin() + from, bytes.end(), [](char c) { return c == '\x5A'; });
  }
  bool TailIntact() const { return UntouchedFrom(Size); }
};

using CatalogueExports = ExportTest;

TEST_F(CatalogueExports, NamesByPositionAndInTheirStandardSpelling) {
  EXPECT_EQ(GetVarNum_SVODB(), 159);
  struct Case {
    int32_t position;
    const char* name;  // null: refused
  };
  for (const Case& c :
       {Case{1, "AFBDivisorSrc"}, Case{45, "DInp1 (EnbHWInp)"}, Case{159, "VerLW"}, Case{0, nullptr},
        Case{-1, nullptr}, Case{160, nullptr}, Case{161, nullptr}, Case{INT32_MIN, nullptr}}) {
    Guarded<SVODB_NAME_SIZE> name;
    EXPECT_EQ(GetVarName_SVODB(c.position, name.data()), c.name != nullptr) << c.position;
    EXPECT_TRUE(c.name != nullptr ? name.TailIntact() : name.UntouchedFrom(0)) << c.position;
    if (c.name == nullptr) continue;
    EXPECT_EQ(name.text(), c.name);
  }
  for (int32_t position = 1; position <= 159; ++position) {
    Guarded<SVODB_NAME_SIZE> name;
    ASSERT_TRUE(GetVarName_SVODB(position, name.data()));
    EXPECT_TRUE(name.TailIntact()) << position;
  }
  Guarded<SVODB_NAME_SIZE> name;
  EXPECT_TRUE(GetStdVarName_SVODB("setups2-1", name.data()));
  EXPECT_EQ(name.text(), "SetupS2-1");
  Guarded<SVODB_NAME_SIZE> unknown;
  EXPECT_FALSE(GetStdVarName_SVODB("SetupS2-3", unknown.data()));
  EXPECT_FALSE(GetStdVarName_SVODB("an unknown name longer than any in the catalogue", unknown.data()));
  EXPECT_TRUE(unknown.UntouchedFrom(0));
}

TEST_F(CatalogueExports, FlagQueries) {
  struct Case {
    bool (*query)(const char*, uint8_t*);
    const char* name;
    uint8_t value;
  };
  const Case cases[] = {
      {StatVar_SVODB, "vbus", 1},
      {StatVar_SVODB, "KVP", 0},
      {TRXSelect_SVODB, "KIP", 1},
      {TRXSelect_SVODB, "kvp", 1},
      {TRXSelect_SVODB, "CmdSrc", 0},
      {EnabledUnchange_SVODB, "PWMFreq", 1},
      {EnabledUnchange_SVODB, "KVP", 0},
      {ReadOnly_SVODB, "VBus", 1},
      {ReadOnly_SVODB, "KVP", 0},
      {ReadOnly_SVODB, "DInp2 (InhibitCW)", 1},
      // Without a connection: no connection type, no readable LogicVer.
      {ReadOnly_SVODB, "Command", 0},
      {UserNVPara_SVODB, "KVP", 0},
  };
  for (const Case& c : cases) {
    uint8_t value = 7;
    EXPECT_TRUE(c.query(c.name, &value)) << c.name;
    EXPECT_EQ(value, c.value) << c.name;
  }
  uint8_t value = 7;
  EXPECT_FALSE(ForUser_SVODB("GearIn", &value));
  EXPECT_EQ(value, 0);
  EXPECT_FALSE(MfgNVPara_SVODB("PWMFreq", &value));
}

TEST_F(CatalogueExports, UnknownNamesAndNullPointersAnswerFalseAndWriteNothing) {
  using Query = bool (*)(const char*, uint8_t*);
  for (Query query :
       {ReadOnly_SVODB, StatVar_SVODB, TRXSelect_SVODB, EnabledUnchange_SVODB, MfgNVPara_SVODB}) {
    uint8_t value = 7;
    EXPECT_FALSE(query("NoSuchVariable", &value) || query(nullptr, &value) || query("KVP", nullptr));
    EXPECT_EQ(value, 7);
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

// The message of a code is its base's text, the context's and the variable
// the detail names, with the drive tools' exact wording and spelling.
TEST_F(CatalogueExports, MessagesComposeBaseContextAndDetail) {
  struct Case {
    int32_t code;
    const char* message;
  };
  const Case cases[] = {
      {23, "Data is out of range"},
      {0, "No Response from drive"},
      {7, "Address in FPGA and EEPROM don't match"},
      {10408, "Invalid parameter when loading from FPGA at variable--AFBMitEn"},
      {43910, "Error during data transfer when sending to EEPROM at variable--CmdSrc"},
      {69910, "Error during data transfer when writing file at variable--IdFB"},
      {50731, "Can't open file when reading file at No.7 variable"},
      {50032, "Wrong file format when reading file at No.0 variable"},
      {70004, "Wrong FPGA or EEPROM address in drive when erasing EEPROM"},
      {80000, "No Response from drive when geting drive mode or model"},
      {90011, "Wrong logic version when checking drive logic version"},
      {100923, "Data is out of range when loading default value"},
      {110008, "Invalid parameter"},
      {1, "System Error"},
      {-1, "System Error"},
      {-10008, "System Error"},
      {43, "System Error"},  // an unlisted base
      {INT32_MIN, "System Error"},
      {INT32_MAX, "System Error"},
      // Position 60 is EEData; 160 cannot be a detail; 0 names nothing.
      {36010, "Error during data transfer when loading from EEPROM at variable--EEData"},
      {30010, "Error during data transfer when loading from EEPROM"},
  };
  for (const Case& c : cases) {
    Guarded<SVODB_MESSAGE_SIZE> message;
    ErrorMessage_SVODB(c.code, message.data());
    EXPECT_EQ(message.text(), c.message) << c.code;
    EXPECT_TRUE(message.TailIntact()) << c.code;
  }
}

TEST_F(CatalogueExports, CompileTimeAndVersionsWithoutATransport) {
  Guarded<SVODB_COMPILE_TIME_SIZE> compiled;
  DLLCompileTime_SVODB(compiled.data());
  EXPECT_TRUE(std::regex_match(compiled.text(),
                               std::regex("[A-Z][a-z]{2} [ 123][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}")))
      << compiled.text();
  EXPECT_TRUE(compiled.TailIntact());
  Guarded<SVODB_VERSION_SIZE> library, network;
  DLLVersion_SVODB(library.data());
  NCLVersion_SVODB(network.data());
  EXPECT_EQ(library.text(), " and 1.60.0000");
  EXPECT_EQ(network.text(), "");
}

}  // namespace
}  // namespace svodb::testing
