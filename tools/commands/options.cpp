#include "commands/options.h"

#include <CLI/CLI.hpp>

#include "experiment/experiment.h"
#include "packer/model_input.h"

void addModelOptions(CLI::App& command, ModelInput& input) {
  const std::string group = "A model";
  // Maven and Gradle know the libraries as a class path, which may be empty.
  command
      .add_option_function<std::vector<std::string>>(
          "--jar",
          [&input](const std::vector<std::string>& jars) {
            std::ranges::remove_copy(jars, std::back_inserter(input.jars), "");
          },
          "A jar that the model needs, or several with : between them; goes into the FMU; "
          "repeatable")
      ->delimiter(':')
      ->allow_extra_args(false)
      ->type_name("FILE")
      ->group(group);
  command
      .add_option("--model", input.javaClass,
                  "The model's class [the one that META-INF/services/com.zelvox.qorbetta.Model "
                  "names, or the only one]")
      ->type_name("CLASS")
      ->group(group);
  command
      .add_option(
          "--release", input.release,
          "The version of Java that .java files are compiled for [8, or the oldest that the "
          "JDK knows]")
      ->type_name("VERSION")
      ->group(group);
}

void addExperimentOptions(CLI::App& command, ExperimentOptions& experiment) {
  const std::string run = "The run";
  command
      .add_option("--start-time", experiment.time.startTime,
                  "Where the run starts [FMU's default, 0]")
      ->type_name("SECONDS")
      ->group(run);
  command
      .add_option("--stop-time", experiment.time.stopTime,
                  "Where it ends [FMU's default, start + 1 or its step size]")
      ->type_name("SECONDS")
      ->group(run);
  command
      .add_option("--output-interval", experiment.time.outputInterval,
                  "Distance of the rows [FMU's default, 1/500 of the run]")
      ->type_name("SECONDS")
      ->group(run);
  command
      .add_option(
          "--step-size", experiment.time.stepSize,
          "The step; the output interval is a whole multiple of it, and its default becomes "
          "the nearest one [the output interval]")
      ->type_name("SECONDS")
      ->group(run);
  command
      .add_option("--start-value", experiment.startValues,
                  "Value of an input or a parameter at the start, in the variable's unit or with "
                  "one of its "
                  "display units, as 'inflow=24000 L/min'; repeatable")
      ->allow_extra_args(false)
      ->type_name("NAME=VALUE")
      ->group(run);
  command.add_option("--input-file", experiment.inputFile, "Inputs over time, see below")
      ->type_name("CSV")
      ->group(run);
  command
      .add_option("--output-variable", experiment.outputVariables,
                  "A variable for the result; repeatable [all outputs]")
      ->allow_extra_args(false)
      ->type_name("NAME")
      ->group("Results");
}

void addJvmOptions(CLI::App& command, std::vector<std::filesystem::path>& classPath,
                   std::vector<std::string>& jvmOptions) {
  command
      .add_option("--class-path", classPath, "Jars and directories behind zelvox.jar; repeatable")
      ->allow_extra_args(false)
      ->type_name("PATH")
      ->group("The JVM");
  command
      .add_option("--jvm-option", jvmOptions,
                  "An option as java takes it, such as -Xmx1g; repeatable")
      ->allow_extra_args(false)
      ->type_name("OPTION")
      ->group("The JVM");
}
