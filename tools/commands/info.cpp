// `zelvox info`: what an FMU is and which variables it has, on one screen.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <set>

#include "base/failure.h"
#include "base/installation.h"
#include "base/interrupts.h"
#include "base/text.h"
#include "commands/command.h"
#include "fmu_file/archive_reader.h"
#include "fmu_file/description_reader.h"
#include "jvm/find.h"
#include "jvm/options.h"
#include "jvm/start.h"
#include "packer/model_input.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t rowsOfATable = 8;
constexpr std::size_t widestFact = 200;
constexpr std::size_t widestDescription = 60;
constexpr std::size_t widestName = 40;
constexpr std::size_t widestUnit = 20;

struct InfoOptions {
  ModelInput input;
  bool all = false;
};

std::string kindOf(const ModelDescription& model) {
  std::string kind = model.coSimulation && model.modelExchange ? "co-simulation and model exchange"
                     : model.coSimulation                      ? "co-simulation"
                                                               : "model exchange";
  return "FMI 2.0, " + kind;
}

std::string needsOf(const ModelDescription& model, const std::vector<std::string>& files) {
  if (std::ranges::find(files, "resources/model.properties") != files.end())
    return "a JVM in the importer's process, with zelvox.jar";
  return model.needsExecutionTool ? "the tool that made it" : "";
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

std::string platformsOf(const std::vector<std::string>& files) {
  constexpr std::string_view directory = "binaries/";
  std::set<std::string> platforms;
  for (const std::string& file : files) {
    const std::size_t end = file.find('/', directory.size());
    if (file.starts_with(directory) && end != file.npos) {
      platforms.insert(file.substr(directory.size(), end - directory.size()));
    }
  }
  std::string text;
  for (const std::string& platform : platforms) text += (text.empty() ? "" : ", ") + platform;
  return text.empty() ? "none" : text;
}

std::string sizeOf(const fs::path& file) {
  const auto size = static_cast<double>(fs::file_size(file));
  char text[32];
  if (size < 1024 * 1024) {
    std::snprintf(text, sizeof text, "%.0f KiB", size / 1024);
  } else {
    std::snprintf(text, sizeof text, "%.1f MiB", size / (1024 * 1024));
  }
  return text;
}

std::string startOf(const ScalarVariable& variable) {
  if (!variable.start) return "";
  if (variable.type == "Boolean") return *variable.start != 0 ? "true" : "false";
  return numberText(*variable.start);
}

using Row = std::array<std::string, 4>;

Row rowOf(const ScalarVariable& variable, bool all) {
  Row row = {printable(variable.name), startOf(variable), printable(variable.unit),
             printable(variable.description)};
  if (!all) {
    row[0] = shortened(row[0], widestName);
    row[2] = shortened(row[2], widestUnit);
    row[3] = shortened(row[3], widestDescription);
  }
  return row;
}

void printTable(const ModelDescription& model, const char* title, std::string_view causality,
                bool all) {
  const auto count = static_cast<std::size_t>(
      std::ranges::count(model.variables, causality, &ScalarVariable::causality));
  if (count == 0) return;
  const std::size_t shown = all || count <= rowsOfATable + 1 ? count : rowsOfATable;
  std::vector<Row> rows;
  for (const ScalarVariable& variable : model.variables) {
    if (variable.causality == causality && rows.size() < shown)
      rows.push_back(rowOf(variable, all));
  }
  std::array<std::size_t, 4> widths{};
  for (const Row& row : rows) {
    // One name that is as long as a book leaves the table narrow.
    for (std::size_t i = 0; i < row.size(); ++i)
      widths[i] = std::min(std::max(widths[i], widthOf(row[i])), 2 * widestName);
  }
  std::cout << "\n" << title << " (" << count << ")\n";
  for (const Row& row : rows) {
    std::string line = "  " + padded(row[0], widths[0]);
    if (widths[1] > 0) line += "  " + padded(row[1], widths[1], true);
    if (widths[2] > 0) line += "  " + padded(row[2], widths[2]);
    line += "  " + row[3];
    std::cout << line.substr(0, line.find_last_not_of(' ') + 1) << "\n";
  }
  if (shown < count) std::cout << "  ... and " << count - shown << " more (--all shows them)\n";
}

void info(const InfoOptions& options) {
  catchInterrupts();
  const fs::path fmu = fmuOf(
      options.input, [] { return startJvm(locateJvm().libjvm, jvmOptions({zelvoxJar()}, {})); });
  nowWaitingFor("the FMU to be read");
  const std::vector<std::string> files = archiveFiles(fmu);
  const ModelDescription model =
      readModelDescription(readArchiveEntry(fmu, "modelDescription.xml"));
  if (interrupted() != 0) throw Failure("nothing was shown");
  nowWaitingFor("somebody to read what is shown");
  const auto printFact = [&options](const char* label, const std::string& fact) {
    const std::string text = printable(fact);
    if (text.empty()) return;
    std::cout << padded(label, 13) << (options.all ? text : shortened(text, widestFact)) << "\n";
  };
  printFact("Model", model.modelName + (model.version.empty() ? "" : ", version " + model.version));
  printFact("Description", model.description);
  printFact("Author", model.author);
  printFact("Copyright", model.copyright);
  printFact("Licence", options.all ? model.license : shortened(model.license, widestDescription));
  printFact("Kind", kindOf(model));
  printFact("Needs", needsOf(model, files));
  printFact("Experiment", experimentOf(model));
  printFact("Platforms", platformsOf(files));
  printFact("Made by",
            model.generationTool +
                (model.generationDateAndTime.empty() ? "" : ", " + model.generationDateAndTime));
  printFact("GUID", model.guid);
  printFact("Size", sizeOf(fmu) + ", " + counted(std::ssize(files), "file"));
  printTable(model, "Inputs", "input", options.all);
  printTable(model, "Outputs", "output", options.all);
  printTable(model, "Parameters", "parameter", options.all);
}

}  // namespace

void addInfoCommand(CLI::App& app) {
  CLI::App* const command =
      app.add_subcommand("info", "Show what an FMU of FMI 2.0 is and which variables it has");
  const auto options = std::make_shared<InfoOptions>();
  command
      ->add_option("fmu", options->input.model,
                   "The FMU, a .fmu file of FMI 2.0; or a model, which is packed first")
      ->required()
      ->type_name("FMU");
  command->add_flag("--all", options->all, "Show every variable, and texts in full length");
  addModelOptions(*command, options->input);
  command->callback([options] { info(*options); });
}
