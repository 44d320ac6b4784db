// Parameter files: what the writer puts on disk, byte for byte; what the
// reader makes of good and bad files; the per-line setter; and that a
// failed write never damages the file it was to replace.
#include "paramset/param_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "api/global_state.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "paramset/set_fixture.h"
#include "platform/files.h"
#include "svodb/svodb.h"
#include "values/catalogue_queries.h"
#include "values/drive_identity.h"
#include "values/enumerations.h"
#include "values/offline_values.h"
#include "virtual_drive.h"

namespace svodb::testing {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

const std::pair<uint32_t, std::string> kModels[] = {
    {30, "X7101_240Vac_1.5/4.5Arms"}, {31, "X7102_240Vac_3/9Arms"},  {28, "X7103_240Vac_6/18Arms"},
    {15, "X7202_90Vdc_6/18Arms"},     {14, "X7201_90Vdc_3/9Arms"},   {29, "X7104_240Vac_12/30Arms"},
    {27, "X7105_240Vac_24/48Arms"},   {26, "X7106_240Vac_48/96Arms"}};

Lines SplitLines(const std::string& text) {
  Lines lines;
  std::size_t start = 0, end;
  while ((end = text.find(kLineEnd, start)) != std::string::npos) {
    lines.push_back(text.substr(start, end - start));
    start = end + kLineEnd.size();
  }
  EXPECT_EQ(start, text.size()) << "the last line has its line end";
  return lines;
}

std::string Trim(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string Pad(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

// A disk that fails where a test says: opening, part-way through writing,
// or moving the finished file over the target.
class FaultyFiles final : public FileSystem {
 public:
  bool failOpen = false, failWrite = false, failReplace = false;

  std::unique_ptr<std::istream> OpenForReading(const std::string& path) override {
    return SystemFileSystem().OpenForReading(path);
  }
  std::unique_ptr<OutputFile> OpenForWriting(const std::string& path) override {
    if (failOpen) return nullptr;
    std::unique_ptr<OutputFile> file = SystemFileSystem().OpenForWriting(path);
    if (file == nullptr || !failWrite) return file;
    return std::make_unique<DiskFull>(std::move(file));
  }
  bool Replace(const std::string& from, const std::string& to) override {
    return !failReplace && SystemFileSystem().Replace(from, to);
  }
  bool Remove(const std::string& path) override { return SystemFileSystem().Remove(path); }

 private:
  struct DiskFull final : OutputFile {
    explicit DiskFull(std::unique_ptr<OutputFile> file) : file(std::move(file)) {}
    bool Write(std::string_view bytes) override {
      file->Write(bytes.substr(0, bytes.size() / 2));
      return false;
    }
    bool Close() override { return file->Close(); }
    std::unique_ptr<OutputFile> file;
  };
};

class ParamFile : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    dir_ = fs::temp_directory_path() /
           ("svodb_param_file_" + std::to_string(getpid()) + "_" +
            std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override {
    UseFileSystemForTesting(nullptr);
    fs::remove_all(dir_);
    ExportTest::TearDown();
  }

  LibraryContext Ctx() { return api::Context(); }
  NodeState& Node(uint32_t node) { return api::Context().db.nodes[node]; }
  std::string Path(const char* name) const { return (dir_ / name).string(); }
  std::vector<std::string> DirectoryEntries() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir_)) names.push_back(entry.path().filename().string());
    return names;
  }

  static ParameterList List(ParameterSet set) {
    ParameterList list;
    AppendParameterSet(api::Context().db.catalogue, set, list);
    return list;
  }
  int32_t Raw(const char* name, uint32_t node) {
    int32_t raw = -999;
    Ctx().registers.GetRawValue(name, static_cast<int32_t>(node), raw);
    return raw;
  }
  double Value(const char* name, uint32_t node) {
    double value = -999;
    LibraryContext ctx = Ctx();
    EXPECT_EQ(GetOfflineValue(ctx, name, node, value), 1) << name;
    return value;
  }

