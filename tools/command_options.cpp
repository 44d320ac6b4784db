#include "command_options.h"

#include "cli.h"
#include "values.h"

namespace svodb_tool {

std::string CommandPath(const CLI::App& command) {
  std::string path = command.get_name();
  for (const CLI::App* parent = command.get_parent(); parent != nullptr && parent->get_parent() != nullptr;
       parent = parent->get_parent())
    path = parent->get_name() + " " + path;
  return path + ": ";
}

CLI::Option* AddInteger(CLI::App& command, const std::string& name, int32_t& target, const std::string& what,
                        int32_t min, int32_t max) {
  const std::string prefix = CommandPath(command);
  return command
      .add_option_function<std::string>(
          name, [&target](const std::string& text) { target = *ParseInt32(text); },
          what + ", " + std::to_string(min) + "-" + std::to_string(max))
      ->check(CLI::Validator(
          [=](const std::string& text) {
            const std::optional<int32_t> value = ParseInt32(text);
            if (!value || *value < min || *value > max)
              throw CommandLineError(prefix + what + " must be an integer from " + std::to_string(min) +
                                     " to " + std::to_string(max) + ", not '" + text + "'");
            return std::string();
          },
          ""))
      ->type_name("N");
}

CLI::Option* AddWord(CLI::App& command, const std::string& name, std::string& target,
                     bool (*accepts)(const std::string&), const std::string& message) {
  const std::string prefix = CommandPath(command) + "'";
  return command.add_option(name, target)
      ->check(CLI::Validator(
          [=](const std::string& word) {
            if (!accepts(word)) throw CommandLineError(prefix + word + "' " + message);
            return std::string();
          },
          ""));
}

namespace {

CLI::Validator KnownVariable(const CLI::App& command) {
  const std::string prefix = CommandPath(command);
  return CLI::Validator(
      [prefix](const std::string& typed) {
        if (CatalogueName(typed)) return std::string();
        const std::string hint = DidYouMean(typed);
        throw CommandLineError(prefix + "no variable is named '" + typed + "'" +
                               (hint.empty() ? "" : "; " + hint));
      },
      "");
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

}  // namespace

CLI::Option* AddVariableNames(CLI::App& command, const std::string& name, std::vector<std::string>& target,
                              const std::string& help) {
  return command.add_option(name, target, help)->check(KnownVariable(command));
}

CLI::Option* AddVariableName(CLI::App& command, const std::string& name, std::string& target) {
  return command.add_option(name, target, "the variable, by name in any case")
      ->required()
      ->check(KnownVariable(command));
}

CLI::Option* AddEveryNode(CLI::App& command, bool& everyNode) {
  const std::string prefix = CommandPath(command);
  return command
      .add_option_function<std::string>(
          "--node", [&everyNode](const std::string&) { everyNode = true; },
          "every drive that answers on the network (see svodb scan)")
      ->check(CLI::Validator(
          [prefix](const std::string& word) {
            if (word != "all")
              throw CommandLineError(prefix +
                                     "--node takes 'all' (every drive that answers on the network), not '" +
                                     word + "'");
            return std::string();
          },
          ""))
      ->type_name("all");
}

CLI::Option* AddNetwork(CLI::App& command, const std::string& help, bool bare) {
  return command
      .add_option_function<std::string>(
          "--network",
          [](const std::string& text) {
            if (text.empty()) Connection().networkDrive = true;
            if (!text.empty()) Connection().network = *ParseNetwork(text);
          },
          help)
      ->type_name("A,B[,C,D[,E,F,G]]")
      ->expected(bare ? 0 : 1, 1)
      ->check(CLI::Validator(
          [](const std::string& text) {
            return ParseNetwork(text) ? std::string()
                                      : "takes 2, 4 or 7 comma-separated integers, not '" + text + "'";
          },
          ""));
}

std::optional<int> ParseOwnArguments(const Command& command, const std::vector<std::string>& args) {
  // Under an application of its own, as on the command line, so that the
  // messages name the command (and its action) alike.
  CLI::App root("svodb", "svodb");
  root.require_subcommand(1);
  command.declare(*root.add_subcommand(command.name, command.summary));
  std::vector<std::string> reversed(args.rbegin(), args.rend());  // as CLI11 takes them
  reversed.emplace_back(command.name);
  try {
    root.parse(reversed);
  } catch (const CommandLineError& error) {
    return UsageError(error.what());
  } catch (const CLI::ParseError& error) {
    return UsageError(command.name + std::string(": ") + error.what());
  }
  return std::nullopt;
}

}  // namespace svodb_tool
