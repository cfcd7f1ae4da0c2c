// What happens on the Java side when the importer instantiates.
#include "bridge/java_calls.h"
#include "bridge/jvm_access.h"
#include "bridge/model_calls.h"

namespace {

// Not a bracket: a thread that is not attached yet is refused.
bool findSimulation() noexcept {
  if (!attachJvm()) return false;
  findJavaClasses();
  leaveJniEnv({});
  return true;
}

}  // namespace

bool connectSimulation(const char* instanceName, const char* resourceLocation) {
  clearLastError();
  if (!findSimulation()) return false;
  if (simObject == nullptr) {
    setLastError("Cannot find Java classes");
    return false;
  }
  if (!j_initConnection()) {
    setLastError("Not connected");
    return false;
  }
  if (j_instantiate(instanceName, resourceLocation)) return true;
  setLastError(j_getLastError());
  return false;
}
