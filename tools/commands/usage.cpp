#include "commands/usage.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <iostream>
#include <memory>

#include "ending/failure.h"
#include "packer/model_input.h"
#include "words/numbers.h"
#include "words/spelling.h"
#include "words/text.h"

namespace {

constexpr std::size_t widestDescription = 70;

// As GNU programs write it, so that people and help2man can read it.
class HelpFormat : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App* app, std::string name) const override {
    return "\n" + CLI::Formatter::make_usage(app, name);
  }

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    return CLI::detail::find_and_replace(CLI::Formatter::make_help(app, name, mode), "\n\n\n",
                                         "\n\n");
  }

  std::string make_option_name(const CLI::Option* option, bool positional) const override {
    if (positional) return option->get_type_name();
    const bool shortOne = !option->get_snames().empty();
    return (shortOne ? "" : "    ") +
           CLI::detail::find_and_replace(option->get_name(false, true), ",", ", ");
  }

  // "repeatable" and the usage line say what CLI11 would add in capital letters and dots.
  std::string make_option_opts(const CLI::Option* option) const override {
    if (option->get_positional() || option->get_type_size() == 0 || option->get_type_name().empty())
      return "";
    return " " + option->get_type_name();
  }

  // In lines that fit beside the names.
  std::string make_option_desc(const CLI::Option* option) const override {
    std::string text = CLI::Formatter::make_option_desc(option);
    for (std::size_t line = 0; text.size() - line > widestDescription;) {
      const std::size_t blank = text.rfind(' ', line + widestDescription);
      if (blank == text.npos || blank < line) break;
      text[blank] = '\n';
      line = blank + 1;
    }
    return text;
  }
};

// What no option or command of the command has taken; what stands behind `exec` is the program's.
std::string unknownWord(const CLI::App& app) {
  const auto chosen = app.get_subcommands();
  if (!chosen.empty() && chosen.front()->get_prefix_command()) return "";
  for (const std::string& word : app.remaining(true)) {
    if (word.size() > 1 && word.front() == '-') return word;
  }
  return chosen.empty() && !app.remaining().empty() ? app.remaining().front() : "";
}

// What is said behind a word that nobody knows.
std::string meant(std::string_view written, const std::vector<std::string_view>& names,
                  std::string_view dashes, const std::string& hint) {
  const std::string closest(closestName(written, names));
  return closest.empty() ? hint : ", did you mean " + std::string(dashes) + closest + "?";
}

std::string unknownOption(const CLI::App& command, const std::string& word,
                          const std::string& hint) {
  std::vector<std::string_view> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back(name);
  }
  const std::string name = word.substr(0, word.find('='));
  const std::size_t first = std::min(name.find_first_not_of('-'), name.size());
  return "there is no option " + inQuotes(name) + meant(name.substr(first), names, "--", hint);
}

std::string unknownCommand(const CLI::App& app, const std::string& word) {
  if (word.ends_with(".fmu") || isModelFile(word)) {
    return "name the command, as in zelvox " +
           std::string(word.ends_with(".fmu") ? "simulate " : "pack ") + word;
  }
  std::vector<std::string_view> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  return "there is no command " + inQuotes(word) + meant(word, names, "", " (try zelvox --help)");
}

// What CLI11 found about one of the command's options, whose name it gives.
std::string faultOf(const CLI::Option& option, std::string_view said) {
  const std::string name = option.get_name();
  const std::string usage = (option.get_positional() ? "" : name + " ") + option.get_type_name();
  std::string meaning = option.get_description();
  if (!meaning.empty()) meaning[0] = static_cast<char>(std::tolower(meaning[0]));
  if (said == name + " is required") return usage + " is missing: " + meaning;
  if (said.starts_with(name + ": At Most")) return name + " is given more than once";
  if (said.starts_with(name + ": ")) return name + " has no value, expected " + usage;
  if (said.starts_with(name + " excludes "))
    return "choose " + CLI::detail::find_and_replace(std::string(said), "excludes", "or");
  const std::string noNumber = "Could not convert: " + name + " = ";
  if (!said.starts_with(noNumber)) return "";
  if (option.get_type_name().empty()) return name + " takes no value";
  return inQuotes(said.substr(noNumber.size())) + " is no number, expected " + usage;
}

