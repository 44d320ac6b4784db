// What the svodb tool's commands share: their table entry, the global
// options, argument parsing and the way failures are reported.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace svodb_tool {

using Args = std::vector<std::string>;

struct Command {
  const char* name;
  const char* summary;
  // What "svodb NAME --help" says between the usage line and the list of
  // options, which comes from the declarations.
  const char* description;
  int (*run)();
  // Declares the command's own options, arguments and actions on its
  // subcommand, bound to where run() finds them.
  void (*declare)(CLI::App& command);
};

std::span<const Command> CatalogueCommands();
std::span<const Command> DriveCommands();
std::span<const Command> ValueCommands();
std::span<const Command> FeedbackCommands();
std::span<const Command> OfflineCommands();
std::span<const Command> FileCommands();
std::span<const Command> NetworkCommands();
std::span<const Command> FlashCommands();
std::span<const Command> ServeCommands();

// Exit codes: 0 success, 1 the library reported a failure, 2 bad usage.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// How to reach the drive, from the global options.
struct ConnectionOptions {
  std::string transportPath;  // empty: the virtual drive next to the tool
  int32_t port = 1;
  int32_t baudRate = 19200;
  bool portGiven = false;        // --port or --baud given: a serial connection asked for
  std::vector<int32_t> network;  // A, B [, C, D [, E, F, G]]: use the network
  bool networkDrive = false;     // a bare --network after "defaults": a network drive's defaults
};
ConnectionOptions& Connection();

// Loads the transport library the options name, so that the library binds
// it. Without --transport the virtual drive beside the tool, or offline when
// there is none; a named library that does not load or is no transport is
// a usage error (false after saying why).
bool LoadTransport(const char* argv0);

// Opens the connection the options describe; the library's code.
int32_t Connect();

// The library's own account of its transport: its path, or where it was
// looked for and why it could not be loaded.
std::string TransportStatus();
// Prints that status to standard error unless the transport is loaded.
void ExplainMissingTransport();

// Prints "svodb: MESSAGE" to standard error and returns kExitUsage.
int UsageError(const std::string& message);
// Prints "svodb: WHAT: <library message> (code N)" and returns kExitFailure.
int LibraryFailure(const std::string& what, int32_t code);

// Makes node current: node 0 opens the connection and reads the drive's
// model and mode; an offline image starts as a logic-version-3 drive.
bool SelectNode(int32_t node);
// Opens the connection and learns the drive's model and mode, which decide
// the units of its values; prints why not and returns false on failure.
bool ConnectToDrive();

std::string Trim(const std::string& text);

std::optional<int32_t> ParseInt32(const std::string& text);
// The whole text as a number (strtod's forms: "-.5", "1e3", "inf").
std::optional<double> ParseNumber(const std::string& text);

}  // namespace svodb_tool