  // An image of a given identity with values away from the register
  // defaults; the current limits in the format of its logic version.
  void PrepareImage(uint32_t node, uint32_t model, uint32_t driveType, int32_t logic, uint32_t mode,
                    int32_t commandSource) {
    LibraryContext ctx = Ctx();
    Node(node).modelCode = model;
    Node(node).driveType = driveType;
    Node(node).logicVersion = logic;
    ASSERT_EQ(SetModeFromFile(ctx, node, static_cast<int32_t>(mode)), 1);
    ctx.registers.SetCurrentLimitLayout(logic);
    const auto n = static_cast<int32_t>(node);
    ASSERT_EQ(ctx.registers.SetRawValue("ILmtPlus", logic < 3 ? 2 : 101, 1, n), 1);
    ASSERT_EQ(ctx.registers.SetRawValue("ILmtMinus", logic < 3 ? 1 : 207, 1, n), 1);
    const std::pair<const char*, double> values[] = {{"CmdSrc", commandSource},
                                                     {"CmdGain", 0.2},
                                                     {"CmdOffset", 0.25},
                                                     {"DM2Map", 4},
                                                     {"EncOut", 2},
                                                     {"DPoles", 5},
                                                     {"AuxFBType", 3},
                                                     {"KVP", 0.05},
                                                     {"GearIn", 1234},
                                                     {"AuxFBDivisor", 77}};
    for (const auto& [name, value] : values) ASSERT_EQ(PutOfflineValue(ctx, name, node, value), 1) << name;
  }

  Result Write(const std::string& path, ParameterList list, uint32_t node) {
    uint32_t commandSource = 0;
    LibraryContext ctx = Ctx();
    if (GetCommandSourceClass(ctx, node, commandSource) != 1) commandSource = 0;
    const NodeState& image = Node(node);
    return WriteParameterFile(ctx, path, std::move(list), false, image.modelCode, image.mode, image.driveType,
                              commandSource, 3, false, node);
  }

  struct ReadResult {
    Result result = -1;
    uint32_t model = 0, mode = 0;
    int32_t version = 0;
  };
  ReadResult ReadText(const std::string& text, uint32_t node = 2, bool manufacturing = false,
                      bool skipVersion = false) {
    std::istringstream in(text);
    ReadResult read;
    LibraryContext ctx = Ctx();
    read.result =
        ReadParameterStream(ctx, in, manufacturing, skipVersion, read.model, read.mode, read.version, node);
    return read;
  }

  fs::path dir_;
};

constexpr const char* kHeader =
    "Drive--X700_Base_Unit\nFileVersion 3\nDriveModel X7102_240Vac_3/9Arms (-STD)\n";

bool LeftOutFor(std::string_view name, uint32_t driveType) {
  if (driveType == 1) return name == "AuxFBDivisor" || name == "AuxFBType";
  return name == "GearIn" || name == "GearOut";
}