std::string faultOf(const CLI::App& command, const CLI::Error& error) {
  for (const CLI::Option* option : command.get_options()) {
    if (const std::string fault = faultOf(*option, error.what()); !fault.empty()) return fault;
  }
  const std::vector<std::string> left = command.remaining();
  if (!left.empty()) return command.get_name() + " has no use for " + inQuotes(left[0]);
  return error.what();
}

std::string usageMessage(const CLI::App* app, const CLI::Error& error) {
  const auto chosen = app->get_subcommands();
  const CLI::App& command = chosen.empty() ? *app : *chosen.front();
  const std::string hint =
      " (try zelvox " + (chosen.empty() ? "" : command.get_name() + " ") + "--help)";
  const std::string word = unknownWord(*app);
  if (word.empty())
    return "zelvox: " + (chosen.empty() ? "name a command" : sentence(faultOf(command, error))) +
           hint + "\n";
  return "zelvox: " +
         (word.front() == '-' ? unknownOption(command, word, hint)
                              : sentence(unknownCommand(*app, word))) +
         "\n";
}

void help(CLI::App& app, const std::string& name) {
  if (name.empty()) {
    // app.help() would be that of the chosen command, which is `help`.
    std::cout << app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
    return;
  }
  const auto commands = app.get_subcommands({});
  const auto command = std::ranges::find(commands, name, &CLI::App::get_name);
  if (command == commands.end()) throw Failure(unknownCommand(app, name), ExitCode::usage);
  std::cout << (*command)->help(app.get_name());
}

}  // namespace

void explainUsage(CLI::App& app) {
  app.formatter(std::make_shared<HelpFormat>());
  app.get_formatter()->label("SUBCOMMAND", "COMMAND ...");
  app.failure_message(usageMessage);
}

void addHelpCommand(CLI::App& app) {
  const auto name = std::make_shared<std::string>();
  CLI::App* const command = app.add_subcommand("help", "Show the help of a command");
  command->footer("\nExample:\n  zelvox help simulate");
  command->add_option("command", *name, "The command; without one, the commands")
      ->type_name("COMMAND");
  command->callback([&app, name] { help(app, *name); });
  for (CLI::App* each : app.get_subcommands({})) each->group("Commands");
}

void refuseEmptyValues(const std::vector<std::string>& arguments) {
  for (std::size_t i = 0; i < arguments.size() && arguments[i] != "--"; ++i) {
    const std::string& word = arguments[i];
    const bool assigned = word.starts_with("--") && word.find('=') == word.size() - 1;
    const std::string before = i > 0 ? arguments[i - 1] : "";
    // A build tool knows the libraries as a class path, which may be empty.
    if (!assigned && (!word.empty() || before == "--jar")) continue;
    const std::string option = assigned ? word.substr(0, word.size() - 1) : before;
    throw Failure(option.starts_with('-')
                      ? option + " has an empty value, expected one, or no " + option
                      : "a word of the command line is empty, expected a name",
                  ExitCode::usage);
  }
}

void refuseValueWithoutEqualsSign(const std::vector<std::string>& arguments) {
  for (std::size_t i = 0; i + 2 < arguments.size() && arguments[0] == "simulate"; ++i) {
    const std::string& name = arguments[i + 1];
    if (arguments[i] != "--start-value" || name.find('=') < name.size() - 1) continue;
    std::string value = name.substr(std::min(name.find('='), name.size()));
    for (std::size_t j = i + 2; j < std::min(i + 4, arguments.size()); ++j) {
      value += arguments[j];
      const std::string given = value.substr(value.starts_with('=') ? 1 : 0);
      if (!parseNumber(given) && given != "true" && given != "false") continue;
      throw Failure("a start value is written in one word, as in --start-value " +
                        name.substr(0, name.find('=')) + "=" + given,
                    ExitCode::usage);
    }
  }
}
