#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
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

constexpr const char* kGlobalGroup = "global options";

// Adds the global options to a command (or the whole line). An option the
// command declares itself under a global option's name is the command's:
// after "serve", --port is its HTTP port and the serial port --serial-port.
void AddGlobalOptions(CLI::App& app, Flags& flags) {
  const auto own = [&app](const char* name) { return app.get_option_no_throw(name) != nullptr; };
  ConnectionOptions& connection = Connection();
  app.add_option("--transport", connection.transportPath,
                 "the transport library (default: the virtual drive next to svodb)")
      ->type_name("PATH")
      ->group(kGlobalGroup);
  app.add_option_function<std::string>(own("--port") ? "--serial-port" : "--port", SetPort,
                                       "serial port number, 1-255 (default 1)")
      ->type_name("N")
      ->check(Accepts("a serial port number from 1 to 255", IsSerialPort))
      ->group(kGlobalGroup);
  app.add_option_function<std::string>(
         "--baud",
         [](const std::string& text) {
           Connection().baudRate = *ParseInt32(text);
           Connection().portGiven = true;
         },
         "serial baud rate: 9600, 19200, 38400, 57600 or 115200 (default 19200)")
      ->type_name("B")
      ->check(Accepts("9600, 19200, 38400, 57600 or 115200", IsBaudRate))
      ->group(kGlobalGroup);
  if (!own("--network"))
    AddNetwork(app, "use the network connection with these arguments", false)->group(kGlobalGroup);
  app.add_flag("--yes", Safety().yes, "go ahead with a command that changes the drive without asking")
      ->group(kGlobalGroup);
  app.add_flag("--force", Safety().force, "replace an existing output file")->group(kGlobalGroup);
  app.add_flag("--json", JsonWanted(), "print the command's data as JSON")->group(kGlobalGroup);
  app.add_flag("-h,--help", flags.help, "show the command's help")->group(kGlobalGroup);
}

bool IsGlobal(const CLI::Option* option) { return option->get_group() == kGlobalGroup; }

// "--node N", "FILE", "--network [A,B...]": an option as the help shows it,
// under its short name and its first long one.
std::string OptionLabel(const CLI::Option* option) {
  if (!option->nonpositional()) return option->get_name(true);
  std::string label;
  for (const std::string& name : option->get_snames()) label += "-" + name + ", ";
  label += option->get_lnames().empty() ? "" : "--" + option->get_lnames().front();
  const std::string value = option->get_type_name();
  if (value.empty()) return label;  // a flag
  return label + (option->get_expected_min() == 0 ? " [" + value + "]" : " " + value);
}

// "FILE", "[TEXT]", "[NAME...]": a positional argument in a usage line.
std::string PositionalUsage(const CLI::Option* option) {
  const std::string name = option->get_name(true) + (option->get_items_expected_max() > 1 ? "..." : "");
  return option->get_required() ? name : "[" + name + "]";
}

// "read FILE": an action or command with its positional arguments.
std::string UsageOf(const CLI::App& command) {
  std::string usage = command.get_name();
  for (const CLI::Option* option : command.get_options()) {
    if (!option->nonpositional()) usage += " " + PositionalUsage(option);
  }
  return usage;
}

constexpr std::size_t kHelpWidth = 100;

// "  LABEL  TEXT", the text wrapped at the help's width under its column.
std::string HelpRow(const std::string& label, const std::string& text, std::size_t column) {
  std::string row = "  " + label;
  const std::string indent(column, ' ');
  row += label.size() + 2 < column ? std::string(column - label.size() - 2, ' ') : "\n" + indent;
  std::size_t width = column;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t stop = text.find(' ', start);
    if (stop == std::string::npos) stop = text.size();
    const std::string word = text.substr(start, stop - start);
    if (width > column && width + 1 + word.size() > kHelpWidth) {
      row += "\n" + indent;
      width = column;
    }
    if (width > column) row += " ", ++width;
    row += word;
    width += word.size();
    start = stop + 1;
  }
  return row + "\n";
}