// Every model, both drive types and the three logic versions: the header,
// the names, each value's form and unit column, and the same offline values
// after reading the file into another image. The values pass six decimals
// on their way; the raw values they come back to are the same, so the
// offline values compare exactly.
TEST_F(ParamFile, UserFileForEveryModelDriveTypeAndLogicVersion) {
  const std::regex number("-?[0-9]+\\.[0-9]{6}"), integer("[0-9]+");
  int run = 0;
  for (const auto& [model, label] : kModels) {
    for (uint32_t driveType : {1u, 2u}) {
      for (int32_t logic : {2, 3, 4}) {
        const uint32_t mode = run % 2;
        const int32_t commandSource = run % 3;
        ++run;
        SCOPED_TRACE("model " + std::to_string(model) + " type " + std::to_string(driveType) + " logic " +
                     std::to_string(logic) + " mode " + std::to_string(mode) + " CmdSrc " +
                     std::to_string(commandSource));
        PrepareImage(1, model, driveType, logic, mode, commandSource);
        const std::string path = Path("user.par");
        ASSERT_EQ(Write(path, List(ParameterSet::kUserFile), 1), 10065);
        const Lines lines = SplitLines(Slurp(path));
        ASSERT_GT(lines.size(), 4u);
        EXPECT_EQ(lines[0], "Drive--X700_Base_Unit ");
        EXPECT_EQ(lines[1], "FileVersion " + std::to_string(logic) + " ");
        EXPECT_EQ(lines[2], "DriveModel " + label + (driveType == 1 ? " (-STD)" : " (-NET)"));
        EXPECT_EQ(lines[3], mode == 1 ? "ActiveCMDUnits Velocity" : "ActiveCMDUnits Torque/Current");

        std::vector<std::string> expectedNames, names;
        for (const VariableRecord* record : List(ParameterSet::kUserFile))
          if (!LeftOutFor(record->name, driveType)) expectedNames.emplace_back(record->name);
        for (std::size_t i = 4; i < lines.size(); ++i) names.push_back(Trim(lines[i].substr(0, 16)));
        ASSERT_EQ(names, expectedNames);

        const int scaledColumn = (commandSource == 1 ? 2 : 0) + (mode == 0 ? 1 : 0);
        for (std::size_t i = 4; i < lines.size(); ++i) {
          const std::string& line = lines[i];
          const std::string& name = names[i - 4];
          SCOPED_TRACE(line);
          ASSERT_EQ(line.size(), 84u);
          EXPECT_EQ(line.substr(16, 3), " = ");
          const std::string value = Trim(line.substr(19, 48));
          const double offline = Value(name.c_str(), 1);
          const VariableRecord& record = *Ctx().db.catalogue.Find(name);
          int unitColumn = 0;
          LibraryContext ctx = Ctx();
          if (EffectiveConversionCode(ctx, name, 1) <= 3) {
            EXPECT_EQ(value, ValueToFileLabel(ctx, name, static_cast<int32_t>(offline), 1).value());
          } else if (name == "FBDivisor") {
            EXPECT_TRUE(std::regex_match(value, integer));
          } else {
            EXPECT_TRUE(std::regex_match(value, number));
            EXPECT_NEAR(std::stod(value), offline, 5e-7 + 1e-12);
            if (name != "GearIn" && name != "GearOut" && name != "AuxFBDivisor") unitColumn = scaledColumn;
          }
          EXPECT_EQ(line.substr(68), Pad(record.units[static_cast<std::size_t>(unitColumn)], 16));
        }

        PrepareImage(2, model == 26 ? 31 : 26, 3 - driveType, 0, 1 - mode, 0);
        ReadResult read;
        LibraryContext ctx = Ctx();
        ASSERT_EQ(ReadParameterFile(ctx, path, false, false, read.model, read.mode, read.version, 2), 10099);
        EXPECT_EQ(read.model, model);
        EXPECT_EQ(read.mode, mode);
        EXPECT_EQ(read.version, logic);
        EXPECT_EQ(Node(2).modelCode, model);
        EXPECT_EQ(Node(2).driveType, driveType);
        EXPECT_EQ(Node(2).logicVersion, logic);
        EXPECT_EQ(Node(2).setupS21, 1 - mode);
        EXPECT_EQ(ctx.db.parameterFileNames[2], expectedNames);
        for (const std::string& name : expectedNames)
          EXPECT_EQ(Value(name.c_str(), 2), Value(name.c_str(), 1)) << name;
      }
    }
  }
}

