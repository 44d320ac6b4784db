// The server does what the tool's commands do by running them: the same
// checks, confirmations, backups and messages as on the command line, with
// their output caught for the page.
#pragma once

#include <string>

#include "cli.h"

namespace svodb_tool {

struct ToolRun {
  int exitCode = kExitUsage;
  std::string out;  // what the command printed on standard output
  std::string err;  // and on standard error
};

// Runs the command as "svodb NAME ARGS..." would, with --yes: the page asked
// its own question before it sends the request. Not reentrant: the caller
// holds the server's drive lock.
ToolRun RunToolCommand(const std::string& name, const Args& args);

}  // namespace svodb_tool
