// `zelvox pack`: from the files of a Java model to an FMU that carries it. The model is compiled
// and asked in a JVM of this process, from jars that lie as they will lie in the FMU: what the
// model finds only beside the original files is missed here and not at the importer.
#include <algorithm>
#include <iostream>

#include "commands/commands.h"
#include "commands/options.h"
#include "commands/ready_fmu.h"
#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/installation.h"
#include "files/overwriting.h"
#include "files/safe_file.h"
#include "files/temporary_directory.h"
#include "packer/packing.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

struct PackOptions : FmuOptions {
  fs::path output;
};

std::string countOf(const ModelDescription& model, const std::string& causality) {
  return counted(std::ranges::count(model.variables, causality, &ScalarVariable::causality),
                 causality);
}

void pack(PackOptions& options) {
  if (options.input.model.empty() && options.input.jars.empty()) {
    throw Failure("name the model: .java files, a directory of sources or classes, or a jar",
                  ExitCode::usage);
  }
  requireFiles(options.input);
  std::vector<NamedFile> read = filesOf(options.input);
  read.push_back({"the installed", zelvoxJar()});
  read.push_back({"the installed", zelvoxLibrary()});
  refuseOverwriting(read, {{"-o", options.output}});
  if (!options.output.empty() && options.output.extension() != ".fmu" &&
      !Destination(options.output).direct)
    warn(options.output.string() + " will be an FMU, and tools expect a name that ends with .fmu");
  catchInterrupts();
  const TemporaryDirectory staged;
  JNIEnv* const env = startJvm(options.jvm);
  const PackedFmu fmu = packModel(options.input, options.output, staged.path(), env);
  const ModelDescription& model = fmu.description;
  if (options.output.empty()) refuseOverwriting(read, {{"the FMU", fmu.file}});
  nowWaitingFor("the FMU to be written");
  writeArchive(fmu.file, fmu.entries);
  std::cout << printable(fmu.file.string() + ": " + model.modelName) << " (" << fmu.javaClass
            << ") with " << countOf(model, "input") << ", " << countOf(model, "output") << " and "
            << countOf(model, "parameter") << "\n";
  for (const std::string& warning : fmu.warnings) warn(warning);
}

constexpr const char* examples =
    "The model tells its names, units, descriptions, start values and default experiment\n"
    "itself. An FMU that exists is replaced, but only when all went well.\n\n"
    "Java files are compiled by the JDK whose JVM is used. A directory that holds some gives\n"
    "nothing else, any other one all that is in it, also data.\n\n"
    "Examples:\n"
    "  zelvox pack Tank.java\n"
    "  zelvox pack classes/ -o tank.fmu\n"
    "  zelvox pack motor.jar --jar tables.jar --model com.acme.Motor -o motor.fmu";

}  // namespace

void addPackCommand(CLI::App& app) {
  const auto [command, options] =
      addCommand(app, "pack", "Make an FMU of a Java model", examples, pack);
  addOption(command, "model", options.input.model, "FILE",
            "The model: .java files, a directory of sources or classes, or a jar");
  addOption(command, "-o,--output-file", options.output, "FILE",
            "The FMU to write [the model's name]");
  addOption(command, "--jvm-option", options.jvm.options, "OPTION",
            "An option for the JVM that asks the model, such as -Xmx4g");
  addModelOptions(command, options.input);
}
