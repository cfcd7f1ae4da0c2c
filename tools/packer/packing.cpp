#include "packer/packing.h"

#include "ending/interrupts.h"
#include "packer/contents.h"

namespace fs = std::filesystem;

PackedFmu packModel(const ModelInput& input, const fs::path& file, const fs::path& scratch,
                    JNIEnv* env) {
  const fs::path resources = scratch / "resources";
  nowWaitingFor("the model's files to be gathered");
  const ModelJars jars = gatherJars(input, resources, scratch, env);
  nowWaitingFor("the model to describe itself");
  PackedFmu fmu{askModel(resources, jars, input.javaClass, env), file, {}};
  if (file.empty()) fmu.file = fmu.packed.description.modelIdentifier + ".fmu";
  fmu.entries = fmuContents(fmu.packed, jars.names, resources, fmu.file.filename().string());
  return fmu;
}
