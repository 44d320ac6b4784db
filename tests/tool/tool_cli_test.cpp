// The svodb tool as a user runs it: a command line in, the exit code,
// standard output and standard error out, against the virtual drive beside
// the tool. Each test gets a drive of its own (a state file in a fresh
// folder under the build tree) and its own backups folder.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;

struct Outcome {
  int exitCode = -1;
  std::string out;
  std::string err;
};

std::string Slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

#define EXPECT_CONTAINS(text, part) EXPECT_NE((text).find(part), std::string::npos) << (text)

class Tool : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = fs::path(SVODB_TOOL_TEST_DIR) / (std::string(info->test_suite_name()) + "." + info->name());
    fs::remove_all(folder_);
    fs::create_directories(folder_);
    // The virtual drive's settings come from each test alone.
    std::vector<std::string> inherited;
    for (char** entry = environ; *entry != nullptr; ++entry) {
      if (std::string(*entry).starts_with("SVODB_SIM_")) inherited.emplace_back(*entry);
    }
    for (const std::string& entry : inherited) unsetenv(entry.substr(0, entry.find('=')).c_str());
  }

  fs::path Path(const std::string& name) const { return folder_ / name; }
  std::string File(const std::string& name) const { return Path(name).string(); }
  fs::path Backups() const { return folder_ / "xdg" / "svodb" / "backups"; }

  // Runs the tool with stdin from /dev/null (no terminal) and the extra
  // environment entries NAME=VALUE, which win over the test's own.
  Outcome Run(const std::vector<std::string>& args, const std::vector<std::string>& environment = {}) const {
    std::string command = "env SVODB_SIM_STATE=" + Quoted(File("drive.state")) +
                          " XDG_STATE_HOME=" + Quoted((folder_ / "xdg").string());
    for (const std::string& word : environment) command += " " + Quoted(word);
    command += " " + Quoted(SVODB_TOOL_PATH);
    for (const std::string& word : args) command += " " + Quoted(word);
    const std::string out = File("stdout"), err = File("stderr");
    const int status = std::system((command + " </dev/null >" + Quoted(out) + " 2>" + Quoted(err)).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Slurp(out), Slurp(err)};
  }

  static std::string Quoted(const std::string& word) {
    std::string quoted = "'";
    for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
  }

  void WriteFile(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
  }

  std::size_t BackupCount() const {
    std::error_code error;
    if (!fs::exists(Backups(), error)) return 0;
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(Backups()), fs::directory_iterator()));
  }

  // A command, its exit code, a text its output or errors contain, and the
  // drive's settings for it.
  struct Step {
    std::vector<std::string> args;
    int exitCode;
    std::string text;
    std::vector<std::string> environment = {};
  };

  void RunSteps(const std::vector<Step>& steps, const std::vector<std::string>& common = {}) const {
    for (const Step& step : steps) {
      std::vector<std::string> environment = common;
      environment.insert(environment.end(), step.environment.begin(), step.environment.end());
      const Outcome run = Run(step.args, environment);
      EXPECT_EQ(run.exitCode, step.exitCode) << step.args[0] << " " << step.args.back() << "\n" << run.err;
      const bool json = std::find(step.args.begin(), step.args.end(), "--json") != step.args.end();
      EXPECT_TRUE(!json || step.exitCode != 0 || nlohmann::json::accept(run.out)) << run.out;
      EXPECT_CONTAINS(run.out + run.err, step.text) << "\n" << step.args[0] << " " << step.args.back();
    }
  }

  fs::path folder_;
};

// ---- a drive that stays powered ----------------------------------------------

TEST_F(Tool, TheDriveStaysPoweredUntilPowerCycledAndSaveKeepsChanges) {
  const std::string changed = "KVP                0.05 Arms/rad/sec\n";
  ASSERT_EQ(Run({"poke", "100", "7", "--yes"}).exitCode, 0);
  EXPECT_EQ(Run({"peek", "100"}).out, "FPGA 100 = 0x07 (7)\n");
  ASSERT_EQ(Run({"set", "KVP", "0.05"}).exitCode, 0);
  EXPECT_EQ(Run({"get", "KVP"}).out, changed);
  ASSERT_EQ(Run({"sim", "power-cycle"}).exitCode, 0);
  EXPECT_EQ(Run({"get", "KVP"}).out, "KVP                0.032 Arms/rad/sec\n");
  ASSERT_EQ(Run({"set", "KVP", "0.05"}).exitCode, 0);
  const Outcome saved = Run({"save", "--yes"});
  EXPECT_EQ(saved.exitCode, 0) << saved.err;
  EXPECT_EQ(saved.out, "saved the drive's working user parameters to its NV memory\n");
  EXPECT_EQ(BackupCount(), 2u);
  ASSERT_EQ(Run({"sim", "power-cycle"}).exitCode, 0);
  EXPECT_EQ(Run({"get", "KVP"}).out, changed);
}

