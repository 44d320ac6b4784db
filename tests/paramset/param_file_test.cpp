// Parameter files: what the writer puts on disk, byte for byte, what the
// reader makes of good and bad files, and that a failed write keeps the file.
#include "paramset/param_file.h"

#include <cmath>
#include <map>
#include <memory>

#include "paramset/set_fixture.h"
#include "platform/files.h"
#include "svodb/svodb_linux.h"
#include "values/drive_identity.h"
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
  enum Failure { kNone, kOpen, kWrite, kReplace } failure = kNone;

  std::unique_ptr<std::istream> OpenForReading(const std::string& path) override {
    return SystemFileSystem().OpenForReading(path);
  }
  std::unique_ptr<OutputFile> OpenForWriting(const std::string& path) override {
    if (failure == kOpen) return nullptr;
    std::unique_ptr<OutputFile> file = SystemFileSystem().OpenForWriting(path);
    return file == nullptr || failure != kWrite ? std::move(file)
                                                : std::make_unique<DiskFull>(std::move(file));
  }
  bool Replace(const std::string& from, const std::string& to) override {
    return failure != kReplace && SystemFileSystem().Replace(from, to);
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

  // The parts of a node's image that `expected` names, in its form
  // ("name=value ..."): the image's identity, raw values of registers and
  // offline values (to two decimals) of other variables.
  static std::string Image(uint32_t node, const std::string& expected) {
    const NodeState& image = Node(node);
    const std::map<std::string, int64_t> identity = {{"type", image.driveType},
                                                     {"mode", image.mode},
                                                     {"logic", image.logicVersion},
                                                     {"encout", image.encoderOutputFlag},
                                                     {"version", version_}};
    std::ostringstream text;
    std::istringstream in(expected);
    for (std::string item; in >> item;) {
      const std::string name = item.substr(0, item.find('='));
      text << (text.tellp() > 0 ? " " : "") << name << "=";
      if (identity.contains(name))
        text << identity.at(name);
      else if (Ctx().registers.FindRegister(name) != nullptr)
        text << Store(name.c_str(), node);
      else
        text << std::round(Value(name.c_str(), node) * 100) / 100;
    }
    return text.str();
  }

  inline static int32_t version_ = 0;
  Scratch dir_;
};

// Every model, drive type and logic version: the names each drive type
// leaves out, and the same identity and offline values (exactly: six
// decimals bring back the same raw values) read into another image.
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
        Lines names, written;
        for (const VariableRecord* record : UserFile()) {
          const std::string name = record->name;
          if (driveType == 1 ? name != "AuxFBDivisor" && name != "AuxFBType"
                             : name != "GearIn" && name != "GearOut")
            names.push_back(name);
        }
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

// The text as written: whole lines in fixed columns, labels with their
// blanks as underscores, the unit column of the command source, and a raw
// value outside its table as a label that no table has. The file ends in
// `last`; a refused text is left as it was.
TEST_F(ParamFile, WrittenText) {
  PrepareImage(1, 31, 1, 3, 1, 0);
  PrepareImage(3, 31, 2, 2, 1, 0);
  LibraryContext ctx = Ctx();
  ctx.registers.SetCurrentLimitLayout(3);
  ASSERT_EQ(ctx.registers.SetRawValue("ILmtPlus", 150, 1, 3), 1);
  ctx.registers.SetCurrentLimitLayout(2);
  const struct {
    const char* names;
    ParameterFileIdentity identity;
    const char* values;  // put into the image first
    uint32_t node;
    Result expected;
    Lines last;
  } cases[] = {
      // clang-format off
      {"BatFDis ILmtPlus", {false, 31, 1, 1, 0, 2, true}, "", 3, 10002,
       {"ILmtPlus         = NoLabel_150                                       %              "}},
      {"ARF0 BatFDis CmdGain CmdSrc GearIn FBDivisor", {true, 31, 1, 1, 0, 7, true}, "", 1, 10006,
       {"Drive--X700_Base_Unit--Mfg ", "FileVersion 7 ", "DriveModel X7102_240Vac_3/9Arms (-STD)", "ActiveCMDUnits Velocity",
        "ARF0             = 194.304000                                        Hz             ",
        "BatFDis          = Disable                                                          ",
        "CmdGain          = 0.200035                                          kRPM/V         ",
        "CmdSrc           = Analog_Input                                                     ",
        "GearIn           = 1234.000000                                                      ",
        "FBDivisor        = 0                                                                "}},
      {"CmdOffset", {false, 26, 0, 5, 1, 3, true}, "CmdSrc 1", 1, 10001,
       {"DriveModel X7106_240Vac_48/96Arms ", "ActiveCMDUnits Torque/Current",
        "CmdOffset        = -49.043000                                        %              "}},
      {"AuxFBType", {false, 31, 1, 2, 0, 3, true}, "AuxFBType 5", 1, 10001,
       {"AuxFBType        = EnDat_2.1_Linear                                                 "}},
      // A command source outside 0-2 leaves scaled values out; they still count.
      {"KVP BatFDis", {false, 31, 1, 1, 3, 3, true}, "", 1, 10002,
       {"ActiveCMDUnits Velocity", "BatFDis          = Disable                                                          "}},
      {"KVP", {false, 31, 2, 1, 0, 3, true}, "", 1, 22, {}},
      {"KVP", {false, 99, 1, 1, 0, 3, true}, "", 1, 9, {}},
      {"ExtFaults", {false, 31, 1, 1, 0, 3, true}, "", 1, 21, {}},
      {"KVP", {}, "", 7, 23, {}},
      // clang-format on
  };
  for (const auto& c : cases) {
    PutValues(ctx, c.node, c.values);
    ParameterList list;
    std::istringstream names(c.names);
    for (std::string name; names >> name;) list.push_back(ctx.db.catalogue.Find(name));
    std::string text = "untouched";
    EXPECT_EQ(FormatParameterFile(ctx, list, c.identity, c.node, text), c.expected) << c.names;
    const Lines lines = c.expected > 10000 ? SplitLines(text) : Lines{};
    EXPECT_TRUE(c.expected > 10000 || text == "untouched") << c.names;
    EXPECT_EQ(Lines(lines.end() - std::min(lines.size(), c.last.size()), lines.end()), c.last) << c.names;
  }
}