// A command's (or an action's) help, from its declarations: usage, what
// it does, its arguments and options, its actions.
std::string CommandHelp(const CLI::App& command, const std::string& description) {
  std::string usage = "usage: svodb " + CommandPath(command);
  usage.resize(usage.size() - 2);  // without CommandPath's ": "
  std::vector<std::pair<std::string, std::string>> rows;
  for (const CLI::Option* option : command.get_options()) {
    if (IsGlobal(option)) continue;
    if (!option->nonpositional()) {
      usage += " " + PositionalUsage(option);
    } else {
      usage += " [" + OptionLabel(option) + "]";
    }
    rows.emplace_back(OptionLabel(option), option->get_description());
  }
  const std::size_t firstAction = rows.size();
  const std::vector<const CLI::App*> subs = command.get_subcommands([](const CLI::App*) { return true; });
  for (const CLI::App* action : subs) {
    usage += (action == subs.front() ? " " : " | ") + UsageOf(*action);
    rows.emplace_back(UsageOf(*action), action->get_description());
  }
  std::size_t column = 0;
  for (const auto& row : rows) column = std::max(column, row.first.size());
  column = std::min<std::size_t>(column, 20) + 4;
  std::string text = usage + "\n" + description;
  if (!rows.empty()) text += "\n";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i == firstAction) text += "actions:\n";
    text += HelpRow(rows[i].first, rows[i].second, column);
  }
  return text;
}

std::string GlobalOptionsHelp(const CLI::App& app) {
  std::string text = "global options (before or after the command):\n";
  for (const CLI::Option* option : app.get_options())
    text += HelpRow(OptionLabel(option), option->get_description(), 21);
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

// The command and the action the line names, deepest last.
std::vector<CLI::App*> ParsedChain(const CLI::App& app) {
  std::vector<CLI::App*> chain;
  for (std::vector<CLI::App*> parsed = app.get_subcommands(); !parsed.empty();
       parsed = parsed.front()->get_subcommands())
    chain.push_back(parsed.front());
  return chain;
}

Invocation Done(int exitCode) {
  Invocation invocation;
  invocation.exitCode = exitCode;
  return invocation;
}

// "--bogus" of "--bogus=3".
std::string OptionName(const std::string& given) { return given.substr(0, given.find('=')); }

// What a level left over, without the "--" that ends the options: CLI11
// keeps that marker among the leftovers ("svodb set KVFF -- -.5").
std::vector<std::string> Leftovers(const CLI::App& level) {
  std::vector<std::string> rest = level.remaining();
  std::erase(rest, "--");
  return rest;
}

// What the parse left over before the command's name: "help", or a mistake.
std::optional<int> CheckLeftovers(const CLI::App& app, const std::vector<CLI::App*>& chain, Flags& flags) {
  const std::vector<std::string> rest = Leftovers(app);
  if (rest.size() == 1 && rest[0] == "help") {
    flags.help = true;
  } else if (!rest.empty()) {
    if (rest[0].starts_with("-"))
      return UsageError("unknown option '" + OptionName(rest[0]) + "' (see svodb --help)");
    if (!chain.empty()) return UsageError("unexpected argument '" + rest[0] + "' before the command");
    return UsageError("unknown command '" + rest[0] + "' (see svodb --help)");
  }
  for (const CLI::App* command : chain) {
    const std::vector<std::string> extra = Leftovers(*command);
    if (extra.empty() || flags.help) continue;
    const std::string path = CommandPath(*command);
    // "-.5": CLI11 takes only "-" and a digit for a number.
    if (extra[0].starts_with("-") && ParseNumber(extra[0]))
      return UsageError(path + "'" + extra[0] +
                        "' reads as an option; put -- before a value that starts with '-'");
    if (extra[0].starts_with("-"))
      return UsageError(path + "unknown option '" + OptionName(extra[0]) + "' (see svodb " +
                        path.substr(0, path.size() - 2) + " --help)");
    return UsageError(path + "unexpected argument '" + extra[0] + "'");
  }
  return std::nullopt;
}

// A command with actions whose line names none: which ones it has.
std::optional<int> CheckAction(const std::vector<CLI::App*>& chain) {
  const CLI::App* last = chain.back();
  const std::vector<const CLI::App*> actions = last->get_subcommands([](const CLI::App*) { return true; });
  if (actions.empty() || !last->get_subcommands().empty()) return std::nullopt;
  std::string names;
  for (const CLI::App* action : actions)
    names += (names.empty() ? "" : action == actions.back() ? " or " : ", ") + action->get_name();
  const std::string path = CommandPath(*last);
  const std::vector<std::string> extra = Leftovers(*last);
  if (!extra.empty() && extra[0].starts_with("-")) return std::nullopt;  // an unknown option
  if (!extra.empty()) return UsageError(path + "unknown action '" + extra[0] + "' (it takes " + names + ")");
  return UsageError(path + "expected " + names + " (see svodb " + path.substr(0, path.size() - 2) +
                    " --help)");
}

// Declares each command, its actions and the global options on every level.
std::vector<std::pair<CLI::App*, const Command*>> AddCommands(CLI::App& app, Flags& flags) {
  std::vector<std::pair<CLI::App*, const Command*>> subcommands;
  ForEachCommand([&](const Command& command) {
    CLI::App* sub = app.add_subcommand(command.name, command.summary);
    command.declare(*sub);
    for (CLI::App* level : sub->get_subcommands([](const CLI::App*) { return true; })) {
      level->set_help_flag();
      level->allow_extras();
      AddGlobalOptions(*level, flags);
    }
    sub->set_help_flag();
    sub->allow_extras();
    AddGlobalOptions(*sub, flags);
    subcommands.emplace_back(sub, &command);
  });
  return subcommands;
}

}  // namespace

