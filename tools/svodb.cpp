// svodb: the parameter database of the servo drive family from the command
// line.
#include <cstdio>
#include <cstring>
#include <string>

#include "commands.h"

namespace svodb_tool {
namespace {

void PrintOverview() {
  std::printf("usage: svodb COMMAND [ARGS...]\n       svodb COMMAND --help\n\ncommands:\n");
  for (const Command& command : Commands()) std::printf("  %-10s %s\n", command.name, command.summary);
}

const Command* FindCommand(const std::string& name) {
  for (const Command& command : Commands()) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

bool WantsHelp(const Args& args) {
  for (const std::string& arg : args) {
    if (arg == "--help" || arg == "-h") return true;
  }
  return false;
}

}  // namespace

int UsageError(const std::string& message) {
  std::fprintf(stderr, "svodb: %s\n", message.c_str());
  return kExitUsage;
}

}  // namespace svodb_tool

int main(int argc, char** argv) {
  using namespace svodb_tool;
  if (argc < 2) {
    PrintOverview();
    return kExitUsage;
  }
  const std::string name = argv[1];
  if (name == "--help" || name == "-h" || name == "help") {
    PrintOverview();
    return kExitOk;
  }
  const Command* command = FindCommand(name);
  if (command == nullptr) return UsageError("unknown command '" + name + "' (see svodb --help)");
  Args args(argv + 2, argv + argc);
  if (WantsHelp(args)) {
    std::printf("%s", command->usage);
    return kExitOk;
  }
  return command->run(args);
}
