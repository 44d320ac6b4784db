#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "command_options.h"
#include "json_output.h"
#include "safety.h"

namespace svodb_tool {
namespace {

template <typename Visit>
void ForEachCommand(Visit visit) {
  for (const auto& table :
       {CatalogueCommands(), DriveCommands(), ValueCommands(), FeedbackCommands(), OfflineCommands(),
        FileCommands(), NetworkCommands(), FlashCommands(), ServeCommands()}) {
    for (const Command& command : table) visit(command);
  }
}

// serve has an option of its own under a global option's name: after
// "serve", --port is its HTTP port (the serial port is then --serial-port,
// or --port before "serve").
struct OwnOption {
  const char* command;
  const char* option;
};
constexpr OwnOption kOwnOptions[] = {{"serve", "--port"}};

bool OwnsOption(const std::string& command, const std::string& option) {
  return std::ranges::any_of(
      kOwnOptions, [&](const OwnOption& own) { return command == own.command && option == own.option; });
}

std::optional<std::vector<int32_t>> ParseNetwork(const std::string& text) {
  std::vector<int32_t> values;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t comma = text.find(',', start);
    const std::size_t stop = comma == std::string::npos ? text.size() : comma;
    const std::optional<int32_t> value = ParseInt32(text.substr(start, stop - start));
    if (!value) return std::nullopt;
    values.push_back(*value);
    start = stop + 1;
  }
  if (values.size() != 2 && values.size() != 4 && values.size() != 7) return std::nullopt;
  return values;
}

// The rates a serial transport opens a port at.
constexpr int32_t kBaudRates[] = {9600, 19200, 38400, 57600, 115200};

bool IsBaudRate(const std::string& text) {
  const std::optional<int32_t> rate = ParseInt32(text);
  return rate && std::ranges::find(kBaudRates, *rate) != std::end(kBaudRates);
}

bool IsSerialPort(const std::string& text) {
  const std::optional<int32_t> port = ParseInt32(text);
  return port && *port >= 1 && *port <= 255;
}

bool IsNetwork(const std::string& text) { return ParseNetwork(text).has_value(); }

// CLI11 reports a failed check as "OPTION: MESSAGE".
CLI::Validator Accepts(const std::string& what, bool (*accepts)(const std::string&)) {
  return CLI::Validator(
      [what, accepts](const std::string& text) {
        return accepts(text) ? std::string() : "takes " + what + ", not '" + text + "'";
      },
      "");
}

struct Flags {
  bool help = false;
  bool version = false;
};

void SetPort(const std::string& text) {
  Connection().port = *ParseInt32(text);
  Connection().portGiven = true;
}

void AddGlobalOptions(CLI::App& app, Flags& flags) {
  const std::string command = app.get_name();
  ConnectionOptions& connection = Connection();
  app.add_option("--transport", connection.transportPath,
                 "the transport library (default: the virtual drive next to svodb)")
      ->type_name("PATH");
  const char* const portHelp = "serial port number, 1-255 (default 1)";
  const CLI::Validator port = Accepts("a serial port number from 1 to 255", IsSerialPort);
  if (!OwnsOption(command, "--port"))
    app.add_option_function<std::string>("--port", SetPort, portHelp)->type_name("N")->check(port);
  if (OwnsOption(command, "--port"))
    app.add_option_function<std::string>("--serial-port", SetPort, portHelp)->type_name("N")->check(port);
  app.add_option_function<std::string>(
         "--baud",
         [](const std::string& text) {
           Connection().baudRate = *ParseInt32(text);
           Connection().portGiven = true;
         },
         "serial baud rate: 9600, 19200, 38400, 57600 or 115200 (default 19200)")
      ->type_name("B")
      ->check(Accepts("9600, 19200, 38400, 57600 or 115200", IsBaudRate));
  // After "defaults" a bare --network asks for the defaults of a network
  // drive; with a value it is the global option, there as everywhere.
  const bool bareNetwork = command == "defaults";
  app.add_option_function<std::string>(
         "--network",
         [](const std::string& text) {
           if (text.empty()) Connection().networkDrive = true;
           if (!text.empty()) Connection().network = *ParseNetwork(text);
         },
         bareNetwork ? "a network drive's defaults; with A,B[,...] the network connection too"
                     : "use the network connection with these arguments")
      ->type_name("A,B[,C,D[,E,F,G]]")
      ->expected(bareNetwork ? 0 : 1, 1)
      ->check(Accepts("2, 4 or 7 comma-separated integers", IsNetwork));
  app.add_flag("--yes", Safety().yes, "go ahead with a command that changes the drive without asking");
  app.add_flag("--force", Safety().force, "replace an existing output file");
  app.add_flag("--json", JsonWanted(), "print the command's data as JSON");
  app.add_flag("-h,--help", flags.help, "show the command's help");
}

std::string GlobalOptionsHelp(const CLI::App& app) {
  std::string text = "global options (before or after the command):\n";
  for (const CLI::Option* option : app.get_options()) {
    std::string name = option->get_name(false, true);
    if (option->get_type_size() != 0) name += " " + option->get_type_name();
    if (name.size() > 18) name += "\n" + std::string(20, ' ');  // the description's column
    char line[256];
    std::snprintf(line, sizeof line, "  %-18s %s\n", name.c_str(), option->get_description().c_str());
    text += line;
  }
  return text +
         "  --opt=value is the same as --opt value\n"
         "  After \"serve\", --port is the HTTP port and --serial-port the serial port (or give the global\n"
         "  --port before \"serve\").\n";
}

void PrintOverview(const CLI::App& app) {
  std::printf(
      "usage: svodb COMMAND [ARGS...] [global options]\n"
      "       svodb COMMAND --help\n"
      "       svodb --version\n\n"
      "Exit status: 0 ok, 1 the drive or the library failed, 2 a usage or input error.\n\n"
      "commands:\n");
  ForEachCommand([](const Command& command) { std::printf("  %-10s %s\n", command.name, command.summary); });
  std::printf("\n%s", GlobalOptionsHelp(app).c_str());
}

// "--opt=value" as two arguments, "--opt" and "value".
Args SplitOptionValues(const std::vector<std::string>& given) {
  Args args;
  for (const std::string& arg : given) {
    const std::size_t equals = arg.find('=');
    if (!arg.starts_with("--") || equals == std::string::npos) {
      args.push_back(arg);
      continue;
    }
    args.push_back(arg.substr(0, equals));
    args.push_back(arg.substr(equals + 1));
  }
  return args;
}

// "COMMAND: " for a missing argument of the command being parsed.
std::string CommandPrefix(const CLI::App& app) {
  const std::vector<CLI::App*> parsed = app.get_subcommands();
  return parsed.empty() ? "" : parsed.front()->get_name() + ": ";
}

Invocation Done(int exitCode) {
  Invocation invocation;
  invocation.exitCode = exitCode;
  return invocation;
}

// What the parse left over before the command's name: "help", or a mistake.
std::optional<int> CheckLeftovers(const CLI::App& app, CLI::App* chosen, Flags& flags) {
  const std::vector<std::string> rest = app.remaining();
  if (rest.size() == 1 && rest[0] == "help") {
    flags.help = true;
    return std::nullopt;
  }
  if (rest.empty()) return std::nullopt;
  if (rest[0].starts_with("-")) return UsageError("unknown option '" + rest[0] + "' (see svodb --help)");
  if (chosen != nullptr) return UsageError("unexpected argument '" + rest[0] + "' before the command");
  return UsageError("unknown command '" + rest[0] + "' (see svodb --help)");
}

}  // namespace

