// Whatever the XML: what readModelDescription lets through is a description, and checkDescription
// finds what is required missing.
#include "checker/check.h"
#include "fmu_file/description_reader.h"
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  readOrRefuse(data, size, [](std::string_view text) {
    const CheckResult result = checkDescription(text, {"binaries/linux64/a.so"});
    require(result.variables > 0 || !result.findings.empty(), "a variable is required");
  });
  readOrRefuse(data, size, [](std::string_view text) {
    const ModelDescription model = readModelDescription(text);
    require(model.coSimulation || model.modelExchange, "an FMU is of some kind");
    for (const ScalarVariable& variable : model.variables)
      require(!variable.type.empty(), "a variable has a type");
  });
  return 0;
}
