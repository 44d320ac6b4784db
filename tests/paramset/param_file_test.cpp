// Parameter files: what the writer puts on disk, byte for byte; what the
// reader makes of good and bad files; the per-line setter; and that a
// failed write never damages the file it was to replace.
#include "paramset/param_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "paramset/set_fixture.h"
#include "platform/files.h"
#include "svodb/svodb_linux.h"
#include "values/drive_identity.h"
#include "values/enumerations.h"
#include "values/offline_values.h"

namespace svodb::testing {
namespace {

using Lines = std::vector<std::string>;

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
    return file == nullptr || !failWrite ? std::move(file) : std::make_unique<DiskFull>(std::move(file));
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

constexpr const char* kHeader =
    "Drive--X700_Base_Unit\nFileVersion 3\nDriveModel X7102_240Vac_3/9Arms (-STD)\nActiveCMDUnits Velocity\n";

class ParamFile : public DriveExports {
 protected:
  void TearDown() override {
    UseFileSystemForTesting(nullptr);
    DriveExports::TearDown();
  }
  static LibraryContext Ctx() { return api::Context(); }
  static ParameterList UserFile() {
    ParameterList list;
    AppendParameterSet(api::Context().db.catalogue, ParameterSet::kUserFile, list);
    return list;
  }

  // An image of a given identity with values away from the register
  // defaults; the current limits in the format of its logic version.
  static void PrepareImage(uint32_t node, uint32_t model, uint32_t driveType, int32_t logic, uint32_t mode,
                           int32_t commandSource) {
    LibraryContext ctx = Ctx();
    Node(node) = NodeState{.logicVersion = logic, .driveType = driveType, .modelCode = model};
    ASSERT_EQ(SetModeFromFile(ctx, node, static_cast<int32_t>(mode)), 1);
    ctx.registers.SetCurrentLimitLayout(logic);
    ASSERT_EQ(ctx.registers.SetRawValue("ILmtPlus", logic < 3 ? 2 : 101, 1, static_cast<int32_t>(node)), 1);
    ASSERT_EQ(ctx.registers.SetRawValue("ILmtMinus", logic < 3 ? 1 : 207, 1, static_cast<int32_t>(node)), 1);
    PutValues(ctx, node,
              "CmdSrc " + std::to_string(commandSource) +
                  " CmdGain 0.2 CmdOffset 0.25 DM2Map 4 EncOut 2 DPoles 5 AuxFBType 3 KVP 0.05 GearIn 1234 "
                  "AuxFBDivisor 77");
  }

  static Result Write(const std::string& path, uint32_t node = 1) {
    const NodeState& image = Node(node);
    LibraryContext ctx = Ctx();
    uint32_t commandSource = 0;
    if (GetCommandSourceClass(ctx, node, commandSource) != 1) commandSource = 0;
    return WriteParameterFile(ctx, path, UserFile(), false, image.modelCode, image.mode, image.driveType,
                              commandSource, 3, false, node);
  }
  static std::string Format(const ParameterList& list, const ParameterFileIdentity& identity,
                            Result expected) {
    std::string text;
    LibraryContext ctx = Ctx();
    EXPECT_EQ(FormatParameterFile(ctx, list, identity, 1, text), expected);
    return text;
  }
  static Result ReadText(const std::string& text, uint32_t node = 2, bool manufacturing = false,
                         bool skipVersion = false) {
    std::istringstream in(text);
    uint32_t model = 0, mode = 0;
    LibraryContext ctx = Ctx();
    return ReadParameterStream(ctx, in, manufacturing, skipVersion, model, mode, version_, node);
  }

