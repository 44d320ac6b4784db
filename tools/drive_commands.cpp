// Commands that talk to the drive through the raw exports: version, peek,
// poke and nv; save, which makes the working registers the drive's NV; and
// sim, which switches the virtual drive off and on.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "cli.h"
#include "command_options.h"
#include "json_output.h"
#include "safety.h"
#include "svodb/svodb.h"

namespace svodb_tool {
namespace {

// The library's version text is "<transport's version> and <library's
// version>", the first part empty when no transport library is loaded.
int RunVersion() {
  char combined[SVODB_VERSION_SIZE], network[SVODB_VERSION_SIZE], built[SVODB_COMPILE_TIME_SIZE];
  DLLVersion_SVODB(combined);
  NCLVersion_SVODB(network);
  DLLCompileTime_SVODB(built);
  const std::string text = combined;
  const std::size_t split = text.rfind(" and ");
  const std::string transport = split == std::string::npos ? "" : Trim(text.substr(0, split));
  const std::string library = split == std::string::npos ? text : Trim(text.substr(split + 5));
  if (JsonWanted()) {
    PrintJson(Json{{"tool", SVODB_PROJECT_VERSION},
                   {"library", library},
                   {"library_built", built},
                   {"transport_library", transport.empty() ? Json() : Json(transport)},
                   {"network_library", network[0] != '\0' ? Json(network) : Json()},
                   {"transport_status", TransportStatus()}});
    return kExitOk;
  }
  std::printf("tool:               svodb %s\n", SVODB_PROJECT_VERSION);
  std::printf("library:            %s\n", library.c_str());
  std::printf("library built:      %s\n", built);
  std::printf("transport library:  %s\n", transport.empty() ? "no transport library" : transport.c_str());
  std::printf("network library:    %s\n", network[0] != '\0' ? network : "no network library");
  std::printf("transport file:     %s\n", TransportStatus().c_str());
  return kExitOk;
}

void NoOptions(CLI::App&) {}

bool Connected() {
  const int32_t result = Connect();
  if (result != SVODB_OK) {
    LibraryFailure("cannot open the connection", result);
    ExplainMissingTransport();
  }
  return result == SVODB_OK;
}

// The registers and NV entries the raw commands name, as the line gave them.
struct RawOptions {
  int32_t address = 0;
  int32_t value = 0;
} raw;

void DeclareAddress(CLI::App& command) {
  AddInteger(command, "ADDR", raw.address, "the FPGA address", 0, 255)->required();
}

void DeclarePoke(CLI::App& command) {
  DeclareAddress(command);
  AddInteger(command, "VALUE", raw.value, "the byte", 0, 255)->required();
}

void DeclareEntry(CLI::App& command) {
  AddInteger(command, "ENTRY", raw.address, "the NV entry", 0, 255)->required();
}

int RunPeek() {
  const int32_t address = raw.address;
  if (!Connected()) return kExitFailure;
  int32_t data = 0;
  const int32_t result = ReadUnitFPGA_SVODB(address, &data);
  if (result != SVODB_OK) return LibraryFailure("peek " + std::to_string(address), result);
  if (JsonWanted()) {
    PrintJson(Json{{"address", address}, {"data", data & 0xFF}});
    return kExitOk;
  }
  std::printf("FPGA %d = 0x%02X (%d)\n", static_cast<int>(address), static_cast<unsigned>(data & 0xFF),
              static_cast<int>(data & 0xFF));
  return kExitOk;
}

int RunPoke() {
  const int32_t address = raw.address, value = raw.value;
  const std::string name = std::to_string(address);
  if (!Connected()) return kExitFailure;
  int32_t before = 0;
  int32_t result = ReadUnitFPGA_SVODB(address, &before);
  if (result != SVODB_OK) return LibraryFailure("reading FPGA " + name + " before the write", result);
  if (!Confirmed("write " + std::to_string(value) + " to FPGA register " + name + " (it holds " +
                 std::to_string(before & 0xFF) + ")"))
    return kExitUsage;
  result = WriteUnitFPGA_SVODB(address, value);
  if (result != SVODB_OK) return LibraryFailure("poke " + name, result);
  std::fprintf(stderr, "svodb: it held %d; put it back with: svodb poke %d %d\n",
               static_cast<int>(before & 0xFF), static_cast<int>(address), static_cast<int>(before & 0xFF));
  char text[64];
  std::snprintf(text, sizeof text, "FPGA %d <- 0x%02X\n", static_cast<int>(address),
                static_cast<unsigned>(value));
  PrintResult(Json{{"address", address}, {"data", value}, {"before", before & 0xFF}}, text);
  return kExitOk;
}

int RunNv() {
  const int32_t entry = raw.address;
  if (!Connected()) return kExitFailure;
  int32_t fpgaRegister = 0, data = 0;
  const int32_t result = ReadUnitEEPROM_SVODB(entry, &fpgaRegister, &data);
  if (result != SVODB_OK) return LibraryFailure("nv " + std::to_string(entry), result);
  if (JsonWanted()) {
    PrintJson(Json{{"entry", entry}, {"register", fpgaRegister}, {"data", data & 0xFF}});
    return kExitOk;
  }
  std::printf("NV %d = register %d, data 0x%02X (%d)\n", static_cast<int>(entry),
              static_cast<int>(fpgaRegister), static_cast<unsigned>(data & 0xFF),
              static_cast<int>(data & 0xFF));
  return kExitOk;
}

// Copies the working registers of a set into NV, after a backup of NV.
bool saveManufacturing = false;

void DeclareSave(CLI::App& command) {
  saveManufacturing = false;
  command.add_flag("--mfg", saveManufacturing, "the manufacturing parameters instead of the user parameters");
}

int RunSave() {
  const bool mfg = saveManufacturing;
  if (!ConnectToDrive()) return kExitFailure;
  const std::string set = mfg ? "manufacturing" : "user";
  if (!Confirmed("save the drive's working " + set + " parameters to its NV memory")) return kExitUsage;
  const std::optional<Backup> backup = BackupDriveParameters();
  if (!backup) return kExitFailure;
  int32_t result = SetNode_SVODB(0);
  if (result == SVODB_OK) result = mfg ? RDFromDriveMfg_SVODB() : RDFromDriveUser_SVODB();
  if (result != SVODB_OK) return LibraryFailure("reading the drive's working " + set + " parameters", result);
  result = mfg ? WRToNVMfg_SVODB() : WRToNVUser_SVODB();
  if (result != SVODB_OK)
    return LibraryFailure("writing the " + set + " parameters to the drive's NV memory", result);
  ShowBackup(*backup);
  PrintResult(Json{{"set", set}, {"saved", true}},
              "saved the drive's working " + set + " parameters to its NV memory\n");
  return kExitOk;
}

// The virtual drive takes SVODB_SIM_POWER_CYCLE when it starts, so the
// variable must be set before the transport's first call.
void DeclareSim(CLI::App& command) {
  static bool powerCycle = false;
  command.require_subcommand(1);
  AddAction(command, "power-cycle", "switch the virtual drive off and on", powerCycle, true);
}

int RunSim() {
  setenv("SVODB_SIM_POWER_CYCLE", "1", 1);
  const int32_t result = Connect();
  if (result != SVODB_OK) return LibraryFailure("cannot open the connection", result);
  PrintResult(Json{{"power_cycled", true}},
              "the virtual drive was switched off and on: it runs with what its NV memory holds\n");
  return kExitOk;
}

// clang-format off
const Command kCommands[] = {
    {"version", "show the tool's, the library's, the transport's and the network library's versions",
     "Prints the tool's, the library's, the transport library's and the network library's versions, one\n"
     "per line, and when the library was built.\n",
     RunVersion, NoOptions},
    {"peek", "read a byte of the drive's FPGA registers",
     "Reads FPGA register ADDR (0-255) of the connected drive, with no checks.\n",
     RunPeek, DeclareAddress},
    {"poke", "write a byte of the drive's FPGA registers",
     "Writes VALUE (0-255) to FPGA register ADDR (0-255) of the connected drive, with no checks. It asks\n"
     "first on a terminal (--yes: no question) and prints the byte it replaced.\n",
     RunPoke, DeclarePoke},
    {"nv", "read an entry of the drive's NV memory",
     "Reads NV entry ENTRY (0-255) of the connected drive: the FPGA register it belongs to and its data.\n",
     RunNv, DeclareEntry},
    {"save", "copy the drive's working parameters to its NV memory",
     "Reads the user parameters (with --mfg the manufacturing parameters) from the drive's working\n"
     "registers and writes them to its NV memory, so that the drive starts with them after its next\n"
     "power-up. The NV memory is saved to the backups folder first.\n",
     RunSave, DeclareSave},
    {"sim", "switch the virtual drive off and on",
     "The virtual drive stays switched on from one command to the next (its state file keeps its\n"
     "working registers); power-cycle switches it off and on, so that it runs with what its NV memory\n"
     "holds. Setting SVODB_SIM_POWER_CYCLE=1 for any command does the same before that command.\n",
     RunSim, DeclareSim},
};
// clang-format on

}  // namespace

std::span<const Command> DriveCommands() { return kCommands; }

}  // namespace svodb_tool