Invocation ParseCommandLine(int argc, const char* const* argv) {
  Flags flags;
  CLI::App app("svodb", "svodb");
  app.set_help_flag();
  app.allow_extras();
  app.require_subcommand(0, 1);
  AddGlobalOptions(app, flags);
  app.add_flag("--version", flags.version, "print the tool's version")->group(kGlobalGroup);
  const auto subcommands = AddCommands(app, flags);
  try {
    app.parse(argc, argv);
  } catch (const CommandLineError& error) {
    return Done(UsageError(error.what()));
  } catch (const CLI::RequiredError& error) {
    // "svodb peek --help" shows the help, without the address it asks for.
    const std::vector<CLI::App*> chain = ParsedChain(app);
    if (!flags.help && chain.empty()) return Done(UsageError(error.what()));
    if (!flags.help) {
      if (const std::optional<int> failed = CheckAction(chain)) return Done(*failed);
      if (const std::optional<int> failed = CheckLeftovers(app, chain, flags)) return Done(*failed);
      return Done(UsageError(CommandPath(*chain.back()) + error.what()));
    }
  } catch (const CLI::ParseError& error) {
    return Done(UsageError(error.what()));
  }
  const std::vector<CLI::App*> chain = ParsedChain(app);
  if (const std::optional<int> failed = CheckLeftovers(app, chain, flags)) return Done(*failed);
  if (flags.version) {
    std::printf("svodb %s\n", SVODB_PROJECT_VERSION);
    return Done(kExitOk);
  }
  if (chain.empty()) {
    PrintOverview(app);
    return Done(flags.help ? kExitOk : kExitUsage);
  }
  const auto chosen =
      std::ranges::find(subcommands, chain.front(), &std::pair<CLI::App*, const Command*>::first);
  if (flags.help) {
    const CLI::App& shown = *chain.back();
    std::string description = chosen->second->description;
    if (chain.size() > 1) {
      description = shown.get_description() + ".\n";
      description[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(description[0])));
    }
    std::printf("%s\n%s", CommandHelp(shown, description).c_str(), GlobalOptionsHelp(app).c_str());
    return Done(kExitOk);
  }
  const ConnectionOptions& connection = Connection();
  if (!connection.network.empty() && connection.portGiven)
    return Done(UsageError("give either --port/--baud (a serial port) or --network (a network), not both"));
  Invocation invocation;
  invocation.command = chosen->second;
  return invocation;
}

}  // namespace svodb_tool
