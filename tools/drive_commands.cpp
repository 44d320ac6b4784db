// Commands that talk to the drive through the raw exports: version, peek,
// poke and nv.
#include <cstdint>
#include <cstdio>
#include <string>

#include "cli.h"
#include "svodb/svodb.h"

namespace svodb_tool {
namespace {

int RunVersion(const Args& args) {
  if (!args.empty()) return UsageError("version: unexpected argument '" + args[0] + "'");
  char library[SVODB_VERSION_SIZE], network[SVODB_VERSION_SIZE], built[SVODB_COMPILE_TIME_SIZE];
  DLLVersion_SVODB(library);
  NCLVersion_SVODB(network);
  DLLCompileTime_SVODB(built);
  std::printf("library:  %s\nnetwork:  %s\nbuilt:    %s\ntransport: %s\n", library, network[0] ? network : "(none)",
              built, TransportStatus().c_str());
  return kExitOk;
}

bool Connected() {
  const int32_t result = Connect();
  if (result != 1) {
    LibraryFailure("cannot open the connection", result);
    ExplainMissingTransport();
  }
  return result == 1;
}

int RunPeek(const Args& args) {
  if (args.size() != 1) return UsageError("peek: expected one FPGA address (see svodb peek --help)");
  const auto address = ParseArgument("peek", "the FPGA address", args[0], 0, 255);
  if (!address) return kExitUsage;
  if (!Connected()) return kExitFailure;
  int32_t data = 0;
  const int32_t result = ReadUnitFPGA_SVODB(*address, &data);
  if (result != 1) return LibraryFailure("peek " + args[0], result);
  std::printf("FPGA %d = 0x%02X (%d)\n", static_cast<int>(*address), static_cast<unsigned>(data & 0xFF),
              static_cast<int>(data & 0xFF));
  return kExitOk;
}

int RunPoke(const Args& args) {
  if (args.size() != 2) return UsageError("poke: expected an FPGA address and a byte (see svodb poke --help)");
  const auto address = ParseArgument("poke", "the FPGA address", args[0], 0, 255);
  if (!address) return kExitUsage;
  const auto value = ParseArgument("poke", "the byte", args[1], 0, 255);
  if (!value) return kExitUsage;
  if (!Connected()) return kExitFailure;
  const int32_t result = WriteUnitFPGA_SVODB(*address, *value);
  if (result != 1) return LibraryFailure("poke " + args[0], result);
  std::printf("FPGA %d <- 0x%02X\n", static_cast<int>(*address), static_cast<unsigned>(*value));
  return kExitOk;
}

int RunNv(const Args& args) {
  if (args.size() != 1) return UsageError("nv: expected one NV entry (see svodb nv --help)");
  const auto entry = ParseArgument("nv", "the NV entry", args[0], 0, 255);
  if (!entry) return kExitUsage;
  if (!Connected()) return kExitFailure;
  int32_t fpgaRegister = 0, data = 0;
  const int32_t result = ReadUnitEEPROM_SVODB(*entry, &fpgaRegister, &data);
  if (result != 1) return LibraryFailure("nv " + args[0], result);
  std::printf("NV %d = register %d, data 0x%02X (%d)\n", static_cast<int>(*entry), static_cast<int>(fpgaRegister),
              static_cast<unsigned>(data & 0xFF), static_cast<int>(data & 0xFF));
  return kExitOk;
}

// clang-format off
const Command kCommands[] = {
    {"version", "show the library's, the transport's and the network's versions",
     "usage: svodb version\n"
     "Prints the transport's and the library's version, the network library's version and the build time.\n",
     RunVersion},
    {"peek", "read a byte of the drive's FPGA registers",
     "usage: svodb peek ADDR\n"
     "Reads FPGA register ADDR (0-255) of the connected drive, with no checks.\n",
     RunPeek},
    {"poke", "write a byte of the drive's FPGA registers",
     "usage: svodb poke ADDR VALUE\n"
     "Writes VALUE (0-255) to FPGA register ADDR (0-255) of the connected drive, with no checks.\n",
     RunPoke},
    {"nv", "read an entry of the drive's NV memory",
     "usage: svodb nv ENTRY\n"
     "Reads NV entry ENTRY (0-255) of the connected drive: the FPGA register it belongs to and its data.\n",
     RunNv},
};
// clang-format on

}  // namespace

std::span<const Command> DriveCommands() { return kCommands; }

}  // namespace svodb_tool