// ---- previews that tell the truth ----------------------------------------------

TEST_F(Tool, DryRunAndRestoreBothRefuseAnotherModelOrANewerLogic) {
  const std::string other = File("d.par"), newer = File("l4.par");
  const std::string nothing = "\nsvodb: restore: nothing was written to the drive\n";
  const std::string model = " is for X7103_240Vac_6/18Arms; the drive is X7102_240Vac_3/9Arms" + nothing;
  const std::vector<std::string> older{"SVODB_SIM_LOGIC=3", "SVODB_SIM_VERSION=3.2A"};
  RunSteps({
      {{"defaults", "--model", "X7103", "--out", other}, 0, ""},
      {{"defaults", "--logic", "4", "--out", newer}, 0, ""},
      {{"restore", other, "--dry-run"}, 2, "svodb: restore: " + other + model},
      {{"restore", other, "--yes"}, 2, "svodb: restore: " + other + model},
      {{"restore", newer, "--dry-run"}, 2, newer + " is for logic 4; the drive has logic 3" + nothing, older},
      {{"restore", newer, "--yes"}, 2, newer + " is for logic 4; the drive has logic 3" + nothing, older},
  });
  EXPECT_EQ(BackupCount(), 0u);
}

TEST_F(Tool, DryRunShowsThePlanWithRoundingDuplicatesAndCutLines) {
  std::string text = Slurp(SVODB_TOOL_FILES "/edited_user.par");
  text +=
      "ARF1             = 9\nDPoles           = 6                                                 Poles\n";
  WriteFile("p.par", text);
  const Outcome run = Run({"restore", File("p.par"), "--dry-run"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_CONTAINS(run.out, "ARF0              194.304 Hz                303.6 Hz\n");
  EXPECT_CONTAINS(run.out, "--dry-run: nothing was written to the drive\n");
  EXPECT_CONTAINS(run.err, "warning: ARF0: the file asks for 300; the drive will store 303.6 Hz");
  EXPECT_CONTAINS(run.err, ":14: DPoles is listed again (first on line 12); the later line wins");
  EXPECT_CONTAINS(run.err, ":13: ARF1 = 9 has no unit column (Hz); is the line cut short?");
}

// Two drives, a and b, in turn: a's backup restored into b backs up to the
// same file; a file with bad lines and a dry run leave NV memory as it was;
// diff compares files, the drive and the factory defaults.
TEST_F(Tool, BackupRestoreAndDiffBetweenTwoDrives) {
  const std::vector<std::string> a{"SVODB_SIM_STATE=" + File("a.state")};
  const std::string user = File("a.par"), mfg = File("a-mfg.par");
  const std::string edited = SVODB_TOOL_FILES "/edited_user.par", bad = SVODB_TOOL_FILES "/bad_user.par";
  const std::string wrote = " to the drive's NV memory; the drive runs with it after its next power-up\n";
  RunSteps({
      {{"backup", user}, 0, "saved 46 user parameters of the drive's NV memory to " + user + "\n", a},
      {{"backup", mfg, "--mfg"},
       0,
       "saved 14 manufacturing parameters of the drive's NV memory to " + mfg,
       a},
      {{"restore", user, "--yes"},
       0,
       ": every line loads (user file for X7102_240Vac_3/9Arms, 46 parameters)\n"},
      {{"restore", mfg, "--mfg", "--yes"}, 0, "wrote " + mfg + wrote},
      {{"backup", File("b.par")}, 0, ""},
      {{"backup", File("b-mfg.par"), "--mfg"}, 0, ""},
      {{"diff", user, File("b.par")}, 0, "no differences in 46 parameters\n"},
      {{"diff", mfg, File("b-mfg.par")}, 0, "no differences in 14 parameters\n"},
      {{"restore", edited, "--dry-run"}, 0, "\n2 of 5 parameters change\n--dry-run: nothing was written"},
      {{"restore", bad},
       2,
       bad + ":12: KVFF= 0: Wrong file format (code 32)\nsvodb: " + bad + ": 4 lines fail\n"},
      {{"diff", user, "drive"}, 0, "no differences in 46 parameters\n"},
      {{"restore", edited, "--yes"}, 0, "wrote " + edited + wrote},
      {{"diff", user, "drive"}, 1, "303.6 Hz\nDPoles            6 "},
      {{"diff", "node:0", "node:0"}, 0, "no differences in 79 parameters\n"},
      {{"defaults", "--model", "X7103", "--out", File("d.par"), "--network", "--logic", "4"},
       0,
       "of X7103_240Vac_6/18Arms (network drive, logic 4) to " + File("d.par") + "\n"},
      {{"diff", File("d.par"), "defaults:28"}, 0, "no differences in 63 parameters\n"},
      {{"diff", "defaults:31", "defaults:X7103"},
       1,
       "CmdGain           0.9000449 Arms/V    1.8000898 Arms/V\n"},
      {{"defaults", "--model", "30", "--node", "4"}, 0, "(serial drive, logic 3) in node 4:\n  ARF0 "},
  });
  EXPECT_EQ(Slurp(Path("b.par")), Slurp(user));
  EXPECT_EQ(Slurp(Path("b-mfg.par")), Slurp(mfg));
  const std::string lines = Run({"restore", bad}).err;
  EXPECT_CONTAINS(lines, bad + ":7: BatFDis = Sometimes: Data is out of range (code 23)\n" + bad +
                             ":10: KVP = fast: Data is out of range (code 23)\n" + bad +
                             ":11: NoSuchThing = 1: Invalid parameter (code 8)\n");
  EXPECT_TRUE(lines.ends_with("svodb: restore: nothing was written to the drive\n")) << lines;
}

// ---- nothing destructive without a way back ---------------------------------------

TEST_F(Tool, DestructiveCommandsRefuseWithoutATerminalOrYes) {
  const std::string refused = "refused without --yes (there is no terminal to ask on)";
  RunSteps({{{"mdb", "write", SVODB_MDB_DATA "/motor_block.txt"}, 2, refused},
            {{"restore", SVODB_TOOL_FILES "/edited_user.par"}, 2, refused},
            {{"flash", "--erase"}, 2, refused},
            {{"poke", "100", "7"}, 2, refused},
            {{"serial", "NEW-1"}, 2, refused},
            {{"save"}, 2, refused},
            {{"serial"}, 0, "VD22010001\n"}},
           {"SVODB_SIM_VIRTUAL_CLOCK=1"});
  EXPECT_EQ(BackupCount(), 0u);
}

TEST_F(Tool, SerialSavesTheOldNumber) {
  const Outcome run = Run({"serial", "SN-2", "--yes"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "SN-2\n");
  EXPECT_CONTAINS(run.err, "put it back with: svodb serial 'VD22010001'");
  ASSERT_EQ(BackupCount(), 1u);
  EXPECT_EQ(Slurp(fs::directory_iterator(Backups())->path()), "VD22010001\n");
}

TEST_F(Tool, OutputFilesAreNotReplacedWithoutForce) {
  const std::string old = File("old.par"), exists = old + " exists; give --force to replace it";
  WriteFile("old.par", "keep me\n");
  RunSteps({{{"backup", old}, 2, exists}, {{"defaults", "--out", old}, 2, exists}});
  EXPECT_EQ(Slurp(old), "keep me\n");
  RunSteps({{{"backup", old, "--force"}, 0, "saved 46 user parameters of the drive's NV memory to " + old}});
}

// ---- flash checks the whole file first ------------------------------------------

TEST_F(Tool, FlashRefusesBadFilesBeforeTouchingAnything) {
  ASSERT_EQ(std::system((std::string(SVODB_FLASH_SAMPLES) + " " + File("samples")).c_str()), 0);
  std::string isc = Slurp(Path("samples/sample.isc"));
  isc[isc.find("SDR 4096 TDI (") + 20] ^= 1;  // one hex digit of row 2
  WriteFile("bad.isc", isc);
  const std::string header = "#IT: test\n# two\n#LogicVer:4\n:020000040000FA\n";
  const std::string data = ":0400000001020304F2\n", end = ":00000001FF\n";
  WriteFile("sum.i00", header + ":0400000001020305F2\n" + end);
  WriteFile("v3.i00", "#IT: test\n# two\n#LogicVer:3\n:020000040000FA\n" + data + end);
  WriteFile("noend.i00", header + data);
  const std::string nothing = "; nothing was sent to the drive\n";
  RunSteps({
      {{"flash", File("sum.i00"), "--yes"}, 2, "line 5 of the I00 file fails its checksum" + nothing},
      {{"flash", File("noend.i00"), "--yes"}, 2, "the I00 file has no end record"},
      {{"flash", File("v3.i00"), "--yes"}, 2, "v3.i00 is for logic 3; the drive has logic 4" + nothing},
      {{"flash", File("samples/sample.isc"), "--yes"}, 2, "is for logic 3; the drive has logic 4"},
      {{"flash", File("bad.isc"), "--yes"}, 2, "the data rows fail their checksum", {"SVODB_SIM_LOGIC=3"}},
  });
  EXPECT_EQ(BackupCount(), 0u);
}

// One drive through the flash commands in turn: generated files are
// programmed and verified, the flash erased (a verify then fails) and the
// FPGA reloaded.
TEST_F(Tool, FlashProgramsVerifiesErasesAndConfiguresOneDrive) {
  const std::string samples = File("samples"), i00 = samples + "/ABC-DEF004-GH.i00";
  const std::string isc = samples + "/sample.isc";
  ASSERT_EQ(std::system((std::string(SVODB_FLASH_SAMPLES) + " " + samples).c_str()), 0);
  const Outcome programmed = Run({"flash", i00, "--yes"});
  EXPECT_EQ(programmed.out, "programmed the flash from " + i00 + "\n");
  EXPECT_CONTAINS(programmed.err, "\n0%\n10%\n");
  EXPECT_TRUE(programmed.err.ends_with("\n90%\n100%\n")) << programmed.err;
  RunSteps({
      {{"flash", i00, "--verify"}, 0, "the flash matches " + i00 + "\n"},
      {{"flash", "--erase", "--yes"}, 0, "erased the flash\n"},
      {{"flash", i00, "--verify"}, 1, "the flash differs from the file (code 4)"},
      {{"flash", isc, "--yes"}, 0, "programmed the flash from " + isc + "\n", {"SVODB_SIM_LOGIC=3"}},
      {{"flash", isc, "--verify"}, 0, "the flash matches " + isc + "\n", {"SVODB_SIM_LOGIC=3"}},
      {{"flash", "--configure"}, 0, "the drive reloaded its FPGA from the flash\n"},
      {{"flash", samples + "/sample.bin"}, 2, "svodb: flash: FILE must end in .isc or .i00\n"},
  });
  EXPECT_EQ(BackupCount(), 6u);  // the user and manufacturing parameters before each change
}

// ---- values as people write them ------------------------------------------------------

// The text is the whole of the output followed by the errors.
TEST_F(Tool, ValuesReadAndWriteAsLabelsAndSayWhenRounded) {
  RunSteps({
      {{"get", "CmdSrc", "VerLW", "SerialNum"},
       0,
       "CmdSrc             Analog Input\nVerLW              4.0A\nSerialNum          VD22010001\n"},
      {{"set", "cmdsrc", "pwm_INPUT"}, 0, "CmdSrc             PWM Input\n"},
      {{"set", "CmdSrc", "Analog Input"}, 0, "CmdSrc             Analog Input\n"},
      {{"set", "FilterType", "1"}, 2, "svodb: set: '1' is no value of FilterType (one of: ARfx, BiQuad)\n"},
      {{"set", "ARF0", "300"},
       0,
       "ARF0               303.6 Hz\nsvodb: set ARF0: asked for 300; the drive stores 303.6 Hz\n"},
      {{"get", "kvp", "--json"},
       0,
       "[\n  {\n    \"name\": \"KVP\",\n    \"value\": 0.032,\n    \"unit\": \"Arms/rad/sec\"\n  }\n]\n"},
      {{"get", "CmdSrc", "--json"}, 0, "\"value\": 0.0,\n    \"label\": \"Analog Input\"\n  }\n]\n"},
  });
}

TEST_F(Tool, GetAllListsEveryVariableTheDriveAnswersByGroup) {
  const Outcome run = Run({"get", "--all"});
  EXPECT_EQ(run.exitCode, 0);
  const std::size_t user = run.out.find("[User parameters]\n"), kvp = run.out.find("\nKVP       "),
                    mfg = run.out.find("\n\n[Manufacturing settings]\n"), serial = run.out.find("\nHstSet "),
                    status = run.out.find("\n\n[Status and monitoring]\n"),
                    verlw = run.out.find("\nVerLW    ");
  EXPECT_EQ(user, 0u);
  EXPECT_TRUE(user < kvp && kvp < mfg && mfg < serial && serial < status && status < verlw) << run.out;
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 159 + 3 + 2);
}

// With no drive at all, the exact message and nothing from the transport
// show that the check came before the drive was touched.
TEST_F(Tool, ChecksThatNeedNoDriveComeFirst) {
  const std::vector<Step> steps{
      {{"set", "FilterType", "1.5"},
       2,
       "svodb: set: FilterType is an integer variable: it takes whole numbers, not '1.5'\n"},
      {{"set", "Kvpp", "1"}, 2, "svodb: set: no variable is named 'Kvpp'; did you mean KPP or KVP?\n"},
      {{"get", "KVP", "nosuch"}, 2, "svodb: get: no variable is named 'nosuch'\n"},
      {{"trx", "set", "SINGain", "2000"}, 2, "svodb: trx set: SINGain takes 0-1023, not 2000\n"},
      {{"mdb", "erase", "f"},
       2,
       "svodb: mdb: unknown action 'erase' (it takes show, read, check or write)\n"},
      {{"serial", "", "--yes"}, 2, "svodb: serial: an empty serial number would blank the drive's\n"},
      {{"poke", "3", "999", "--yes"},
       2,
       "svodb: poke: the byte must be an integer from 0 to 255, not '999'\n"},
      {{"backup", "/no/dir/b.par"},
       2,
       "svodb: backup: the folder /no/dir does not exist (for /no/dir/b.par)\n"},
      {{"mdb", "read", "/no/m.txt"}, 2, "svodb: mdb read: the folder /no does not exist (for /no/m.txt)\n"},
      {{"peek", "256"}, 2, "svodb: peek: the FPGA address must be an integer from 0 to 255, not '256'\n"},
      {{"error", "12x"}, 2, "svodb: error: '12x' is not a 32-bit integer\n"},
      {{"set", "KVP", "abc"}, 2, "svodb: set: 'abc' is not a number\n"},
      {{"mdb"}, 2, "svodb: mdb: expected show, read, check or write (see svodb mdb --help)\n"},
      {{"trx", "get"}, 2, "svodb: trx get: NAME is required\n"},
      {{"restore"}, 2, "svodb: restore: FILE is required\n"},
      {{"defaults", "--logic", "5"},
       2,
       "svodb: defaults: the logic version must be an integer from 2 to 4, not '5'\n"},
      {{"diff", "drive", "node:7"}, 2, "svodb: diff: the node must be an integer from 0 to 6, not '7'\n"},
      {{"diff", "drive", "defaults:X9"},
       2,
       "svodb: diff: 'X9' is no model (a code such as 31, or a name such as X7102)\n"},
  };
  RunSteps(steps, {"SVODB_SIM_NODES=none"});
}

// Every step given --json that succeeds prints one JSON document.
TEST_F(Tool, JsonOnTheCommandsThatPrintData) {
  RunSteps({
      {{"info", "--json"}, 0, "\"model\": 31,\n  \"model_label\": \"X7102 240Vac 3/9Arms\""},
      {{"version", "--json"}, 0, "\"transport_library\": \"SVODB virtual drive 1.0\""},
      {{"vars", "--json"}, 0, "\"flags\": {\n      \"read_only\": false,"},
      {{"enum", "cmdsrc", "--json"}, 0, "\"label\": \"Analog Input\",\n    \"file_label\": \"Analog_Input\""},
      {{"props", "KVP", "--json"}, 0, "\"unit\": \"Arms/rad/sec\""},
      {{"--json", "faults"},
       0,
       "\"fault_pointer\": 2,\n  \"records\": [\n    {\n      \"record\": 0,\n      \"bytes\": [\n        "
       "9,"},
      {{"sample", "VBus", "3", "--json"},
       0,
       "\"samples\": 3,\n  \"mean\": 325.32,\n  \"spread\": 0.0,\n  \"unit\": \"Volts\""},
      {{"restore", SVODB_TOOL_FILES "/edited_user.par", "--dry-run", "--json"},
       0,
       "\"name\": \"ARF0\",\n      \"now\": 194.304,\n      \"now_text\": \"194.304 Hz\",\n      \"after\": "
       "303.6,"},
      {{"diff", "drive", "node:0", "--json"}, 0, "\"compared\": 79,\n  \"differing\": []"},
      {{"defaults", "--model=X7103", "--json"},
       0,
       "\"model\": \"X7103_240Vac_6/18Arms\",\n  \"drive_type\": \"serial\",\n  \"logic\": 3,"},
      {{"mdb", "show", "--json"},
       0,
       "\"name\": \"DCWeek\",\n      \"value\": 12.0,\n      \"unit\": \"Weeks\",\n      \"decodable\": "
       "true"},
      {{"save", "--yes", "--json"}, 0, "{\n  \"set\": \"user\",\n  \"saved\": true\n}"},
  });
}

TEST_F(Tool, LongSamplingShowsProgressOnStandardError) {
  const Outcome run = Run({"sample", "VBus", "200"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "VBus over 200 samples: mean 325.32, spread 0 Volts\n");
  EXPECT_CONTAINS(run.err, "sampling: 50%\n");
  EXPECT_EQ(run.err.substr(run.err.size() - 15), "sampling: 100%\n");
  EXPECT_EQ(Run({"sample", "VBus", "5"}).err, "");
}

// ---- the motor's feedback device ----------------------------------------------------

// A block is shown, saved, refused with a bad checksum, written, checked and
// shown again, one command after another on a drive of each device
// generation. The tool's waits run on a virtual clock (on the real one a
// block read takes 4 s and a write about 16 s).
TEST_F(Tool, MotorDataBlockOnBothDeviceGenerations) {
  const std::string block = SVODB_MDB_DATA "/motor_block.txt";
  std::string bad = Slurp(block);
  bad.replace(bad.size() - 3, 3, " 5\n");  // the checksum, the last value, one off
  WriteFile("bad.txt", bad);
  const std::vector<std::string> second{"SVODB_SIM_TRX=2", "SVODB_SIM_STATE=" + File("second.state")};
  const std::string written = " written to the generation-";
  RunSteps(
      {
          {{"mdb", "show"}, 0, "MNum     VM2201-A04N0000      ...\nMotTLim  64                   Counts\n"},
          {{"mdb", "read", File("factory.txt")}, 0, "motor data block -> " + File("factory.txt")},
          {{"mdb", "write", File("bad.txt")}, 1, "bad.txt: Wrong Checksum of TRX data (code 41)\n"},
          {{"mdb", "write", block, "--yes"},
           0,
           block + written + "1 device at 115200 baud; the previous block is in "},
          {{"mdb", "check", block}, 0, "the drive's motor data block matches " + block},
          {{"mdb", "show"}, 0, "MNum     VM9999-TEST0001      ...\n"},
          {{"trx", "set", "SINGain", "700.9"}, 0, "SINGain <- 700\n"},
          {{"trx", "get", "singain"}, 0, "singain 700\n"},
          {{"mdb", "write", block, "--yes"}, 0, block + written + "2 device", second},
          {{"mdb", "show"}, 0, "MNum     VM9999-TEST0001      ...\n", second},
          {{"trx", "get", "SINGain"}, 1, "generation 2 and has no such parameters", second},
      },
      {"SVODB_SIM_VIRTUAL_CLOCK=1"});
}

// ---- a network of drives ----------------------------------------------------------

TEST_F(Tool, ScanAndEveryNodeCommandsReachTheDrivesThatAnswer) {
  const std::vector<std::string> network{"SVODB_SIM_NODES=3,1"};
  const std::string rows =
      "1     31 (X7102 240Vac 3/9Arms)      4      VD22010001\n"
      "3     31 (X7102 240Vac 3/9Arms)      4      VD22010003\n";
  EXPECT_EQ(Run({"scan"}, network).out, "node  model                          logic  serial number\n" + rows);
  EXPECT_CONTAINS(Run({"info", "--node", "all"}, network).out,
                  "3     31 (X7102 240Vac 3/9Arms)      4      VD22010003               velocity  4.0A\n");
  // Node 3 saves a change; node 1's backup then differs from node 3 only.
  ASSERT_EQ(Run({"set", "KVP", "0.05", "--network", "3,0"}, network).exitCode, 0);
  ASSERT_EQ(Run({"save", "--yes", "--network", "3,0"}, network).exitCode, 0);
  const Outcome backup = Run({"backup", File("all"), "--node", "all"}, network);
  EXPECT_EQ(backup.exitCode, 0) << backup.err;
  EXPECT_CONTAINS(backup.out, "parameters of the drive's NV memory to " + File("all/node3-VD22010003.par"));
  const std::string first = File("all/node1-VD22010001.par");
  const Outcome diff = Run({"diff", first, "drive", "--node", "all"}, network);
  EXPECT_EQ(diff.exitCode, 1);
  EXPECT_CONTAINS(diff.out, "\n3     KVP               0.032 Arms/rad/sec");
  EXPECT_CONTAINS(diff.out, "0.05 Arms/rad/sec\n1 of 92 parameters differ on 2 drives\n");
}

// The virtual drive refuses settings it does not model; the network
// commands refuse what cannot work.
TEST_F(Tool, BadSettingsAndNetworkMistakesAreRefusedClearly) {
  RunSteps({
      {{"get", "KVP"},
       1,
       "SVODB_SIM_MODEL is '99'; the virtual drive models model codes 0-31",
       {"SVODB_SIM_MODEL=99"}},
      {{"get", "KVP"}, 1, "the virtual drive models logic versions 2, 3 and 4", {"SVODB_SIM_LOGIC=9"}},
      {{"get", "KVP"}, 1, "svodb virtual drive: SVODB_SIM_TRX is 'x'", {"SVODB_SIM_TRX=x"}},
      {{"get", "KVP"}, 1, "SVODB_SIM_VERSION is '4.0'", {"SVODB_SIM_VERSION=4.0"}},
      {{"set", "KVP", "0.05"}, 1, "cannot write the state file /no/dir/s", {"SVODB_SIM_STATE=/no/dir/s"}},
      {{"scan"},
       1,
       "svodb virtual drive: SVODB_SIM_NODES is '1,9'; the virtual network models distinct addresses 1-8, "
       "comma-separated\nsvodb: no drive answers at network addresses 1-8\n",
       {"SVODB_SIM_NODES=1,9"}},
      {{"info", "--node=2"}, 2, "svodb: info: --node takes 'all'", {"SVODB_SIM_NODES=2"}},
      {{"backup", "f", "--node=all", "--port=1"},
       2,
       "svodb: backup: --node all works over a network; a serial port reaches one drive\n",
       {"SVODB_SIM_NODES=2"}},
      {{"scan", "--port", "1"}, 2, "svodb: scan: a serial port reaches one drive", {"SVODB_SIM_NODES=2"}},
      {{"info", "--network", "1,0"}, 1, "No Response from drive", {"SVODB_SIM_NODES=2"}},
  });
}

// ---- the command line ---------------------------------------------------------------

TEST_F(Tool, CommandLineOptionsAreValidated) {
  RunSteps({
      {{"--version"}, 0, "svodb 1."},
      {{"peek", "30", "--port=1"}, 0, "FPGA 30 = 0x04 (4)"},
      {{"--baud=7", "peek", "30"}, 2, "svodb: --baud: takes 9600, 19200, 38400, 57600 or 115200, not '7'\n"},
      {{"peek", "30", "--port=0"}, 2, "svodb: --port: takes a serial port number from 1 to 255, not '0'\n"},
      {{"peek", "30", "--network=1,x"},
       2,
       "svodb: --network: takes 2, 4 or 7 comma-separated integers, not '1,x'\n"},
      {{"--bogus", "peek", "30"}, 2, "svodb: unknown option '--bogus' (see svodb --help)\n"},
      {{"vars", "--xml=1"}, 2, "svodb: vars: unknown option '--xml' (see svodb vars --help)\n"},
      {{"bogus"}, 2, "svodb: unknown command 'bogus' (see svodb --help)\n"},
      {{"--port=2", "serve", "--port=70000"},
       2,
       "svodb: serve: the HTTP port must be an integer from 0 to 65535"},
      {{"serve", "--serial-port=2", "--port=0", "--for=1"}, 1, "No such communication port (code 2)"},
      {{"restore", "/no/such.par", "--dry-run"}, 2, "svodb: restore: cannot open /no/such.par\n"},
      {{"diff", "drive", "/no/such.par"}, 2, "svodb: diff: cannot open '/no/such.par'"},
      {{"mdb", "check", "/no/such.txt"}, 2, "svodb: cannot open '/no/such.txt'\n"},
      {{"flash", "/no/such.i00", "--yes"},
       2,
       "svodb: flash: cannot open /no/such.i00; nothing was sent to the drive\n"},
      {{"peek", "30", "--network=1,2", "--port", "3"}, 2, "not both"},
      {{"peek", "30", "--transport", SVODB_LIBRARY_PATH}, 2, "is not a transport library"},
      {{"serial", "1234567890123456789012345"}, 2, "a serial number has at most 24 characters"},
      {{"peek", "30", "--transport", "/no/such/lib.so"},
       2,
       "cannot load the transport library /no/such/lib.so"},
      {{"defaults", "--network=1,2", "--json"}, 0, "\"drive_type\": \"network\""},
      {{"defaults", "--model=Q"}, 2, "svodb: defaults: 'Q' is no model (a code such as 31"},
      {{"mdb", "--help"}, 0, "usage: svodb mdb show | read FILE | check FILE | write FILE\n"},
      {{"mdb", "read", "--help"}, 0, "usage: svodb mdb read FILE\n"},
      {{"peek", "30", "31"}, 2, "svodb: peek: unexpected argument '31'\n"},
      {{"set", "KVFF", "-.5"},
       2,
       "svodb: set: '-.5' reads as an option; put -- before a value that starts with '-'\n"},
      {{"set", "KVFF", "--", "-.5"}, 1, "svodb: set KVFF: Data is out of range (code 23)\n"},
  });
}

// What the drive and the catalogue hold, as the commands print it.
TEST_F(Tool, CommandsPrintWhatTheDriveHolds) {
  RunSteps({
      {{"version"},
       0,
       "transport library:  SVODB virtual drive 1.0\nnetwork library:    SVODB virtual MotoBus 1.0\n"},
      {{"error", "50731"}, 0, "50731: Can't open file when reading file at No.7 variable\n"},
      {{"info"}, 0, "model:          31 (X7102 240Vac 3/9Arms)\n"},
      {{"get", "KVP", "VBus"}, 0, "KVP                0.032 Arms/rad/sec\nVBus               325.32 Volts\n"},
      {{"enum", "kvp"}, 2, "svodb: enum: KVP has no enumeration\n"},
      {{"enum", "DM2Map"},
       0,
       "\n    7       7  ICmd 7.627 Arms/V                             ICmd_7.627_Arms/V\n"},
      {{"props", "KVP"}, 0, "conversion code:  27\n"},
      {{"get", "ILmtPlus", "--node", "3"}, 0, "ILmtPlus           100 %\n"},
  });
}

// Every command of the overview has a help of its own and names an option
// it does not know.
TEST_F(Tool, EveryCommandHasItsHelpAndNamesUnknownOptions) {
  const std::string overview = Run({"--help"}).out;
  std::istringstream commands(overview.substr(overview.find("\ncommands:\n") + 11));
  std::string line;
  while (std::getline(commands, line) && line.starts_with("  ")) {
    const std::string name = line.substr(2, line.find(' ', 2) - 2);
    const Outcome help = Run({name, "--help"});
    EXPECT_EQ(help.exitCode, 0) << name;
    EXPECT_TRUE(help.out.starts_with("usage: svodb " + name)) << help.out;
    EXPECT_CONTAINS(help.out, "\n\nglobal options (before or after the command):\n  --transport PATH ");
    const Outcome unknown = Run({name, "--bogus=1"});
    EXPECT_EQ(unknown.exitCode, 2) << name;
    EXPECT_EQ(unknown.err, "svodb: " + name + ": unknown option '--bogus' (see svodb " + name + " --help)\n");
  }
}

}  // namespace
