// svodb: the parameter database of the servo drive family from the command
// line. It uses the library only through its public C interface.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "command_line.h"
#include "svodb/svodb_linux.h"

namespace svodb_tool {
namespace {

// With SVODB_SIM_VIRTUAL_CLOCK=1 the library's timed waits run on a
// virtual clock: a pause returns at once and moves the clock on by its
// length, and each reading moves it on by a millisecond so that a busy
// wait ends. Only the virtual drive, which answers at once, can be driven
// so; the tool's tests of the slow motor-data commands use it.
struct VirtualClock {
  uint32_t now_ms = 0;
};

uint32_t VirtualNow(void* context) { return ++static_cast<VirtualClock*>(context)->now_ms; }
void VirtualSleep(void* context, uint32_t duration_ms) {
  static_cast<VirtualClock*>(context)->now_ms += duration_ms;
}

void UseVirtualClockWhenAsked() {
  static VirtualClock clock;
  const char* asked = std::getenv("SVODB_SIM_VIRTUAL_CLOCK");
  if (asked != nullptr && std::string(asked) == "1")
    svodb_set_clock_handlers(VirtualNow, VirtualSleep, &clock);
}

}  // namespace
}  // namespace svodb_tool

int main(int argc, char** argv) {
  using namespace svodb_tool;
  const Invocation invocation = ParseCommandLine(argc, argv);
  if (invocation.exitCode) return *invocation.exitCode;
  if (!LoadTransport(argv[0])) return kExitUsage;
  UseVirtualClockWhenAsked();
  return invocation.command->run();
}
