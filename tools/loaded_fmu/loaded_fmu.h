// One co-simulation instance of an FMU's binary, loaded into this process: the functions that
// the commands that run FMUs call, with their statuses checked and the FMU's messages received. Any
// FMI 2.0 co-simulation FMU will do.
#pragma once

#include <atomic>
#include <filesystem>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "loaded_fmu/binary.h"
#include "loaded_fmu/variable_values.h"
#include "output/log_file.h"

// What is shown while the FMU runs, and where.
struct FmuLogging {
  bool messages = false;    // the FMU's own, which it is asked to send
  bool calls = false;       // every function that is called, with its status
  LogFile* file = nullptr;  // stderr when there is none; must outlive the instance
};

class LoadedFmu {
 public:
  // Loads the binary below `directory`, where the FMU was unpacked, and instantiates the model. All
  // functions throw a Failure with the FMU's own reason when a call gives worse than a warning.
  // `model` must outlive the instance.
  LoadedFmu(const std::filesystem::path& directory, const ModelDescription& model,
            FmuLogging logging);
  // Terminates the run, if one is going on and the state allows it, and frees the instance.
  ~LoadedFmu();
  LoadedFmu(const LoadedFmu&) = delete;
  LoadedFmu& operator=(const LoadedFmu&) = delete;

  void setupExperiment(std::optional<double> tolerance, double startTime, double stopTime);
  void enterInitializationMode();
  void exitInitializationMode();
  // False when the FMU ended the run by itself during this step.
  bool doStep(double time, double stepSize);
  void terminate();
  // As new, for another run; ends one that is going on as the destructor does.
  void reset();
  // False after fmi2Fatal: nothing of the FMU may be called any more.
  bool isUsable() const { return usable; }

  // The values of all variables of the group, with one call for each base type among them.
  void get(VariableGroup& group);
  void set(VariableGroup& group);

 private:
  static void receive(fmi2ComponentEnvironment self, fmi2String instanceName, fmi2Status status,
                      fmi2String category, fmi2String format, ...);
  void show(const std::string& line) const;
  void showCall(const std::string& call, const char* result) const;
  // Before each call: for what is waited now, and nothing has gone wrong yet.
  void begin(const char* function);
  // Whether the FMU discarded a step because the run ended in it.
  bool hasTerminated();
  // Terminates the run, if one is going on.
  void endRun() noexcept;
  void require(fmi2Status status, const char* function);
  [[noreturn]] void fail(const char* function, const std::string& withoutReason);
  // begin() and require() around a function. What `show` gives for its status says the arguments.
  template <class Type, class Show, class... Arguments>
  void run(const FmuFunction<Type>& function, Show show, Arguments... arguments);
  template <class Type, class Value>
  void exchange(const FmuFunction<Type>& function, const std::vector<fmi2ValueReference>& vr,
                std::span<Value> value);

  const ModelDescription& model;
  FmuLogging logging;
  fmi2CallbackFunctions callbacks;  // the FMU keeps a pointer to them
  FmuFunctions functions;
  fmi2Component component = nullptr;
  std::atomic<double> time = 0.0;  // the communication point, for messages
  std::string lastError;  // what the FMU said last about what went wrong in the current call
  std::mutex hearing;     // of lastError: the FMU may send messages from any of its threads
  bool running = false;   // initialized and not terminated, and no call failed
  bool usable = true;     // no call gave fmi2Fatal, after which nothing may be called
};
