// svodb: the parameter database of the servo drive family from the command
// line. It uses the library only through its public C interface.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cli.h"
#include "network.h"
#include "svodb/svodb_linux.h"

namespace svodb_tool {
namespace {

template <typename Visit>
void ForEachCommand(Visit visit) {
  for (const Command& command : CatalogueCommands()) visit(command);
  for (const Command& command : DriveCommands()) visit(command);
  for (const Command& command : ValueCommands()) visit(command);
  for (const Command& command : FeedbackCommands()) visit(command);
  for (const Command& command : OfflineCommands()) visit(command);
  for (const Command& command : FileCommands()) visit(command);
  for (const Command& command : NetworkCommands()) visit(command);
  for (const Command& command : FlashCommands()) visit(command);
  for (const Command& command : ServeCommands()) visit(command);
}

void PrintOverview() {
  std::printf("usage: svodb COMMAND [ARGS...] [global options]\n       svodb COMMAND --help\n       svodb --version\n\n"
              "Exit status: 0 ok, 1 the drive or the library failed, 2 a usage or input error.\n\ncommands:\n");
  ForEachCommand([](const Command& command) { std::printf("  %-10s %s\n", command.name, command.summary); });
  std::printf("\n%s", kGlobalOptionsHelp);
}

const Command* FindCommand(const std::string& name) {
  const Command* found = nullptr;
  ForEachCommand([&](const Command& command) {
    if (name == command.name) found = &command;
  });
  return found;
}

// With SVODB_SIM_VIRTUAL_CLOCK=1 the library's timed waits run on a
// virtual clock: a pause returns at once and moves the clock on by its
// length, and each reading moves it on by a millisecond so that a busy
// wait ends. Only the virtual drive, which answers at once, can be driven
// so; the tool's tests of the slow motor-data commands use it.
struct VirtualClock {
  uint32_t now_ms = 0;
};

uint32_t VirtualNow(void* context) { return ++static_cast<VirtualClock*>(context)->now_ms; }
void VirtualSleep(void* context, uint32_t duration_ms) { static_cast<VirtualClock*>(context)->now_ms += duration_ms; }

void UseVirtualClockWhenAsked() {
  static VirtualClock clock;
  const char* asked = std::getenv("SVODB_SIM_VIRTUAL_CLOCK");
  if (asked != nullptr && std::string(asked) == "1") svodb_set_clock_handlers(VirtualNow, VirtualSleep, &clock);
}

bool WantsHelp(const Args& args) {
  for (const std::string& arg : args) {
    if (arg == "--help" || arg == "-h") return true;
  }
  return false;
}

}  // namespace
}  // namespace svodb_tool

int main(int argc, char** argv) {
  using namespace svodb_tool;
  Args args(argv + 1, argv + argc);
  if (!TakeGlobalOptions(args)) return kExitUsage;
  if (args.empty()) {
    PrintOverview();
    return kExitUsage;
  }
  const std::string name = args.front();
  args.erase(args.begin());
  if (name == "--version") {
    std::printf("svodb %s\n", SVODB_PROJECT_VERSION);
    return kExitOk;
  }
  if (name == "--help" || name == "-h" || name == "help") {
    PrintOverview();
    return kExitOk;
  }
  const Command* command = FindCommand(name);
  if (command == nullptr) return UsageError("unknown command '" + name + "' (see svodb --help)");
  if (WantsHelp(args)) {
    std::printf("%s\n%s", command->usage, kGlobalOptionsHelp);
    return kExitOk;
  }
  if (!LoadTransport(argv[0])) return kExitUsage;
  UseVirtualClockWhenAsked();
  return command->run(args);
}