TEST_F(ParamFile, LinesAreLaidOutInFixedColumns) {
  PrepareImage(1, 31, 1, 3, 1, 0);
  ParameterList list;
  for (const char* name : {"ARF0", "BatFDis", "CmdGain", "CmdSrc", "GearIn", "FBDivisor"})
    list.push_back(Ctx().db.catalogue.Find(name));
  std::string text;
  LibraryContext ctx = Ctx();
  ParameterFileIdentity identity{true, 31, 1, 1, 0, 7, true};
  ASSERT_EQ(FormatParameterFile(ctx, list, identity, 1, text), 10006);
  const std::string expected =
      "Drive--X700_Base_Unit--Mfg \n"
      "FileVersion 7 \n"
      "DriveModel X7102_240Vac_3/9Arms (-STD)\n"
      "ActiveCMDUnits Velocity\n"
      "ARF0             = 194.304000                                        Hz             \n"
      "BatFDis          = Disable                                                          \n"
      "CmdGain          = 0.200035                                          kRPM/V         \n"
      "CmdSrc           = Analog_Input                                                     \n"
      "GearIn           = 1234.000000                                                      \n"
      "FBDivisor        = 0                                                                \n";
  EXPECT_EQ(SplitLines(text),
            SplitLines(std::regex_replace(expected, std::regex("\n"), std::string(kLineEnd))));

  // Torque units on the percent scale, and a drive type with no edition.
  ASSERT_EQ(PutOfflineValue(ctx, "CmdSrc", 1, 1), 1);
  identity = ParameterFileIdentity{false, 26, 0, 5, 1, 3, true};
  ASSERT_EQ(FormatParameterFile(ctx, {ctx.db.catalogue.Find("CmdOffset")}, identity, 1, text), 10001);
  const Lines lines = SplitLines(text);
  EXPECT_EQ(lines[2], "DriveModel X7106_240Vac_48/96Arms ");
  EXPECT_EQ(lines[3], "ActiveCMDUnits Torque/Current");
  EXPECT_EQ(lines[4].substr(0, 19), "CmdOffset        = ");
  EXPECT_EQ(lines[4].substr(68), " %              ");
}

TEST_F(ParamFile, WriterRefusals) {
  PrepareImage(1, 31, 2, 3, 1, 0);
  LibraryContext ctx = Ctx();
  std::string text = "untouched";
  const ParameterList one{ctx.db.catalogue.Find("KVP")};
  EXPECT_EQ(FormatParameterFile(ctx, one, {false, 31, 2, 1, 0, 3, true}, 1, text), 22);
  EXPECT_EQ(FormatParameterFile(ctx, one, {false, 99, 1, 1, 0, 3, true}, 1, text), 9);
  EXPECT_EQ(
      FormatParameterFile(ctx, {ctx.db.catalogue.Find("ExtFaults")}, {false, 31, 1, 1, 0, 3, true}, 1, text),
      21);
  EXPECT_EQ(FormatParameterFile(ctx, one, {}, 7, text), 23);
  EXPECT_EQ(text, "untouched");
  // A command source outside 0-2 leaves scaled values out; they still count.
  ASSERT_EQ(FormatParameterFile(ctx, {one[0], ctx.db.catalogue.Find("BatFDis")},
                                {false, 31, 1, 1, 3, 3, true}, 1, text),
            10002);
  EXPECT_EQ(SplitLines(text).size(), 5u);
  EXPECT_EQ(SplitLines(text)[4].substr(0, 7), "BatFDis");
}

// A raw value outside its table has no label: it is written so that no
// label matches, and reading it back names the line.
TEST_F(ParamFile, ValueWithoutLabelIsRefusedWhenReadBack) {
  PrepareImage(1, 31, 1, 2, 1, 0);
  LibraryContext ctx = Ctx();
  ctx.registers.SetCurrentLimitLayout(3);
  ASSERT_EQ(ctx.registers.SetRawValue("ILmtPlus", 150, 1, 1), 1);
  ctx.registers.SetCurrentLimitLayout(2);
  std::string text;
  ASSERT_EQ(FormatParameterFile(ctx, {ctx.db.catalogue.Find("BatFDis"), ctx.db.catalogue.Find("ILmtPlus")},
                                {false, 31, 1, 1, 0, 2, true}, 1, text),
            10002);
  EXPECT_EQ(Trim(SplitLines(text)[5]),
            "ILmtPlus         = NoLabel_150                                       %");
  EXPECT_EQ(ReadText(text).result, 223);
}

