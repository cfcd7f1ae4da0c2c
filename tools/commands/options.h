// What commands are made of, and the options that several share: a model, an experiment, and the
// JVM of both.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

struct ExperimentOptions;
struct FmuLogging;
struct ModelInput;

// The JVM that a command starts, as the user wants it.
struct JvmOptions {
  std::vector<std::filesystem::path> classPath;
  std::vector<std::string> options;
};

// A command with the options that it is run with, which live as long as the command.
template <class Options>
std::pair<CLI::App&, Options&> addCommand(CLI::App& app, const char* name, const char* title,
                                          const char* footer, void (*run)(Options&)) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand(name, title)->footer(footer);
  command->callback([options, run] { run(*options); });
  return {*command, *options};
}

// An option, or a positional argument, whose value the help calls `type`. An option for a list is
// repeatable: each one takes one value, so that what stands behind it is left to the command.
template <class Value>
CLI::Option* addOption(CLI::App& command, const char* name, Value& value, const char* type,
                       const char* description) {
  CLI::Option* const option = command.add_option(name, value, description)->type_name(type);
  return name[0] == '-' ? option->allow_extra_args(false) : option;
}

// The options and flags that are added from now on stand under this heading of the help.
void beginGroup(CLI::App& command, const char* heading);

// The options of a model that is given by its files: --jar, --model and --release.
void addModelOptions(CLI::App& command, ModelInput& input);

// The times of a run, start values, inputs and the variables of the result.
void addExperimentOptions(CLI::App& command, ExperimentOptions& experiment);

// --logging-on and --log-fmi-calls.
void addLoggingOptions(CLI::App& command, FmuLogging& logging);

// The options --class-path and --jvm-option, for the commands whose JVM also runs models.
void addJvmOptions(CLI::App& command, JvmOptions& jvm);
