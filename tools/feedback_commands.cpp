// Commands on the motor's feedback device: mdb (the motor data block) and
// trx (the device parameters of a generation-1 device).
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "cli.h"
#include "command_options.h"
#include "feedback/motor_data_block.h"
#include "json_output.h"
#include "progress.h"
#include "safety.h"
#include "svodb/svodb.h"

namespace svodb_tool {
namespace {

using Block = std::vector<uint32_t>;

bool Connected() {
  const int32_t result = Connect();
  if (result != SVODB_OK) LibraryFailure("cannot open the connection", result);
  return result == SVODB_OK;
}

// A block file: 384 decimal values separated by white space.
std::optional<Block> ReadBlockFile(const std::string& path) {
  std::ifstream in(path);
  if (!in) {
    std::fprintf(stderr, "svodb: cannot open '%s'\n", path.c_str());
    return std::nullopt;
  }
  Block block;
  std::string word;
  while (in >> word) {
    const std::optional<int32_t> value = ParseInt32(word);
    if (!value || *value < 0) {
      std::fprintf(stderr, "svodb: '%s': '%s' is not a byte value\n", path.c_str(), word.c_str());
      return std::nullopt;
    }
    block.push_back(static_cast<uint32_t>(*value));
  }
  if (block.size() != SVODB_TRX_BLOCK_SIZE) {
    std::fprintf(stderr, "svodb: '%s' holds %zu values, a motor data block has %d\n", path.c_str(),
                 block.size(), SVODB_TRX_BLOCK_SIZE);
    return std::nullopt;
  }
  return block;
}

bool WriteBlockFile(const std::string& path, const Block& block) {
  std::ofstream out(path, std::ios::trunc);
  for (const uint32_t value : block) out << value << '\n';
  out.close();
  if (!out) std::fprintf(stderr, "svodb: cannot write '%s'\n", path.c_str());
  return static_cast<bool>(out);
}

// The library's rule for a block from a caller, applied before anything is
// sent: each value a byte, the low byte of the sum 255.
int32_t Validate(const Block& block) {
  uint32_t sum = 0;
  for (const uint32_t value : block) {
    if (value > 255) return SVODB_WRONG_TRX_DATA;
    sum += value;
  }
  return (sum & 0xFF) == 0xFF ? SVODB_OK : SVODB_TRX_CHECKSUM;
}

// A field shown as a number is a JSON number; the motor's name stays text.
Json NumberOrText(const std::string& text) {
  const std::optional<double> value = ParseNumber(text);
  return value ? Json(*value) : Json(text);
}

// Reading the whole block from the device takes seconds.
int32_t ReadBlock(Block& block) {
  const ElapsedTime elapsed("reading the motor data block");
  return Read_TRXMDB(block.data());
}

int RunMdbShow() {
  if (!Connected()) return kExitFailure;
  int32_t result = 0;
  {
    const ElapsedTime elapsed("reading the motor data block");
    result = LoadShowData_TRXMDB();
  }
  if (result != SVODB_OK) return LibraryFailure("reading the motor data block", result);
  Json fields = Json::array();
  std::string table;
  for (const svodb::MdbField& field : svodb::kMdbFieldTable) {
    if (field.name[0] == '\0') break;
    char text[SVODB_TRX_FIELD_TEXT_SIZE] = "";
    char unit[SVODB_UNIT_SIZE] = "";
    const int32_t shown = GetMotorData_TRXMDB(field.name, text);
    GetDataUnit_TRXMDB(field.name, unit);
    const char* value = shown == SVODB_OK ? text : shown == SVODB_SYSTEM_ERROR ? "(not decodable)" : "?";
    fields.push_back({{"name", field.name},
                      {"value", shown == SVODB_OK ? NumberOrText(Trim(text)) : Json()},
                      {"unit", Trim(unit)},
                      {"decodable", shown != SVODB_SYSTEM_ERROR}});
    char line[256];
    std::snprintf(line, sizeof line, "%-8s %-20s %s\n", field.name, value, unit);
    table += line;
  }
  PrintResult(Json{{"fields", fields}}, table);
  return kExitOk;
}

int RunMdbRead(const std::string& path) {
  if (!OutputFolderExists("mdb read", path)) return kExitUsage;
  if (!Connected()) return kExitFailure;
  Block block(SVODB_TRX_BLOCK_SIZE);
  const int32_t result = ReadBlock(block);
  if (result != SVODB_OK) return LibraryFailure("reading the motor data block", result);
  if (!WriteBlockFile(path, block)) return kExitFailure;
  PrintResult(Json{{"file", path}, {"values", block.size()}}, "motor data block -> " + path + "\n");
  return kExitOk;
}

int RunMdbCheck(const std::string& path) {
  const std::optional<Block> block = ReadBlockFile(path);
  if (!block) return kExitUsage;
  if (!Connected()) return kExitFailure;
  uint32_t retries = 0, index = 0, read = 0, expected = 0;
  const int32_t result = Check_TRXMDB(block->data(), &retries, &index, &read, &expected);
  if (result == SVODB_TRX_READ_BACK) {
    std::fprintf(stderr, "svodb: byte %u of the drive's block is %u, %s has %u\n", index, read, path.c_str(),
                 expected);
  }
  if (result != SVODB_OK) return LibraryFailure("checking " + path, result);
  PrintResult(Json{{"file", path}, {"matches", true}, {"bytes_read_twice", retries}},
              "the drive's motor data block matches " + path + " (" + std::to_string(retries) +
                  " bytes read twice)\n");
  return kExitOk;
}

// The version-aware writer also writes the device's own bytes: hand it the
// values the device holds now, so that only the block changes.
bool PresentDeviceBytes(uint32_t generation, uint32_t& a, uint32_t& b) {
  if (generation == 1) {
    double offset = 0;
    const int32_t result = Read_TRX("RDSINOffset", &offset);
    if (result != SVODB_OK) return LibraryFailure("reading RDSINOffset", result) == kExitOk;
    a = 0;
    b = static_cast<uint32_t>(offset);
    return true;
  }
  std::vector<uint32_t> memory(SVODB_TRX_MEMORY_SIZE);
  const int32_t result = Read_TRX_2_Memory(memory.data());
  if (result != SVODB_OK) return LibraryFailure("reading the device's memory", result) == kExitOk;
  a = memory[16692];
  b = memory[16642] + 10;
  return true;
}

int RunMdbWrite(const std::string& path) {
  const std::optional<Block> block = ReadBlockFile(path);
  if (!block) return kExitUsage;
  const int32_t valid = Validate(*block);
  if (valid != SVODB_OK) return LibraryFailure(path, valid);
  if (!Connected()) return kExitFailure;
  uint32_t generation = 0, speed = 0, supported = 0;
  int32_t result = Check_gen_of_TRX(&generation, &speed, &supported);
  if (result != SVODB_OK) return LibraryFailure("finding the device's generation", result);
  if (supported != 1) {
    std::fprintf(stderr,
                 "svodb: the motor's feedback device (generation %u) cannot be written on this drive\n",
                 generation);
    return kExitFailure;
  }
  if (!Confirmed("write " + path + " to the motor's feedback device")) return kExitUsage;
  Block backup(SVODB_TRX_BLOCK_SIZE);
  result = ReadBlock(backup);
  if (result != SVODB_OK) return LibraryFailure("reading the present block; nothing was written", result);
  const std::string backupPath = BackupPath("motor-block.txt").string();
  std::error_code error;
  std::filesystem::create_directories(BackupFolder(), error);
  if (!WriteBlockFile(backupPath, backup)) return kExitFailure;
  ShowBackup(Backup{{backupPath}, {"svodb mdb write " + backupPath}});
  uint32_t a = 0, b = 0;
  if (!PresentDeviceBytes(generation, a, b)) return kExitFailure;
  {
    const ElapsedTime elapsed("writing the motor data block");
    result = Write_Verify_TRXMDB_v2(block->data(), &a, &b);
  }
  if (result != SVODB_OK) return LibraryFailure("writing " + path, result);
  const unsigned baud = speed == 115 ? 115200u : 19200u;
  PrintResult(Json{{"file", path}, {"generation", generation}, {"baud", baud}, {"backup", backupPath}},
              path + " written to the generation-" + std::to_string(generation) + " device at " +
                  std::to_string(baud) + " baud; the previous block is in " + backupPath + "\n");
  return kExitOk;
}

enum class MdbAction { kShow, kRead, kCheck, kWrite };

struct MdbOptions {
  MdbAction action = MdbAction::kShow;
  std::string file;
} mdb;

void DeclareMdb(CLI::App& command) {
  mdb = {};
  command.require_subcommand(1);
  AddAction(command, "show", "every field of the drive's copy of the motor data block, with its unit",
            mdb.action, MdbAction::kShow);
  const struct {
    const char* name;
    const char* help;
    MdbAction action;
  } withFile[] = {
      {"read", "the drive's copy of the block into FILE (384 values, one per line)", MdbAction::kRead},
      {"check", "compare the drive's copy with the block in FILE", MdbAction::kCheck},
      {"write",
       "write the block in FILE to the motor's feedback device (either generation) after asking (--yes: no "
       "question) and saving the present block to the backups folder; the device keeps its own bytes",
       MdbAction::kWrite},
  };
  for (const auto& action : withFile)
    AddAction(command, action.name, action.help, mdb.action, action.action)
        ->add_option("FILE", mdb.file, "the block file")
        ->required();
}

int RunMdb() {
  switch (mdb.action) {
    case MdbAction::kShow: return RunMdbShow();
    case MdbAction::kRead: return RunMdbRead(mdb.file);
    case MdbAction::kCheck: return RunMdbCheck(mdb.file);
    case MdbAction::kWrite: break;
  }
  return RunMdbWrite(mdb.file);
}

// The device parameters exist only on a generation-1 device; on the other
// the bit-mode port reads nothing and writes go nowhere.
bool ConnectedToGeneration1() {
  if (!Connected()) return false;
  uint32_t generation = 0, speed = 0, supported = 0;
  const int32_t result = Check_gen_of_TRX(&generation, &speed, &supported);
  if (result != SVODB_OK) return LibraryFailure("finding the device's generation", result) == kExitOk;
  if (generation == 1) return true;
  std::fprintf(stderr, "svodb: the motor's feedback device is of generation %u and has no such parameters\n",
               generation);
  return false;
}

// The device's own ranges, checked before the slow link is opened.
struct TrxParameter {
  const char* name;
  int32_t maximum;
};
constexpr TrxParameter kTrxParameters[] = {{"RDSINOffset", 255}, {"SINGain", 1023}};

bool IsTrxParameter(const std::string& name) {
  return std::ranges::any_of(kTrxParameters, [&](const TrxParameter& known) { return name == known.name; });
}

bool IsNumber(const std::string& text) { return ParseNumber(text).has_value(); }

struct TrxOptions {
  bool set = false;
  std::string name;
  std::string value;
} trx;

void DeclareTrx(CLI::App& command) {
  trx = {};
  command.require_subcommand(1);
  AddAction(command, "get", "read the parameter", trx.set, false)
      ->add_option("NAME", trx.name, "RDSINOffset or SINGain")
      ->required();
  CLI::App* set =
      AddAction(command, "set", "write the parameter; VALUE is truncated toward zero", trx.set, true);
  AddWord(*set, "NAME", trx.name, IsTrxParameter, "is no parameter of the device (RDSINOffset or SINGain)")
      ->description("RDSINOffset (0-255) or SINGain (0-1023)")
      ->required();
  AddWord(*set, "VALUE", trx.value, IsNumber, "is not a number")->description("the new value")->required();
}

int RunTrxGet(const std::string& name) {
  if (!ConnectedToGeneration1()) return kExitFailure;
  double value = 0;
  const int32_t result = Read_TRX(name.c_str(), &value);
  if (result != SVODB_OK) return LibraryFailure("trx get " + name, result);
  char text[64];
  std::snprintf(text, sizeof text, " %.0f\n", value);
  PrintResult(Json{{"name", name}, {"value", value}}, name + text);
  return kExitOk;
}

int RunTrxSet(const std::string& name, const std::string& given) {
  const double value = ParseNumber(given).value_or(0.0);
  const int32_t maximum = std::ranges::find(kTrxParameters, name, &TrxParameter::name)->maximum;
  if (value < 0 || value >= maximum + 1)
    return UsageError("trx set: " + name + " takes 0-" + std::to_string(maximum) + ", not " + given);
  if (!ConnectedToGeneration1()) return kExitFailure;
  const int32_t result = Write_TRX(name.c_str(), value);
  if (result != SVODB_OK) return LibraryFailure("trx set " + name, result);
  const double stored = static_cast<double>(static_cast<int64_t>(value));
  char text[64];
  std::snprintf(text, sizeof text, " <- %.0f\n", stored);
  PrintResult(Json{{"name", name}, {"value", stored}}, name + text);
  return kExitOk;
}

int RunTrx() { return trx.set ? RunTrxSet(trx.name, trx.value) : RunTrxGet(trx.name); }

// clang-format off
const Command kCommands[] = {
    {"mdb", "show, read, check or write the motor's data block",
     "The motor data block is the motor's nameplate, kept in its feedback device; the drive holds a\n"
     "copy.\n",
     RunMdb, DeclareMdb},
    {"trx", "read or write a parameter of a generation-1 feedback device",
     "Reads or writes RDSINOffset (0-255) or SINGain (0-1023) of the motor's feedback device; only a\n"
     "generation-1 device has them.\n",
     RunTrx, DeclareTrx},
};
// clang-format on

}  // namespace

std::span<const Command> FeedbackCommands() { return kCommands; }

}  // namespace svodb_tool
