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

// "get: " for the subcommand get, "mdb read: " for the action read of mdb.
std::string CommandPath(const CLI::App& command);

// An integer from min to max into target; "what" names it in the message.
CLI::Option* AddInteger(CLI::App& command, const std::string& name, int32_t& target, const std::string& what,
                        int32_t min, int32_t max);

// A word into target that `accepts` checks; otherwise "COMMAND: 'WORD' MESSAGE".
CLI::Option* AddWord(CLI::App& command, const std::string& name, std::string& target,
                     bool (*accepts)(const std::string&), const std::string& message);

// Variable names of the catalogue in any case; an unknown one is refused
// with a "did you mean".
CLI::Option* AddVariableNames(CLI::App& command, const std::string& name, std::vector<std::string>& target,
                              const std::string& help);
CLI::Option* AddVariableName(CLI::App& command, const std::string& name, std::string& target);

// "--node all": the command runs over every drive that answers on the network.
CLI::Option* AddEveryNode(CLI::App& command, bool& everyNode);

// --network A,B[,C,D[,E,F,G]] into the connection; `bare` lets it stand
// without a value (defaults: a network drive's defaults).
CLI::Option* AddNetwork(CLI::App& command, const std::string& help, bool bare);

// An action of a command ("mdb read"): a subcommand of the subcommand that
// sets `chosen` to `action` when the line names it.
template <typename Action>
CLI::App* AddAction(CLI::App& command, const std::string& name, const std::string& help, Action& chosen,
                    Action action) {
  CLI::App* sub = command.add_subcommand(name, help);
  sub->callback([&chosen, action] { chosen = action; });
  return sub;
}

struct Command;

// Parses a command's own arguments, as the panel's server hands them to a
// command; the usage error's exit code if they fail.
std::optional<int> ParseOwnArguments(const Command& command, const std::vector<std::string>& args);

}  // namespace svodb_tool
