#include "command_options.h"

#include "cli.h"

namespace svodb_tool {

CLI::Option* AddInteger(CLI::App& command, const std::string& name, int32_t& target, const std::string& what,
                        int32_t min, int32_t max) {
  const std::string prefix = command.get_name() + ": ";
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
  const std::string prefix = command.get_name() + ": '";
  return command.add_option(name, target)
      ->check(CLI::Validator(
          [=](const std::string& word) {
            if (!accepts(word)) throw CommandLineError(prefix + word + "' " + message);
            return std::string();
          },
          ""));
}

std::optional<int> ParseOwnArguments(const Command& command, const std::vector<std::string>& args) {
  CLI::App app(command.summary, command.name);
  command.declare(app);
  std::vector<std::string> reversed(args.rbegin(), args.rend());  // as CLI11 takes them
  try {
    app.parse(reversed);
  } catch (const CommandLineError& error) {
    return UsageError(error.what());
  } catch (const CLI::ParseError& error) {
    return UsageError(command.name + std::string(": ") + error.what());
  }
  return std::nullopt;
}

}  // namespace svodb_tool
