// The subcommands of the svodb tool.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace svodb_tool {

using Args = std::vector<std::string>;

struct Command {
  const char* name;
  const char* summary;
  const char* usage;  // the text of "svodb NAME --help"
  int (*run)(const Args& args);
};

std::span<const Command> Commands();

// Exit codes: 0 success, 1 the library reported a failure, 2 bad usage.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// Prints "svodb: MESSAGE" to standard error and returns kExitUsage.
int UsageError(const std::string& message);

}  // namespace svodb_tool
