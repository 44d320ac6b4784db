// A command's own options and arguments, declared on its CLI11 subcommand
// and checked while the line is parsed, before anything touches a drive.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace svodb_tool {

// A failed check with the whole message to print: CLI11 would put the
// option's name before a validator's text, and the tool's messages name
// the command instead ("peek: the FPGA address must be ...").
struct CommandLineError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An integer from min to max into target; "what" names it in the message.
CLI::Option* AddInteger(CLI::App& command, const std::string& name, int32_t& target, const std::string& what,
                        int32_t min, int32_t max);

// A word into target that `accepts` checks; otherwise "COMMAND: 'WORD' MESSAGE".
CLI::Option* AddWord(CLI::App& command, const std::string& name, std::string& target,
                     bool (*accepts)(const std::string&), const std::string& message);

struct Command;

// Parses a command's own arguments, as the panel's server hands them to a
// command that declares them; the usage error's exit code if they fail.
std::optional<int> ParseOwnArguments(const Command& command, const std::vector<std::string>& args);

}  // namespace svodb_tool
