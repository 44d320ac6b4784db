// The tool's command line: one CLI11 application with a subcommand per
// command (and one per action of a command such as "mdb read"). Global
// options go before or after the command; the command's own options and
// arguments are declared on its subcommand and reach its run() through the
// variables they are bound to.
#pragma once

#include <optional>
#include <string>

#include "cli.h"

namespace svodb_tool {

struct Invocation {
  const Command* command = nullptr;
  std::optional<int> exitCode;  // set when the line is already dealt with: help, version, an error
};

// Parses the line into Connection(), Safety() and JsonWanted() and the
// command to run; usage errors are printed and give exit code kExitUsage.
Invocation ParseCommandLine(int argc, const char* const* argv);

}  // namespace svodb_tool
