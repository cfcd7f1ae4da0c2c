#include "importer/binary.h"

#include <dlfcn.h>

#include <string>
#include <type_traits>

#include "base/failure.h"
#include "base/text.h"

namespace fs = std::filesystem;

fs::path fmuBinary(const fs::path& directory, const ModelDescription& model) {
  const fs::path binary = directory / "binaries/linux64" / (model.modelIdentifier + ".so");
  std::error_code error;  // of a name that is too long
  if (model.modelIdentifier.find('/') == std::string::npos && fs::is_regular_file(binary, error))
    return binary;
  throw Failure("the FMU has no binary for 64-bit Linux, expected binaries/linux64/" +
                printable(model.modelIdentifier) + ".so in it");
}

// Never unloaded: an FMU may have started threads that still run its code.
FmuFunctions loadBinary(const fs::path& binary) {
  void* const library = dlopen(binary.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr)
    throw Failure("the FMU's binary cannot be loaded: " + std::string(dlerror()));
  FmuFunctions functions{};
  const auto find = [library](auto*& function, const char* name) {
    void* const address = dlsym(library, name);
    if (address == nullptr) throw Failure("the FMU's binary has no function " + std::string(name));
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(address);
  };
  find(functions.getVersion, "fmi2GetVersion");
  find(functions.instantiate, "fmi2Instantiate");
  find(functions.freeInstance, "fmi2FreeInstance");
  find(functions.setupExperiment, "fmi2SetupExperiment");
  find(functions.enterInitializationMode, "fmi2EnterInitializationMode");
  find(functions.exitInitializationMode, "fmi2ExitInitializationMode");
  find(functions.terminate, "fmi2Terminate");
  find(functions.doStep, "fmi2DoStep");
  find(functions.getBooleanStatus, "fmi2GetBooleanStatus");
  find(functions.getReal, "fmi2GetReal");
  find(functions.getInteger, "fmi2GetInteger");
  find(functions.getBoolean, "fmi2GetBoolean");
  find(functions.getString, "fmi2GetString");
  find(functions.setReal, "fmi2SetReal");
  find(functions.setInteger, "fmi2SetInteger");
  find(functions.setBoolean, "fmi2SetBoolean");
  find(functions.setString, "fmi2SetString");
  functions.reset = reinterpret_cast<fmi2ResetTYPE*>(dlsym(library, "fmi2Reset"));
  return functions;
}