// The writer joins a label's words with underscores; the reader takes a
// value up to its first blank. Only AuxFBType's value 5 (EnDat 2.1 linear,
// the five bits 29) has a second spelling; every other label is matched
// exactly, and a value that is no label of its variable fails with 23.
TEST_F(ParamFile, LabelsWithBlanks) {
  PrepareImage(1, 31, 2, 3, 1, 0);
  LibraryContext ctx = Ctx();
  ASSERT_EQ(PutOfflineValue(ctx, "AuxFBType", 1, 5), 1);
  std::string text;
  ASSERT_EQ(
      FormatParameterFile(ctx, {ctx.db.catalogue.Find("AuxFBType")}, {false, 31, 1, 2, 0, 3, true}, 1, text),
      10001);
  EXPECT_EQ(Trim(SplitLines(text)[4]), "AuxFBType        = EnDat_2.1_Linear");
  struct Case {
    const char* line;
    Result expected;
    int32_t auxType = -1;
  };
  const Case cases[] = {
      {"AuxFBType = EnDat_2.1_Linear", 10099, 5},
      {"AuxFBType = EnDat_2.1 Linear", 10099, 5},
      {"AuxFBType = EnDat_2.1 Linear   ", 10099, 5},
      {"AuxFBType = EnDat_2.1 Hz", 10099, 4},
      {"SWClrFlt = Not_Clear", 123},
      {"SWClrFlt = Not Clear", 123},
      {"SWClrFlt = Clear", 10099},
      {"FaultCode = Option_Card_Fault", 123},
      {"FaultCode = Option Card Fault", 123},
      {"CmdSrc = PWM Input", 123},
  };
  for (const Case& c : cases) {
    PrepareImage(2, 31, 2, 3, 1, 0);
    EXPECT_EQ(ReadText(std::string(kHeader) + "ActiveCMDUnits Velocity\n" + c.line + "\n").result, c.expected)
        << c.line;
    if (c.auxType >= 0) {
      EXPECT_EQ(Value("AuxFBType", 2), c.auxType) << c.line;
    }
  }
  PrepareImage(2, 31, 2, 3, 1, 0);
  EXPECT_EQ(SetFromFileText(ctx, "AuxFBType", 1, 31, "EnDat_2.1_Linear", 2), 1);
  EXPECT_EQ(Raw("AFBMitEn", 2) * 16 + Raw("AFBHallsDis", 2) * 8 + Raw("AFBEnDatEnb", 2) * 4 +
                Raw("AFBDivisorSrc", 2) * 2 + Raw("AFBSrc", 2),
            29);
  // The setter takes the label as the table spells it.
  EXPECT_EQ(SetFromFileText(ctx, "SWClrFlt", 1, 31, "Not Clear", 2), 1);
  EXPECT_EQ(Raw("SWClrFlt", 2), 0);
  EXPECT_EQ(SetFromFileText(ctx, "SWClrFlt", 1, 31, "Not_Clear", 2), 23);
  EXPECT_EQ(SetFromFileText(ctx, "FaultCode", 1, 31, "Option Card Fault", 2), 1);
  EXPECT_EQ(Raw("FaultCode", 2), 19);
}

struct ReadCase {
  const char* what;
  std::string text;
  Result expected;
  bool manufacturing = false;
};