// Texts read in order into node 2 (or `node`): the result, then the parts
// of the image that `image` names. The command counts are set at the end
// from the gain, offset and source the library last held. A value ends at
// its first blank: only AuxFBType's 5 (EnDat 2.1 linear) has two spellings.
TEST_F(ParamFile, ReaderResults) {
  const std::string h =
      "Drive--X700_Base_Unit\nFileVersion 3\nDriveModel X7102_240Vac_3/9Arms (-STD)\nActiveCMDUnits "
      "Velocity\n";
  const std::string start = "Drive--X700_Base_Unit\n", v3 = start + "FileVersion 3\n",
                    model = "DriveModel X7102_240Vac_3/9Arms\n",
                    older = start + "FileVersion 2\n" + model + "ActiveCMDUnits Velocity\n";
  const auto lines = [&](int count) {
    std::string text = h;
    for (int i = 0; i < count; ++i) text += "KVFF = 0\n";
    return text;
  };
  const struct {
    std::string text;
    Result expected;
    const char* image = "";
    uint32_t node = 2;
    bool manufacturing = false, skipVersion = false;
  } cases[] = {
      // clang-format off
      {"", 32},
      {"\n  # note\n" + start + "\t\n#\nFileVersion 3\n" + model + "ActiveCMDUnits Velocity\n  # a comment\n\nKVFF = 0\n   \nKVP = 0.032 Arms/rad/sec\n", 10099},
      {"Drive--X700_Base_Unit \r\nFileVersion 3 \r\nDriveModel X7102_240Vac_3/9Arms (-STD)\r\nActiveCMDUnits Velocity\r\nKVFF = 0\r\n", 10099},
      {h + "KVFF = 0", 10099},  // no final line end
      {h, 32, "", 2, true},  // a user file to the manufacturing reader
      {"Drive--X700_Base_Unit--Mfg\nFileVersion 3\n", 32}, {"drive--x700_base_unit\n", 32}, {start, 32}, {v3, 32},
      {start + "FileVersion\n" + model, 32}, {start + "FileVersion three\n" + model, 32}, {v3 + "DriveModel\n", 32},
      {v3 + "DriveModel X9999\n", 9},
      {v3 + model, 10099},  // no units line
      {v3 + model + "CMDUnits Velocity\n", 32},
      {v3 + model + "ActiveCMDUnits Position\n", 22},
      {start + "FileVersion " + std::string(59, 'W') + "\n", 32},
      {v3 + "DriveModel X7102_240Vac_3/9Arms (-STANDARD)\n", 32},
      {h + "#" + std::string(255, 'c') + "\n", 32},
      {h + "KVFF = 0" + std::string(247, ' ') + "\n", 10099},
      {h + "KVFF= 0\n", 32}, {h + "KVFF =0\n", 10099}, {h + "KVFF =\n", 32}, {h + "KVFF 0\n", 32},
      {h + "ABCDEFGHIJKLMNOPQ = 0\n", 32},
      {h + "KVFF = " + std::string(49, '1') + "\n", 32},
      {h + "KVFF = 0\n# skipped\nPWMMinus = 3\n", 208},
      {h + "NoSuchThing = 3\n", 108},
      {h + "KVFF = 0\nBatFDis = Maybe\n", 223},
      {h + "KVFF = 12abc\n", 123},
      {lines(151), 12},
      {lines(97) + "NoSuchThing = 3\n", 9808},
      {lines(98) + "NoSuchThing = 3\n", 8},  // line 99 is the closing step's mark
      // The header sets the identity: the model line's keyword is checked after
      // its edition took effect, an unknown edition leaves the drive type, two
      // words make a serial drive, no units line velocity.
      {v3 + "Model X7201_90Vdc_3/9Arms (-NET)\n", 32, "type=2"},
      {start + "FileVersion 4.9 x\nDriveModel X7106_240Vac_48/96Arms (-XYZ)\nActiveCMDUnits Torque/Current\n", 10099, "version=4 type=2 mode=0"},
      {v3 + "DriveModel X7201_90Vdc_3/9Arms\n", 10099, "type=1 mode=1"},
      {older + "ILmtPlus = 100.000000\nILmtMinus = 33\n", 10099, "logic=2 ILmtPlus=3 ILmtMinus=1"},
      // The manufacturing reader may leave the version alone.
      {"Drive--X700_Base_Unit--Mfg\nFileVersion 4\n" + model, 10099, "version=1 logic=2", 2, true, true},
      // Below logic 3 the limits' labels are the percentages of their steps.
      {older + "ILmtPlus = 50\n", 123}, {older + "ILmtPlus = full\n", 123},
      {older + "BatFDis = Disable\nILmtPlus = NoLabel_150\n", 223},
      {h + "ILmtPlus = 50\nILmtMinus = 50\n", 10099, "ILmtPlus=76 ILmtMinus=181"},
      // Set by the EncOutPPR line even when the line fails; the load stops.
      {h + "DPoles = 4\nEncOutPPR = lots\nKVFF = 50\n", 223, "encout=1 DPoles=2 KVFF=0"},
      {h + "KVFF = 0\n", 10099, "encout=0"},
      {h + "EncOutPPR = 1024\n", 10099, "encout=0", 0},  // node 0 has none
      {h + "AuxFBType = Mitutoyo\n", 10099, "AFBMitEn=0 AFBHallsDis=1"},
      {h + "AuxFBType = EnDat_2.1_Linear\n", 10099, "AuxFBType=5"},
      {h + "AuxFBType = EnDat_2.1 Hz\n", 10099, "AuxFBType=4"},
      {h + "AuxFBType = EnDat_2.1 Linear\n", 10099, "AuxFBType=5"},
      {h + "AuxFBType = Mitutoyo\nAuxFBType = EnDat_2.1 Linear   \n", 10099, "AuxFBType=5"},
      {h + "SWClrFlt = Clear\n", 10099, "SWClrFlt=1"},
      {h + "SWClrFlt = Not_Clear\n", 123}, {h + "SWClrFlt = Not Clear\n", 123}, {h + "CmdSrc = PWM Input\n", 123},
      {h + "FaultCode = Option_Card_Fault\n", 123}, {h + "FaultCode = Option Card Fault\n", 123},
      // A value the register's range refuses is left out and the load goes on.
      {h + "KVFF = 1e9\nDPoles = 8\n", 10099, "KVFF=0 DPoles=4"},
      {h + "CmdGain = 0.25\nCmdOffset = -0.5\nCmdSrc = PWM_Input\n", 10099, "CmdGain=0.25 CmdOffset=-0.5 CmdSrc=1 PWMPlus=11129 PWMMinus=-56"},
      {h + "KVFF = 0\n", 10099, "PWMPlus=11129 PWMMinus=-56", 3},
      // clang-format on
  };
  for (const auto& c : cases) {
    std::istringstream in(c.text);
    uint32_t model = 0, mode = 0;
    LibraryContext ctx = Ctx();
    EXPECT_EQ(ReadParameterStream(ctx, in, c.manufacturing, c.skipVersion, model, mode, version_, c.node),
              c.expected)
        << c.text.substr(0, 300);
    EXPECT_EQ(Image(c.node, c.image), c.image) << c.text.substr(0, 300);
  }
  LibraryContext ctx = Ctx();
  EXPECT_EQ(SetFromFileText(ctx, "KVFF", 1, 31, "0", 7), 23);  // there is no node 7
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
  for (FaultyFiles::Failure failure :
       {FaultyFiles::kReplace, FaultyFiles::kWrite, FaultyFiles::kOpen, FaultyFiles::kNone}) {
    files.failure = failure;
    Node(1).mode =
        failure != FaultyFiles::kNone ? 1 : 4;  // mode 4 is refused after the temporary file was opened
    EXPECT_EQ(Write(path), failure != FaultyFiles::kNone ? 31 : 22);
    EXPECT_EQ(Slurp(path), before);
    EXPECT_EQ(dir_.Entries(), Lines{"drive.par"});
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

// Node 0's file version is the connected drive's logic version; when none
// can be had, nothing is written.
TEST_F(ParamFile, NodeZeroTakesTheVersionFromTheDrive) {
  sim::VirtualDrive drive(sim::DriveConfig{.logicVersion = 3, .versionText = "3.2A"});
  Use(drive);
  ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
  LibraryContext ctx = Ctx();
  ASSERT_EQ(WriteParameterFile(ctx, dir_.Path("node0.par"), List("KVFF"), false, 31, 1, 1, 0, 9, false, 0),
            10001);
  EXPECT_EQ(SplitLines(Slurp(dir_.Path("node0.par")))[1], "FileVersion 3 ");
  drive.Faults().FailEveryCall(sim::Operation::kGetVarFromFPGA, 0);
  EXPECT_EQ(WriteParameterFile(ctx, dir_.Path("other.par"), List("KVFF"), false, 31, 1, 1, 0, 9, false, 0),
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