  inline static int32_t version_ = 0;
  Scratch dir_;
};

// Every model, both drive types and the three logic versions: the names
// each drive type leaves out, and the same offline values and identity
// after reading the file into another image. The values pass six decimals
// on their way; the raw values they come back to are the same, so the
// offline values compare exactly.
TEST_F(ParamFile, UserFileForEveryModelDriveTypeAndLogicVersion) {
  int run = 0;
  for (uint32_t model : {30, 31, 28, 15, 14, 29, 27, 26}) {
    for (uint32_t driveType : {1u, 2u}) {
      for (int32_t logic : {2, 3, 4}) {
        const uint32_t mode = run % 2;
        const int32_t commandSource = run++ % 3;
        SCOPED_TRACE(::testing::Message() << "model " << model << " type " << driveType << " logic " << logic
                                          << " mode " << mode << " CmdSrc " << commandSource);
        PrepareImage(1, model, driveType, logic, mode, commandSource);
        const std::string path = dir_.Path("user.par");
        ASSERT_EQ(Write(path), 10065);
        Lines names;
        for (const VariableRecord* record : UserFile()) {
          const std::string name = record->name;
          if (driveType == 1 ? name != "AuxFBDivisor" && name != "AuxFBType"
                             : name != "GearIn" && name != "GearOut")
            names.push_back(name);
        }
        Lines written;
        for (const std::string& line : SplitLines(Slurp(path))) {
          ASSERT_TRUE(line.size() == 84 || written.size() < 4) << line;
          written.push_back(written.size() < 4 ? "" : line.substr(0, line.find(' ')));
        }
        ASSERT_EQ(Lines(written.begin() + 4, written.end()), names);

        PrepareImage(2, model == 26 ? 31 : 26, 3 - driveType, 0, 1 - mode, 0);
        uint32_t readModel = 0, readMode = 9;
        int32_t version = 0;
        LibraryContext ctx = Ctx();
        ASSERT_EQ(ReadParameterFile(ctx, path, false, false, readModel, readMode, version, 2), 10099);
        EXPECT_EQ(std::tie(readModel, readMode, version), std::tie(model, mode, logic));
        EXPECT_EQ(std::tie(Node(2).modelCode, Node(2).driveType, Node(2).logicVersion, Node(2).setupS21),
                  std::tuple(model, driveType, logic, 1 - mode));
        EXPECT_EQ(ctx.db.parameterFileNames[2], names);
        for (const std::string& name : names)
          EXPECT_EQ(Value(name.c_str(), 2), Value(name.c_str(), 1)) << name;
      }
    }
  }
}

TEST_F(ParamFile, LinesAreLaidOutInFixedColumns) {
  PrepareImage(1, 31, 1, 3, 1, 0);
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
  EXPECT_EQ(SplitLines(Format(List({"ARF0", "BatFDis", "CmdGain", "CmdSrc", "GearIn", "FBDivisor"}),
                              {true, 31, 1, 1, 0, 7, true}, 10006)),
            SplitLines(std::regex_replace(expected, std::regex("\n"), std::string(kLineEnd))));

  // Torque units on the percent scale, and a drive type with no edition.
  LibraryContext ctx = Ctx();
  ASSERT_EQ(PutOfflineValue(ctx, "CmdSrc", 1, 1), 1);
  const Lines lines = SplitLines(Format(List({"CmdOffset"}), {false, 26, 0, 5, 1, 3, true}, 10001));
  EXPECT_EQ(lines[2], "DriveModel X7106_240Vac_48/96Arms ");
  EXPECT_EQ(lines[3], "ActiveCMDUnits Torque/Current");
  EXPECT_EQ(lines[4].substr(0, 19), "CmdOffset        = ");
  EXPECT_EQ(lines[4].substr(68), " %              ");
}

TEST_F(ParamFile, WriterRefusalsAndValuesWithoutLabels) {
  PrepareImage(1, 31, 2, 2, 1, 0);
  LibraryContext ctx = Ctx();
  EXPECT_EQ(Format(List({"KVP"}), {false, 31, 2, 1, 0, 3, true}, 22), "");
  EXPECT_EQ(Format(List({"KVP"}), {false, 99, 1, 1, 0, 3, true}, 9), "");
  EXPECT_EQ(Format(List({"ExtFaults"}), {false, 31, 1, 1, 0, 3, true}, 21), "");
  std::string text = "untouched";
  EXPECT_EQ(FormatParameterFile(ctx, List({"KVP"}), {}, 7, text), 23);
  EXPECT_EQ(text, "untouched");
  // A command source outside 0-2 leaves scaled values out; they still count.
  const Lines lines = SplitLines(Format(List({"KVP", "BatFDis"}), {false, 31, 1, 1, 3, 3, true}, 10002));
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[4].substr(0, 7), "BatFDis");