TEST_F(ParamFile, ReaderResults) {
  const std::string h = kHeader;
  const std::string units = "ActiveCMDUnits Velocity\n";
  const std::string longWord(59, 'W');
  std::string many = h + units, ninetyEight = h + units, ninetySeven = h + units;
  for (int i = 0; i < 151; ++i) many += "KVFF = 0\n";
  for (int i = 0; i < 98; ++i) ninetyEight += "KVFF = 0\n";
  for (int i = 0; i < 97; ++i) ninetySeven += "KVFF = 0\n";
  const ReadCase cases[] = {
      {"empty file", "", 32},
      {"comments and blanks everywhere",
       "\n  # note\nDrive--X700_Base_Unit\n\t\n#\nFileVersion 3\nDriveModel X7102_240Vac_3/9Arms\n" + units +
           "  # a comment\n\nKVFF = 0\n   \nKVP = 0.032 Arms/rad/sec\n",
       10099},
      {"CR LF line ends",
       "Drive--X700_Base_Unit \r\nFileVersion 3 \r\nDriveModel X7102_240Vac_3/9Arms (-STD)\r\n"
       "ActiveCMDUnits Velocity\r\nKVFF = 0\r\n",
       10099},
      {"no final line end", h + units + "KVFF = 0", 10099},
      {"user file to the manufacturing reader", h + units, 32, true},
      {"manufacturing file to the user reader", "Drive--X700_Base_Unit--Mfg\nFileVersion 3\n", 32},
      {"kind word in other case", "drive--x700_base_unit\n", 32},
      {"ends before the version line", "Drive--X700_Base_Unit\n", 32},
      {"ends before the model line", "Drive--X700_Base_Unit\nFileVersion 3\n", 32},
      {"version line with one word", "Drive--X700_Base_Unit\nFileVersion\nDriveModel X7102_240Vac_3/9Arms\n",
       32},
      {"version not a number", "Drive--X700_Base_Unit\nFileVersion three\nDriveModel X7102_240Vac_3/9Arms\n",
       32},
      {"model line with one word", "Drive--X700_Base_Unit\nFileVersion 3\nDriveModel\n", 32},
      {"model line keyword", "Drive--X700_Base_Unit\nFileVersion 3\nModel X7102_240Vac_3/9Arms\n", 32},
      {"unknown model", "Drive--X700_Base_Unit\nFileVersion 3\nDriveModel X9999\n", 9},
      {"ends after the model line", h, 10099},
      {"units keyword", h + "CMDUnits Velocity\n", 32},
      {"units word", h + "ActiveCMDUnits Position\n", 22},
      {"over-long header word", "Drive--X700_Base_Unit\nFileVersion " + longWord + "\n", 32},
      {"over-long edition",
       "Drive--X700_Base_Unit\nFileVersion 3\nDriveModel X7102_240Vac_3/9Arms (-STANDARD)\n", 32},
      {"over-long comment line", h + units + "#" + std::string(255, 'c') + "\n", 32},
      {"longest line", h + units + "KVFF = 0" + std::string(247, ' ') + "\n", 10099},
      {"no blank before the =", h + units + "KVFF= 0\n", 32},
      {"no blank after the =", h + units + "KVFF =0\n", 10099},
      {"no value", h + units + "KVFF =\n", 32},
      {"no =", h + units + "KVFF 0\n", 32},
      {"name of 17 characters", h + units + "ABCDEFGHIJKLMNOPQ = 0\n", 32},
      {"value of 49 characters", h + units + "KVFF = " + std::string(49, '1') + "\n", 32},
      {"PWMMinus on line 2", h + units + "KVFF = 0\n# skipped\nPWMMinus = 3\n", 208},
      {"unknown name on line 1", h + units + "NoSuchThing = 3\n", 108},
      {"label not in the table", h + units + "KVFF = 0\nBatFDis = Maybe\n", 223},
      {"number that is not one", h + units + "KVFF = 12abc\n", 123},
      {"151 parameter lines", many, 12},
      {"failure on line 98", ninetySeven + "NoSuchThing = 3\n", 9808},
      {"failure on line 99", ninetyEight + "NoSuchThing = 3\n", 8},
  };
  for (const ReadCase& c : cases) {
    api::ResetForTesting();
    EXPECT_EQ(ReadText(c.text, 2, c.manufacturing).result, c.expected) << c.what;
  }
}

TEST_F(ParamFile, HeaderSetsTheImage) {
  // An edition word the reader does not know leaves the drive type alone.
  Node(2).driveType = 2;
  ReadResult read = ReadText(
      "Drive--X700_Base_Unit\nFileVersion 4.9 x\nDriveModel X7106_240Vac_48/96Arms (-XYZ)\n"
      "ActiveCMDUnits Torque/Current\n");
  EXPECT_EQ(read.result, 10099);
  EXPECT_EQ(read.version, 4);
  EXPECT_EQ(Node(2).driveType, 2u);
  // Two words on the model line: a serial drive; no units line: velocity.
  read = ReadText("Drive--X700_Base_Unit\nFileVersion 3\nDriveModel X7201_90Vdc_3/9Arms\n");
  EXPECT_EQ(read.result, 10099);
  EXPECT_EQ(Node(2).driveType, 1u);
  EXPECT_EQ(read.mode, 1u);
  EXPECT_EQ(Node(2).mode, 1u);
  // The manufacturing reader may leave the version alone.
  Node(2).logicVersion = 2;
  read =
      ReadText("Drive--X700_Base_Unit--Mfg\nFileVersion 4\nDriveModel X7201_90Vdc_3/9Arms\n", 2, true, true);
  EXPECT_EQ(read.result, 10099);
  EXPECT_EQ(read.version, 1);
  EXPECT_EQ(Node(2).logicVersion, 2);
  // The model line's keyword is checked after its edition took effect.
  EXPECT_EQ(ReadText("Drive--X700_Base_Unit\nFileVersion 3\nModel X7201_90Vdc_3/9Arms (-NET)\n").result, 32);
  EXPECT_EQ(Node(2).driveType, 2u);
}

