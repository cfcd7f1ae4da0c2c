// `zelvox pack`: from the jars of a Java model to an FMU that carries them. The model is asked in a
// JVM of this process, from a copy of the jars that lies as it will lie in the FMU: what the model
// finds only beside the original jars is missed here and not at the importer.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>

#include "base/failure.h"
#include "base/installation.h"
#include "base/interrupts.h"
#include "base/overwriting.h"
#include "base/temporary_directory.h"
#include "base/text.h"
#include "commands/command.h"
#include "packer/contents.h"
#include "packer/model_report.h"
#include "packer/unit_warning.h"

namespace fs = std::filesystem;

namespace {

struct PackOptions {
  std::vector<fs::path> jars;
  std::string model;
  fs::path output;
  std::vector<std::string> jvmOptions;
};

std::string countOf(const ModelDescription& model, const std::string& causality) {
  return counted(std::ranges::count(model.variables, causality, &ScalarVariable::causality),
                 causality);
}

void pack(const PackOptions& options) {
  std::vector<NamedFile> read = {{"the installed", zelvoxJar()},
                                 {"the installed", zelvoxLibrary()}};
  for (const fs::path& jar : options.jars) read.push_back({"--jar", jar});
  refuseOverwriting(read, {{"-o", options.output}});
  catchInterrupts();
  const TemporaryDirectory staged;
  const fs::path resources = staged.path() / "resources";
  copyJars(options.jars, resources);
  nowWaitingFor("the model to describe itself");
  const PackedModel packed = askModel(resources, options.model, options.jars, options.jvmOptions);
  const ModelDescription& model = packed.description;

  const std::vector<ArchiveEntry> entries =
      fmuContents(packed, options.jars, resources, options.output.filename().string());
  nowWaitingFor("the FMU to be written");
  writeArchive(options.output, entries);
  std::cout << printable(options.output.string() + ": " + model.modelName) << " ("
            << packed.javaClass << ") with " << countOf(model, "input") << ", "
            << countOf(model, "output") << " and " << countOf(model, "parameter") << "\n";
  if (const std::string warning = unitWarning(model); !warning.empty()) warn(warning);
}

}  // namespace

void addPackCommand(CLI::App& app) {
  CLI::App* const command = app.add_subcommand("pack", "Make an FMU of a Java model");
  const auto options = std::make_shared<PackOptions>();
  command
      ->add_option("--jar", options->jars,
                   "A jar that goes into the FMU: the model's, and each library that it needs")
      ->required()
      ->check(CLI::ExistingFile.description(""))
      ->type_name("FILE");
  command
      ->add_option("--model", options->model,
                   "The model's class; by default the one that the jars name in "
                   "META-INF/services/com.zelvox.qorbetta.Model")
      ->type_name("CLASS");
  command->add_option("-o,--output-file", options->output, "The FMU to write")
      ->required()
      ->type_name("FILE");
  command
      ->add_option("--jvm-option", options->jvmOptions,
                   "An option for the JVM that asks the model, such as -Xmx4g")
      ->type_name("OPTION")
      ->allow_extra_args(false);
  command->footer(
      "The model tells its names, units, descriptions, start values and default experiment\n"
      "itself. An FMU that exists is replaced, but only when all went well.\n\n"
      "Examples:\n"
      "  zelvox pack --jar motor.jar -o motor.fmu\n"
      "  zelvox pack --jar motor.jar --jar tables.jar --model com.acme.Motor -o motor.fmu");
  command->callback([options] { pack(*options); });
}