Invocation ParseCommandLine(int argc, const char* const* argv) {
  Flags flags;
  CLI::App app("svodb", "svodb");
  app.set_help_flag();
  app.allow_extras();
  app.require_subcommand(0, 1);
  AddGlobalOptions(app, flags);
  app.add_flag("--version", flags.version, "print the tool's version");
  std::vector<std::pair<CLI::App*, const Command*>> subcommands;
  ForEachCommand([&](const Command& command) {
    CLI::App* sub = app.add_subcommand(command.name, command.summary);
    sub->set_help_flag();
    sub->allow_extras();
    AddGlobalOptions(*sub, flags);
    if (command.declare != nullptr) command.declare(*sub);
    subcommands.emplace_back(sub, &command);
  });
  try {
    app.parse(argc, argv);
  } catch (const CommandLineError& error) {
    return Done(UsageError(error.what()));
  } catch (const CLI::RequiredError& error) {
    // "svodb peek --help" shows the help, without the address it asks for.
    if (!flags.help) return Done(UsageError(CommandPrefix(app) + error.what()));
  } catch (const CLI::ParseError& error) {
    return Done(UsageError(error.what()));
  }
  const auto chosen = std::ranges::find_if(subcommands, [](const auto& sub) { return sub.first->parsed(); });
  CLI::App* sub = chosen == subcommands.end() ? nullptr : chosen->first;
  if (const std::optional<int> failed = CheckLeftovers(app, sub, flags)) return Done(*failed);
  if (flags.version) {
    std::printf("svodb %s\n", SVODB_PROJECT_VERSION);
    return Done(kExitOk);
  }
  if (sub == nullptr) {
    PrintOverview(app);
    return Done(flags.help ? kExitOk : kExitUsage);
  }
  if (flags.help) {
    std::printf("%s\n%s", chosen->second->usage, GlobalOptionsHelp(app).c_str());
    return Done(kExitOk);
  }
  const ConnectionOptions& connection = Connection();
  if (!connection.network.empty() && connection.portGiven)
    return Done(UsageError("give either --port/--baud (a serial port) or --network (a network), not both"));
  Invocation invocation;
  invocation.command = chosen->second;
  invocation.args = SplitOptionValues(sub->remaining());
  if (invocation.command->declare != nullptr && !invocation.args.empty())
    return Done(UsageError(sub->get_name() + ": unexpected argument '" + invocation.args[0] + "'"));
  return invocation;
}

}  // namespace svodb_tool
