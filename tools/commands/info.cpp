// `zelvox info`: what an FMU is and which variables it has, on one screen.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <optional>
#include <set>

#include "checker/check.h"
#include "commands/commands.h"
#include "commands/fmu_facts.h"
#include "commands/options.h"
#include "commands/ready_fmu.h"
#include "ending/failure.h"
#include "ending/interrupts.h"
#include "fmu_file/archive_reader.h"
#include "fmu_file/description_reader.h"
#include "packer/model_input.h"
#include "words/layout.h"
#include "words/numbers.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t widestFact = 200;
constexpr std::size_t widestLicence = 60;

struct InfoOptions {
  ModelInput input;
  bool all = false;
  bool json = false;
  bool check = false;
};

std::string fmuKind(const ModelDescription& model) {
  std::string kind = model.coSimulation && model.modelExchange ? "co-simulation and model exchange"
                     : model.coSimulation                      ? "co-simulation"
                                                               : "model exchange";
  return "FMI 2.0, " + kind;
}

std::string needsOf(const FmuFacts& facts) {
  if (facts.needsJvm) return "a JVM in the importer's process, with zelvox.jar";
  return facts.model.needsExecutionTool ? "the tool that made it" : "";
}

std::string experimentOf(const ModelDescription& model) {
  std::string text;
  const auto append = [&text](const char* label, const std::optional<double>& value,
                              const char* unit) {
    if (value) text += (text.empty() ? "" : ", ") + std::string(label) + numberText(*value) + unit;
  };
  append("start ", model.startTime, " s");
  append("stop ", model.stopTime, " s");
  append("step ", model.stepSize, " s");
  append("tolerance ", model.tolerance, "");
  return text;
}

std::vector<std::string> platformsOf(const std::vector<std::string>& files) {
  constexpr std::string_view directory = "binaries/";
  std::set<std::string> platforms;
  for (const std::string& file : files) {
    const std::size_t end = file.find('/', directory.size());
    if (file.starts_with(directory) && end != file.npos) {
      platforms.insert(file.substr(directory.size(), end - directory.size()));
    }
  }
  return {platforms.begin(), platforms.end()};
}

std::string sizeText(std::uintmax_t bytes) {
  const double kibibytes = static_cast<double>(bytes) / 1024;
  char text[32];
  const bool small = kibibytes < 1024;
  std::snprintf(text, sizeof text, small ? "%.0f KiB" : "%.1f MiB", kibibytes / (small ? 1 : 1024));
  return text;
}

FmuFacts factsOf(const fs::path& fmu) {
  const std::vector<std::string> files = archiveFiles(fmu);
  return {readModelDescription(readArchiveEntry(fmu, "modelDescription.xml")), platformsOf(files),
          std::ranges::find(files, "resources/model.properties") != files.end(), fs::file_size(fmu),
          files.size()};
}

void print(const FmuFacts& facts, bool all) {
  const ModelDescription& model = facts.model;
  const auto printFact = [all](const char* label, const std::string& fact) {
    const std::string text = printable(fact);
    if (text.empty()) return;
    std::cout << padded(label, 13) << (all ? text : shortened(text, widestFact)) << "\n";
  };
  printFact("Model", model.modelName + (model.version.empty() ? "" : ", version " + model.version));
  printFact("Description", model.description);
  printFact("Author", model.author);
  printFact("Copyright", model.copyright);
  printFact("Licence", all ? model.license : shortened(model.license, widestLicence));
  printFact("Kind", fmuKind(model));
  printFact("Needs", needsOf(facts));
  printFact("Experiment", experimentOf(model));
  printFact("Platforms",
            facts.platforms.empty() ? "none" : CLI::detail::join(facts.platforms, ", "));
  printFact("Made by",
            model.generationTool +
                (model.generationDateAndTime.empty() ? "" : ", " + model.generationDateAndTime));
  printFact("GUID", model.guid);
  printFact("Size",
            sizeText(facts.size) + ", " + counted(static_cast<long long>(facts.files), "file"));
  printVariables(model, all);
}

// `name` is what the user calls the FMU, or the model that it was made of.
void check(const fs::path& fmu, const std::string& name) {
  const CheckResult result =
      checkDescription(readArchiveEntry(fmu, "modelDescription.xml"), archiveFiles(fmu));
  if (interrupted() != 0) throw Failure("nothing was shown");
  nowWaitingFor("somebody to read what is shown");
  for (const auto& [line, finding] : result.findings)
    std::cout << sentence("line " + std::to_string(line) + ": " + finding) << "\n";
  const std::string scope = counted(static_cast<long long>(result.checks), "check") + " of " +
                            counted(static_cast<long long>(result.variables), "variable");
  const auto problems = std::ssize(result.findings);
  if (problems > 0)
    throw Failure(name + ": " + counted(problems, "problem") + " found by " + scope);
  std::cout << printable(name) << ": no problem found by " << scope << "\n";
}

void info(InfoOptions& options) {
  catchInterrupts();
  const fs::path fmu = fmuOf(options.input, {});
  nowWaitingFor("the FMU to be read");
  if (options.check) return check(fmu, options.input.model[0].string());
  const FmuFacts facts = factsOf(fmu);
  if (interrupted() != 0) throw Failure("nothing was shown");
  nowWaitingFor("somebody to read what is shown");
  if (options.json) {
    std::cout << jsonOf(facts) << "\n";
  } else {
    print(facts, options.all);
  }
}

constexpr const char* examples = R"(
Examples:
  zelvox info motor.fmu
  zelvox info motor.fmu --all
  zelvox info motor.fmu --json
  zelvox info motor.fmu --check
  zelvox info Tank.java

Start values, ranges and nominal values are in the unit of the variable; `Shown in` is the one in
which pictures and summaries show it. docs/info.md describes what --json prints.)";

}  // namespace

void addInfoCommand(CLI::App& app) {
  const auto [command, options] = addCommand(
      app, "info", "Show what an FMU of FMI 2.0 is and which variables it has", examples, info);
  addFmuArgument(command, options.input);
  command.add_flag("--all", options.all, "Show every variable, and texts in full length");
  command.add_flag("--json", options.json, "Print everything for programs, as JSON");
  command
      .add_flag("--check", options.check,
                "Say where modelDescription.xml breaks a rule of FMI 2.0; exit code 1 if it does")
      ->excludes("--json");
  addModelOptions(command, options.input);
}