  // A raw value outside its table has no label: it is written so that no
  // label matches, and reading it back names the line.
  ctx.registers.SetCurrentLimitLayout(3);
  ASSERT_EQ(ctx.registers.SetRawValue("ILmtPlus", 150, 1, 1), 1);
  ctx.registers.SetCurrentLimitLayout(2);
  text = Format(List({"BatFDis", "ILmtPlus"}), {false, 31, 1, 1, 0, 2, true}, 10002);
  EXPECT_EQ(SplitLines(text)[5].substr(0, 31), "ILmtPlus         = NoLabel_150 ");
  EXPECT_EQ(ReadText(text), 223);
}

// The writer joins a label's words with underscores; the reader takes a
// value up to its first blank. Only AuxFBType's value 5 (EnDat 2.1 linear,
// the five bits 29) has a second spelling; every other label is matched
// exactly, and a value that is no label of its variable fails with 23. The
// setter takes the label as the table spells it.
TEST_F(ParamFile, LabelsWithBlanks) {
  PrepareImage(1, 31, 2, 3, 1, 0);
  LibraryContext ctx = Ctx();
  ASSERT_EQ(PutOfflineValue(ctx, "AuxFBType", 1, 5), 1);
  EXPECT_EQ(SplitLines(Format(List({"AuxFBType"}), {false, 31, 1, 2, 0, 3, true}, 10001))[4].substr(0, 36),
            "AuxFBType        = EnDat_2.1_Linear ");
  const struct {
    const char* line;
    Result expected;
    int32_t auxType = -1;
  } cases[] = {
      // clang-format off
      {"AuxFBType = EnDat_2.1_Linear", 10099, 5}, {"AuxFBType = EnDat_2.1 Linear", 10099, 5},
      {"AuxFBType = EnDat_2.1 Linear   ", 10099, 5}, {"AuxFBType = EnDat_2.1 Hz", 10099, 4},
      {"SWClrFlt = Not_Clear", 123}, {"SWClrFlt = Not Clear", 123}, {"SWClrFlt = Clear", 10099},
      {"FaultCode = Option_Card_Fault", 123}, {"FaultCode = Option Card Fault", 123}, {"CmdSrc = PWM Input", 123},
      // clang-format on
  };
  for (const auto& c : cases) {
    PrepareImage(2, 31, 2, 3, 1, 0);
    EXPECT_EQ(ReadText(std::string(kHeader) + c.line + "\n"), c.expected) << c.line;
    EXPECT_EQ(c.auxType < 0 || Value("AuxFBType", 2) == c.auxType, true) << c.line;
  }
  PrepareImage(2, 31, 2, 3, 1, 0);
  EXPECT_EQ(SetFromFileText(ctx, "AuxFBType", 1, 31, "EnDat_2.1_Linear", 2), 1);
  EXPECT_EQ(Store("AFBMitEn", 2) * 16 + Store("AFBHallsDis", 2) * 8 + Store("AFBEnDatEnb", 2) * 4 +
                Store("AFBDivisorSrc", 2) * 2 + Store("AFBSrc", 2),
            29);
  EXPECT_EQ(SetFromFileText(ctx, "SWClrFlt", 1, 31, "Not Clear", 2), 1);
  EXPECT_EQ(Store("SWClrFlt", 2), 0);
  EXPECT_EQ(SetFromFileText(ctx, "SWClrFlt", 1, 31, "Not_Clear", 2), 23);
  EXPECT_EQ(SetFromFileText(ctx, "FaultCode", 1, 31, "Option Card Fault", 2), 1);
  EXPECT_EQ(Store("FaultCode", 2), 19);
}

TEST_F(ParamFile, ReaderResults) {
  const std::string h = kHeader, start = "Drive--X700_Base_Unit\n", v3 = start + "FileVersion 3\n",
                    model = "DriveModel X7102_240Vac_3/9Arms\n";
  const auto lines = [&](int count) {
    std::string text = h;
    for (int i = 0; i < count; ++i) text += "KVFF = 0\n";
    return text;
  };
  const struct {
    std::string text;
    Result expected;
    bool manufacturing = false;
  } cases[] = {
      // clang-format off
      {"", 32},
      {"\n  # note\n" + start + "\t\n#\nFileVersion 3\n" + model + "ActiveCMDUnits Velocity\n  # a comment\n\nKVFF = 0\n   \nKVP = 0.032 Arms/rad/sec\n", 10099},
      {"Drive--X700_Base_Unit \r\nFileVersion 3 \r\nDriveModel X7102_240Vac_3/9Arms (-STD)\r\nActiveCMDUnits Velocity\r\nKVFF = 0\r\n", 10099},
      {h + "KVFF = 0", 10099},  // no final line end
      {h, 32, true},  // a user file to the manufacturing reader
      {"Drive--X700_Base_Unit--Mfg\nFileVersion 3\n", 32},
      {"drive--x700_base_unit\n", 32},
      {start, 32},
      {v3, 32},
      {start + "FileVersion\n" + model, 32},
      {start + "FileVersion three\n" + model, 32},
      {v3 + "DriveModel\n", 32},
      {v3 + "Model X7102_240Vac_3/9Arms\n", 32},
      {v3 + "DriveModel X9999\n", 9},
      {v3 + model, 10099},  // no units line
      {v3 + model + "CMDUnits Velocity\n", 32},
      {v3 + model + "ActiveCMDUnits Position\n", 22},
      {start + "FileVersion " + std::string(59, 'W') + "\n", 32},
      {v3 + "DriveModel X7102_240Vac_3/9Arms (-STANDARD)\n", 32},
      {h + "#" + std::string(255, 'c') + "\n", 32},
      {h + "KVFF = 0" + std::string(247, ' ') + "\n", 10099},
      {h + "KVFF= 0\n", 32},
      {h + "KVFF =0\n", 10099},
      {h + "KVFF =\n", 32},
      {h + "KVFF 0\n", 32},
      {h + "ABCDEFGHIJKLMNOPQ = 0\n", 32},
      {h + "KVFF = " + std::string(49, '1') + "\n", 32},
      {h + "KVFF = 0\n# skipped\nPWMMinus = 3\n", 208},
      {h + "NoSuchThing = 3\n", 108},
      {h + "KVFF = 0\nBatFDis = Maybe\n", 223},
      {h + "KVFF = 12abc\n", 123},
      {lines(151), 12},
      {lines(97) + "NoSuchThing = 3\n", 9808},
      {lines(98) + "NoSuchThing = 3\n", 8},  // line 99 is the closing step's mark
      // clang-format on
  };
  for (const auto& c : cases) {
    api::ResetForTesting();
    EXPECT_EQ(ReadText(c.text, 2, c.manufacturing), c.expected) << c.text.substr(0, 300);
  }
}

// The header sets the image's identity: an edition word the reader does not
// know leaves the drive type alone, two words on the model line make a
// serial drive, no units line velocity, and the model line's keyword is
// checked after its edition took effect; the manufacturing reader may leave
// the version alone.
TEST_F(ParamFile, HeaderSetsTheImage) {
  Node(2).driveType = 2;
  EXPECT_EQ(ReadText("Drive--X700_Base_Unit\nFileVersion 4.9 x\nDriveModel X7106_240Vac_48/96Arms (-XYZ)\n"
                     "ActiveCMDUnits Torque/Current\n"),
            10099);
  EXPECT_EQ(std::tuple(version_, Node(2).driveType, Node(2).mode), std::tuple(4, 2u, 0u));
  EXPECT_EQ(ReadText("Drive--X700_Base_Unit\nFileVersion 3\nDriveModel X7201_90Vdc_3/9Arms\n"), 10099);
  EXPECT_EQ(std::tuple(Node(2).driveType, Node(2).mode), std::tuple(1u, 1u));
  EXPECT_EQ(ReadText("Drive--X700_Base_Unit\nFileVersion 3\nModel X7201_90Vdc_3/9Arms (-NET)\n"), 32);
  EXPECT_EQ(Node(2).driveType, 2u);
  Node(2).logicVersion = 2;
  EXPECT_EQ(
      ReadText("Drive--X700_Base_Unit--Mfg\nFileVersion 4\nDriveModel X7201_90Vdc_3/9Arms\n", 2, true, true),
      10099);
  EXPECT_EQ(std::tuple(version_, Node(2).logicVersion), std::tuple(1, 2));
}

// Each line stores its value; gain, offset and source arrive on separate
// lines and the command counts are set from all three at the end, from what
// the library last held.
TEST_F(ParamFile, ParameterLines) {
  const std::string h = kHeader;
  Node(2).encoderOutputFlag = 1;
  EXPECT_EQ(ReadText(h + "KVFF = 0\n"), 10099);
  EXPECT_EQ(Node(2).encoderOutputFlag, 0);
  // Set by the EncOutPPR line even when the line fails; the load stops.
  EXPECT_EQ(ReadText(h + "DPoles = 4\nEncOutPPR = lots\nKVFF = 50\n"), 223);
  EXPECT_EQ(std::tuple(Node(2).encoderOutputFlag, Store("DPoles", 2), Store("KVFF", 2)), std::tuple(1, 2, 0));
  EXPECT_EQ(Ctx().db.parameterFileNames[2], (Lines{"DPoles", "EncOutPPR"}));
  EXPECT_EQ(ReadText(h + "EncOutPPR = 1024\n", 0), 10099);
  EXPECT_EQ(Node(0).encoderOutputFlag, 0);  // node 0 has none
  EXPECT_EQ(ReadText(h + "AuxFBType = Mitutoyo\n"), 10099);
  EXPECT_EQ(std::pair(Store("AFBMitEn", 2), Store("AFBHallsDis", 2)), std::pair(0, 1));
  // A value the register's range refuses is left out and the load goes on.
  EXPECT_EQ(ReadText(h + "KVFF = 1e9\nDPoles = 8\n"), 10099);
  EXPECT_EQ(std::pair(Store("KVFF", 2), Store("DPoles", 2)), std::pair(0, 4));

  // Below logic 3 the current limits are steps whose labels are percentages.
  const std::string older =
      "Drive--X700_Base_Unit\nFileVersion 2\nDriveModel X7102_240Vac_3/9Arms\nActiveCMDUnits Velocity\n";
  EXPECT_EQ(ReadText(older + "ILmtPlus = 100.000000\nILmtMinus = 33\n"), 10099);
  EXPECT_EQ(std::pair(Store("ILmtPlus", 2), Store("ILmtMinus", 2)), std::pair(3, 1));
  EXPECT_EQ(ReadText(older + "ILmtPlus = 50\n"), 123);
  EXPECT_EQ(ReadText(older + "ILmtPlus = full\n"), 123);
  EXPECT_EQ(ReadText(h + "ILmtPlus = 50\nILmtMinus = 50\n"), 10099);
  EXPECT_EQ(std::pair(Store("ILmtPlus", 2), Store("ILmtMinus", 2)), std::pair(76, 181));

  ASSERT_EQ(ReadText(h + "CmdGain = 0.25\nCmdOffset = -0.5\nCmdSrc = PWM_Input\n"), 10099);
  EXPECT_NEAR(Value("CmdGain", 2), 0.25, 1e-4);
  EXPECT_NEAR(Value("CmdOffset", 2), -0.5, 2e-3);  // the counts round
  EXPECT_EQ(Store("CmdSrc", 2), 1);
  ASSERT_EQ(ReadText(h + "KVFF = 0\n", 3), 10099);
  EXPECT_EQ(std::pair(Store("PWMPlus", 3), Store("PWMMinus", 3)),
            std::pair(Store("PWMPlus", 2), Store("PWMMinus", 2)));
  LibraryContext ctx = Ctx();
  EXPECT_EQ(SetFromFileText(ctx, "END", 1, 99, "", 2), 9);
  EXPECT_EQ(SetFromFileText(ctx, "END", 2, 31, "", 2), 22);
  EXPECT_EQ(SetFromFileText(ctx, "KVFF", 1, 31, "0", 7), 23);
}

TEST_F(ParamFile, AFailedWriteLeavesTheOldFile) {
  PrepareImage(1, 31, 1, 3, 1, 0);
  const std::string path = dir_.Path("drive.par");
  ASSERT_EQ(Write(path), 10065);
  const std::string before = Slurp(path);
  LibraryContext ctx = Ctx();
  ASSERT_EQ(PutOfflineValue(ctx, "KVFF", 1, 50), 1);

  FaultyFiles files;
  UseFileSystemForTesting(&files);
  for (bool* fault : {&files.failReplace, &files.failWrite, &files.failOpen, static_cast<bool*>(nullptr)}) {
    if (fault != nullptr) *fault = true;
    Node(1).mode = fault != nullptr ? 1 : 4;  // mode 4 is refused after the temporary file was opened
    EXPECT_EQ(Write(path), fault != nullptr ? 31 : 22);
    EXPECT_EQ(Slurp(path), before);
    EXPECT_EQ(dir_.Entries(), Lines{"drive.par"});
    if (fault != nullptr) *fault = false;
  }
  Node(1).mode = 1;
  EXPECT_EQ(Write(dir_.Path("no/such/folder.par")), 31);
  ASSERT_EQ(Write(path), 10065);
  EXPECT_NE(Slurp(path), before);
  EXPECT_EQ(dir_.Entries(), Lines{"drive.par"});
  uint32_t model = 0, mode = 0;
  EXPECT_EQ(ReadParameterFile(ctx, dir_.Path("missing.par"), false, false, model, mode, version_, 2), 31);
}

// A device is written in place: a file moved over /dev/null would replace it.
TEST_F(ParamFile, ADeviceIsWrittenInPlace) {
  PrepareImage(1, 31, 1, 3, 1, 0);
  EXPECT_EQ(Write("/dev/null"), 10065);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
  EXPECT_FALSE(std::filesystem::exists("/dev/null.svodb-tmp"));
}

// Node 0's file version is the connected drive's logic version.
TEST_F(ParamFile, NodeZeroTakesTheVersionFromTheDrive) {
  sim::VirtualDrive drive(sim::DriveConfig{.logicVersion = 3, .versionText = "3.2A"});
  Use(drive);
  ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
  LibraryContext ctx = Ctx();
  ASSERT_EQ(WriteParameterFile(ctx, dir_.Path("node0.par"), List({"KVFF"}), false, 31, 1, 1, 0, 9, false, 0),
            10001);
  EXPECT_EQ(SplitLines(Slurp(dir_.Path("node0.par")))[1], "FileVersion 3 ");
  // No version can be had: nothing is written.
  drive.Faults().FailEveryCall(sim::Operation::kGetVarFromFPGA, 0);
  EXPECT_EQ(WriteParameterFile(ctx, dir_.Path("other.par"), List({"KVFF"}), false, 31, 1, 1, 0, 9, false, 0),
            0);
  EXPECT_EQ(dir_.Entries(), Lines{"node0.par"});
}

// svodb_read_file_lines hands a tool the lines of a parameter file exactly
// as the library's own reader takes them, and stops where the reader or the
// caller stops.
TEST_F(ParamFile, FileLinesAsTheReaderTakesThem) {
  const auto seen = [&](const char* file, int stopAfter = 100) {
    std::pair<std::string, int> log{"", stopAfter};
    const int32_t result = svodb_read_file_lines(
        dir_.Path(file).c_str(),
        [](void* context, const svodb_file_line* line) {
          auto& [text, left] = *static_cast<std::pair<std::string, int>*>(context);
          text += std::to_string(line->number) + ":" + std::to_string(line->kind) + "[" + line->name + "|" +
                  line->value + "|" + line->rest + "]" + line->text + "\n";
          return --left > 0 ? 1 : 0;
        },
        &log);
    return log.first + "=" + std::to_string(result);
  };
  Spit(dir_.Path("f"),
       "Drive--X700_Base_Unit \r\n# note\nFileVersion 3\r\n\nDriveModel X7102 (-STD)\nActiveCMDUnits "
       "Velocity\n"
       "  # later\nKvp = 0.5  A/V\r\nKvp=5\nCmd\r = 1");
  EXPECT_EQ(
      seen("f"),
      "1:1[Drive--X700_Base_Unit||]Drive--X700_Base_Unit \n2:0[||]# note\n3:1[FileVersion|3|]FileVersion 3\n"
      "4:0[||]\n5:1[DriveModel|X7102| (-STD)]DriveModel X7102 (-STD)\n"
      "6:1[ActiveCMDUnits|Velocity|]ActiveCMDUnits Velocity\n7:0[||]  # later\n"
      "8:2[Kvp|0.5|  A/V]Kvp = 0.5  A/V\n9:3[||]Kvp=5\n10:2[Cmd|1|]Cmd\r = 1\n=1");
  Spit(dir_.Path("f"), "a\n" + std::string(256, 'x') + "\nb\n");
  EXPECT_EQ(seen("f"), "1:1[a||]a\n=32");
  EXPECT_EQ(seen("f", 1), "1:1[a||]a\n=1");
  EXPECT_EQ(seen("g"), "=31");
  EXPECT_EQ(svodb_read_file_lines(
                nullptr, [](void*, const svodb_file_line*) { return 1; }, nullptr),
            8);
  EXPECT_EQ(svodb_read_file_lines("f", nullptr, nullptr), 8);
}

}  // namespace
}  // namespace svodb::testing
