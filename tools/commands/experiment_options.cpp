// What the commands that run an FMU share: the options of an experiment.
#include <CLI/CLI.hpp>

#include "commands/command.h"
#include "importer/experiment.h"

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