TEST_F(ParamFile, ParameterLines) {
  const std::string h = std::string(kHeader) + "ActiveCMDUnits Velocity\n";
  Node(2).encoderOutputFlag = 1;
  EXPECT_EQ(ReadText(h + "KVFF = 0\n").result, 10099);
  EXPECT_EQ(Node(2).encoderOutputFlag, 0);
  // Set by the EncOutPPR line even when the line fails; the load stops.
  EXPECT_EQ(ReadText(h + "DPoles = 4\nEncOutPPR = lots\nKVFF = 50\n").result, 223);
  EXPECT_EQ(Node(2).encoderOutputFlag, 1);
  EXPECT_EQ(Raw("DPoles", 2), 2);
  EXPECT_EQ(Raw("KVFF", 2), 0);
  EXPECT_EQ(Ctx().db.parameterFileNames[2], (std::vector<std::string>{"DPoles", "EncOutPPR"}));
  EXPECT_EQ(ReadText(h + "EncOutPPR = 1024\n", 0).result, 10099);
  EXPECT_EQ(Node(0).encoderOutputFlag, 0);  // node 0 has none

  EXPECT_EQ(ReadText(h + "AuxFBType = Mitutoyo\n").result, 10099);
  EXPECT_EQ(Raw("AFBMitEn", 2), 0);
  EXPECT_EQ(Raw("AFBHallsDis", 2), 1);
  // A value the register's range refuses is left out and the load goes on.
  const int32_t before = Raw("KVFF", 2);
  EXPECT_EQ(ReadText(h + "KVFF = 1e9\nDPoles = 8\n").result, 10099);
  EXPECT_EQ(Raw("KVFF", 2), before);
  EXPECT_EQ(Raw("DPoles", 2), 4);

  // Below logic 3 the current limits are steps whose labels are percentages.
  const std::string older =
      "Drive--X700_Base_Unit\nFileVersion 2\nDriveModel X7102_240Vac_3/9Arms\n"
      "ActiveCMDUnits Velocity\n";
  EXPECT_EQ(ReadText(older + "ILmtPlus = 100.000000\nILmtMinus = 33\n").result, 10099);
  EXPECT_EQ(Raw("ILmtPlus", 2), 3);
  EXPECT_EQ(Raw("ILmtMinus", 2), 1);
  EXPECT_EQ(ReadText(older + "ILmtPlus = 50\n").result, 123);
  EXPECT_EQ(ReadText(older + "ILmtPlus = full\n").result, 123);
  EXPECT_EQ(ReadText(h + "ILmtPlus = 50\nILmtMinus = 50\n").result, 10099);
  EXPECT_EQ(Raw("ILmtPlus", 2), 76);
  EXPECT_EQ(Raw("ILmtMinus", 2), 181);
}

