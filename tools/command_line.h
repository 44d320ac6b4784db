// The tool's command line: one CLI11 application with a subcommand per
// command. Global options go before or after the command; everything else
// after the command's name is the command's own, handed to its run().
#pragma once

#include <optional>
#include <string>

#include "cli.h"

namespace svodb_tool {

struct Invocation {
  const Command* command = nullptr;
  Args args;                    // the command's own arguments, "--opt=value" split in two
  std::optional<int> exitCode;  // set when the line is already dealt with: help, version, an error
};

// Parses the line into Connection(), Safety() and JsonWanted() and the
// command to run; usage errors are printed and give exit code kExitUsage.
Invocation ParseCommandLine(int argc, const char* const* argv);

}  // namespace svodb_tool
