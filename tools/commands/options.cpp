#include "commands/options.h"

#include "experiment/experiment.h"
#include "loaded_fmu/loaded_fmu.h"
#include "packer/model_input.h"

void beginGroup(CLI::App& command, const char* heading) {
  command.option_defaults()->group(heading);
}

void addModelOptions(CLI::App& command, ModelInput& input) {
  beginGroup(command, "A model");
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
      ->type_name("FILE");
  addOption(command, "--model", input.javaClass, "CLASS",
            "The model's class [the one that META-INF/services/com.zelvox.qorbetta.Model "
            "names, or the only one]");
  addOption(command, "--release", input.release, "VERSION",
            "The version of Java that .java files are compiled for [8, or the oldest that the "
            "JDK knows]");
}

void addExperimentOptions(CLI::App& command, ExperimentOptions& experiment) {
  beginGroup(command, "The run");
  addOption(command, "--start-time", experiment.time.startTime, "SECONDS",
            "Where the run starts [FMU's default, 0]");
  addOption(command, "--stop-time", experiment.time.stopTime, "SECONDS",
            "Where it ends [FMU's default, start + 1 or its step size]");
  addOption(command, "--output-interval", experiment.time.outputInterval, "SECONDS",
            "Distance of the rows [FMU's default, 1/500 of the run]");
  addOption(command, "--step-size", experiment.time.stepSize, "SECONDS",
            "The step; the output interval is a whole multiple of it, and its default becomes "
            "the nearest one [the output interval]");
  addOption(command, "--start-value", experiment.startValues, "NAME=VALUE",
            "Value of an input or a parameter at the start, in the variable's unit or with one of "
            "its display units, as 'inflow=24000 L/min'; repeatable");
  addOption(command, "--input-file", experiment.inputFile, "CSV", "Inputs over time, see below");
  beginGroup(command, "Results");
  addOption(command, "--output-variable", experiment.outputVariables, "NAME",
            "A variable for the result; repeatable [all outputs]");
}

void addLoggingOptions(CLI::App& command, FmuLogging& logging) {
  beginGroup(command, "Insight");
  command.add_flag("--logging-on", logging.messages, "Show the FMU's messages, on stderr");
  command.add_flag("--log-fmi-calls", logging.calls, "Show every FMI call, on stderr");
}

void addJvmOptions(CLI::App& command, JvmOptions& jvm) {
  beginGroup(command, "The JVM");
  addOption(command, "--class-path", jvm.classPath, "PATH",
            "Jars and directories behind zelvox.jar; repeatable");
  addOption(command, "--jvm-option", jvm.options, "OPTION",
            "An option as java takes it, such as -Xmx1g; repeatable");
}