// Gain, offset and source arrive on separate lines; the counts are set from
// all three at the end, from what the library last held.
TEST_F(ParamFile, CommandScalingIsSetAtTheEnd) {
  const std::string h = std::string(kHeader) + "ActiveCMDUnits Velocity\n";
  ASSERT_EQ(ReadText(h + "CmdGain = 0.25\nCmdOffset = -0.5\nCmdSrc = PWM_Input\n").result, 10099);
  EXPECT_NEAR(Value("CmdGain", 2), 0.25, 1e-4);
  EXPECT_NEAR(Value("CmdOffset", 2), -0.5, 2e-3);  // the counts round
  EXPECT_EQ(Raw("CmdSrc", 2), 1);
  const int32_t plus = Raw("PWMPlus", 2), minus = Raw("PWMMinus", 2);
  ASSERT_EQ(ReadText(h + "KVFF = 0\n", 3).result, 10099);
  EXPECT_EQ(Raw("PWMPlus", 3), plus);
  EXPECT_EQ(Raw("PWMMinus", 3), minus);

  LibraryContext ctx = Ctx();
  EXPECT_EQ(SetFromFileText(ctx, "END", 1, 99, "", 2), 9);
  EXPECT_EQ(SetFromFileText(ctx, "END", 2, 31, "", 2), 22);
  EXPECT_EQ(SetFromFileText(ctx, "KVFF", 1, 31, "0", 7), 23);
}

TEST_F(ParamFile, AFailedWriteLeavesTheOldFile) {
  PrepareImage(1, 31, 1, 3, 1, 0);
  const std::string path = Path("drive.par");
  ASSERT_EQ(Write(path, List(ParameterSet::kUserFile), 1), 10065);
  const std::string before = Slurp(path);
  LibraryContext ctx = Ctx();
  ASSERT_EQ(PutOfflineValue(ctx, "KVFF", 1, 50), 1);

  FaultyFiles files;
  UseFileSystemForTesting(&files);
  for (bool* fault : {&files.failReplace, &files.failWrite, &files.failOpen}) {
    *fault = true;
    EXPECT_EQ(Write(path, List(ParameterSet::kUserFile), 1), 31);
    EXPECT_EQ(Slurp(path), before);
    EXPECT_EQ(DirectoryEntries(), std::vector<std::string>{"drive.par"});
    *fault = false;
  }
  Node(1).mode = 4;  // refused after the temporary file was opened
  EXPECT_EQ(Write(path, List(ParameterSet::kUserFile), 1), 22);
  EXPECT_EQ(Slurp(path), before);
  EXPECT_EQ(DirectoryEntries(), std::vector<std::string>{"drive.par"});
  Node(1).mode = 1;
  EXPECT_EQ(Write(Path("no/such/folder.par"), List(ParameterSet::kUserFile), 1), 31);

  ASSERT_EQ(Write(path, List(ParameterSet::kUserFile), 1), 10065);
  EXPECT_NE(Slurp(path), before);
  EXPECT_EQ(DirectoryEntries(), std::vector<std::string>{"drive.par"});
  ReadResult read;
  EXPECT_EQ(ReadParameterFile(ctx, Path("missing.par"), false, false, read.model, read.mode, read.version, 2),
            31);
}

// A device is written in place: a file moved over /dev/null would replace it.
TEST_F(ParamFile, ADeviceIsWrittenInPlace) {
  PrepareImage(1, 31, 1, 3, 1, 0);
  EXPECT_EQ(Write("/dev/null", List(ParameterSet::kUserFile), 1), 10065);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
  EXPECT_FALSE(std::filesystem::exists("/dev/null.svodb-tmp"));
}

// Node 0's file version is the connected drive's logic version.
TEST_F(ParamFile, NodeZeroTakesTheVersionFromTheDrive) {
  sim::DriveConfig config;
  config.logicVersion = 3;
  config.versionText = "3.2A";
  sim::VirtualDrive drive(config);
  Use(drive);
  ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
  const std::string path = Path("node0.par");
  LibraryContext ctx = Ctx();
  const ParameterList list{ctx.db.catalogue.Find("KVFF")};
  ASSERT_EQ(WriteParameterFile(ctx, path, list, false, 31, 1, 1, 0, 9, false, 0), 10001);
  EXPECT_EQ(SplitLines(Slurp(path))[1], "FileVersion 3 ");
  // No version can be had: nothing is written.
  drive.Faults().FailEveryCall(sim::Operation::kGetVarFromFPGA, 0);
  EXPECT_EQ(WriteParameterFile(ctx, Path("other.par"), list, false, 31, 1, 1, 0, 9, false, 0), 0);
  EXPECT_EQ(DirectoryEntries(), std::vector<std::string>{"node0.par"});
}

}  // namespace
}  // namespace svodb::testing
