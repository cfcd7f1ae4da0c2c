/* The binary of a co-simulation FMU that knows nothing of Java: after a step its outputs repeat its
 * inputs and parameters. It appends every call to the file STUB_TRACE, in the words of `zelvox
 * simulate --log-fmi-calls`, and misbehaves as STUB_PLAN says, by lines of the form
 *   returned sent call|message
 * A call that begins like this gives the status `returned`, after the message, if there is one, was
 * sent with the status `sent`. Other numbers in place of the status:
 *    8  goes to the directory STUB_DIRECTORY
 *    9  exits with the code `sent`
 *   10  throws as C++ does when the memory is full
 *   11  has a process of its own that exits
 *   12  ends the process at once with the code `sent`
 *   13  never returns
 *   14  starts a process that stays
 *   15  gives what is no text
 *   16  ends the process when `sent` calls were made
 *   17  starts a thread that sends messages until the run ends
 * What stands here alone is all that an FMU for that command needs. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <locale.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fmi2Functions.h"

/* By value reference: 0 is an input, 1 the output that repeats it, 2 and 3 likewise for a parameter
 * but for reals, whose 3 is 0 divided by 2. String 3 is the locale that the FMU met. */
typedef struct {
  const fmi2CallbackFunctions* importer;
  fmi2Real reals[4];
  fmi2Integer integers[4];
  fmi2Boolean booleans[4];
  char strings[4][80];
  char given[4][80]; /* by fmi2GetString, gone with the next call */
  fmi2Status status; /* of the call that is going on */
} Stub;

static char call[2000]; /* the call that is going on, in words */
static int calls = 0;   /* that the plan counts */

#ifdef NEEDS_JVM
int JNI_GetCreatedJavaVMs(void** vms, int length, int* count);
int (*const needed)(void** vms, int length, int* count) = JNI_GetCreatedJavaVMs;
#endif

static pthread_t talker;
static volatile int talking;

static void* talk(void* stub) {
  const fmi2CallbackFunctions* const importer = ((Stub*)stub)->importer;
  while (talking)
    importer->logger(importer->componentEnvironment, "stub", fmi2Error, "talk",
                     "a message that is longer than a string holds in itself: %d", talking);
  return NULL;
}

static void say(const char* format, ...) {
  const size_t length = strlen(call);
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(call + length, sizeof call - length, format, arguments);
  va_end(arguments);
}

static const char* truth(fmi2Boolean value) {
  return value == fmi2True ? "fmi2True" : value == fmi2False ? "fmi2False" : "neither";
}

static void traceCall(const char* result) {
  FILE* const trace = fopen(getenv("STUB_TRACE"), "a");
  fprintf(trace, *result != '\0' ? "%s -> %s\n" : "%s\n", call, result);
  fclose(trace);
}

static void begin(Stub* stub, const char* function) {
  memset(stub->given, '?', sizeof stub->given - 1);
  stub->status = fmi2OK;
  strcpy(call, function);
}

/* Does what the plan says for the call. */
static fmi2Status end(Stub* stub) {
  const fmi2CallbackFunctions* const importer = stub->importer;
  for (const char* line = getenv("STUB_PLAN"); line != NULL && *line != '\0';) {
    int returned = 0, sent = 0;
    char start[200] = "", message[400] = "";
    sscanf(line, "%d %d %199[^|\n]|%399[^\n]", &returned, &sent, start, message);
    line += strcspn(line, "\n");
    line += *line == '\n';
    if (strncmp(call, start, strlen(start)) != 0) continue;
    if (returned == 8 && chdir(getenv("STUB_DIRECTORY")) != 0) return fmi2Fatal;
    if (returned == 9) exit(sent);
    if (returned == 10) {
      void (*throwing)(void);
      *(void**)&throwing = dlsym(RTLD_DEFAULT, "_ZSt17__throw_bad_allocv");
      throwing();
    }
    if (returned == 11) {
      if (fork() == 0) exit(0);
      wait(NULL);
    }
    if (returned == 12) _exit(sent);
    if (returned == 13 || (returned == 14 && fork() == 0)) {
      while (sleep(1) == 0) continue; /* and for ever */
    }
    if (returned == 15) strcpy(stub->given[1], "\xff");
    if (returned == 16 && ++calls == sent) _exit(3);
    if (returned == 17) {
      talking = 1;
      pthread_create(&talker, NULL, talk, stub);
    }
    stub->status = returned < 8 ? (fmi2Status)returned : fmi2OK;
    if (strcmp(message, "NULL") == 0) {
      importer->logger(importer->componentEnvironment, NULL, (fmi2Status)sent, NULL, NULL);
    } else if (*message != '\0') {
      importer->logger(importer->componentEnvironment, "stub", (fmi2Status)sent, "plan", "%s%c",
                       message, '.');
    }
  }
  static const char* const names[] = {"fmi2OK",    "fmi2Warning", "fmi2Discard",
                                      "fmi2Error", "fmi2Fatal",   "fmi2Pending"};
  const char* result = (size_t)stub->status < 6 ? names[stub->status] : "an unknown status";
  if (strncmp(call, "fmi2Inst", 8) == 0) result = stub->status < fmi2Error ? "an instance" : "NULL";
  traceCall(result);
  return stub->status;
}

static void repeat(Stub* stub) {
  stub->reals[1] = stub->reals[0];
  stub->reals[3] = stub->reals[0] / stub->reals[2];
  stub->integers[1] = stub->integers[0];
  stub->integers[3] = stub->integers[2];
  stub->booleans[1] = stub->booleans[0];
  strcpy(stub->strings[1], stub->strings[0]);
}

static void startAnew(Stub* stub, const fmi2CallbackFunctions* importer) {
  const Stub started = {.importer = importer,
                        .reals = {1.5, 0, 2, 0},
                        .integers = {-3, 0, 2, 0},
                        .booleans = {fmi2True, 0, 0, 0},
                        .strings = {"none"}};
  *stub = started;
  strcpy(stub->strings[3], setlocale(LC_ALL, NULL));
}

const char* fmi2GetVersion(void) {
  const char* const version = getenv("STUB_VERSION");
  strcpy(call, "fmi2GetVersion()");
  traceCall(version != NULL ? version : "2.0");
  return version != NULL ? version : "2.0";
}

fmi2Component fmi2Instantiate(fmi2String name, fmi2Type type, fmi2String guid, fmi2String resources,
                              const fmi2CallbackFunctions* importer, fmi2Boolean visible,
                              fmi2Boolean loggingOn) {
  Stub* const stub = importer->allocateMemory(1, sizeof(Stub));
  startAnew(stub, importer);
  begin(stub, "fmi2Instantiate(");
  say("instanceName=\"%s\", fmuType=%s, fmuGUID=\"%s\", fmuResourceLocation=\"%s\", ", name,
      type == fmi2CoSimulation ? "fmi2CoSimulation" : "another", guid, resources);
  say("visible=%s, loggingOn=%s)", truth(visible), truth(loggingOn));
  if (end(stub) < fmi2Error) return stub;
  importer->freeMemory(stub);
  return NULL;
}

void fmi2FreeInstance(fmi2Component stub) {
  strcpy(call, "fmi2FreeInstance()");
  traceCall("");
  ((Stub*)stub)->importer->freeMemory(stub);
}

fmi2Status fmi2Reset(fmi2Component stub) {
  startAnew(stub, ((Stub*)stub)->importer);
  begin(stub, "fmi2Reset()");
  return end(stub);
}

fmi2Status fmi2SetupExperiment(fmi2Component stub, fmi2Boolean toleranceDefined, fmi2Real tolerance,
                               fmi2Real startTime, fmi2Boolean stopTimeDefined, fmi2Real stopTime) {
  begin(stub, "fmi2SetupExperiment(");
  say("toleranceDefined=%s, tolerance=%g, startTime=%g, ", truth(toleranceDefined), tolerance,
      startTime);
  say("stopTimeDefined=%s, stopTime=%g)", truth(stopTimeDefined), stopTime);
  return end(stub);
}

fmi2Status fmi2EnterInitializationMode(fmi2Component stub) {
  begin(stub, "fmi2EnterInitializationMode()");
  return end(stub);
}

fmi2Status fmi2ExitInitializationMode(fmi2Component stub) {
  begin(stub, "fmi2ExitInitializationMode()");
  repeat(stub);
  return end(stub);
}

fmi2Status fmi2DoStep(fmi2Component stub, fmi2Real time, fmi2Real size, fmi2Boolean noSetState) {
  /* A FIFO: the step from 1 on takes more than a second, that from 2 on until it is closed. */
  const char* const gate = getenv("STUB_GATE");
  if (gate != NULL && time == 1.0) sleep(1);
  if (gate != NULL && time == 2.0) {
    char byte;
    const int file = open(gate, O_RDONLY);
    while (read(file, &byte, 1) != 0) continue; /* not even a signal ends it */
    close(file);
  }
  begin(stub, "fmi2DoStep(");
  say("currentCommunicationPoint=%g, communicationStepSize=%g, ", time, size);
  say("noSetFMUStatePriorToCurrentPoint=%s)", truth(noSetState));
  repeat(stub);
  return end(stub);
}

fmi2Status fmi2GetBooleanStatus(fmi2Component stub, fmi2StatusKind kind, fmi2Boolean* value) {
  begin(stub, "fmi2GetBooleanStatus(");
  *value = kind == fmi2Terminated && getenv("STUB_TERMINATED") != NULL;
  say("s=%s, value=%s)", kind == fmi2Terminated ? "fmi2Terminated" : "another", truth(*value));
  return end(stub);
}

fmi2Status fmi2Terminate(fmi2Component stub) {
  if (talking) {
    talking = 0;
    pthread_join(talker, NULL);
  }
  begin(stub, "fmi2Terminate()");
  return end(stub);
}

/* The functions of a type: `hold` keeps a value of the importer, `give` shows it one. */
#define ACCESS(Type, format, hold, give)                                                         \
  static fmi2Status exchange##Type(Stub* stub, const char* function, size_t count,               \
                                   const fmi2ValueReference vr[], const fmi2##Type value[]) {    \
    say("%s(vr=[", function);                                                                    \
    for (size_t i = 0; i < count; ++i) say(i > 0 ? ", %u" : "%u", vr[i]);                        \
    say("], value=[");                                                                           \
    for (size_t i = 0; i < count; ++i) say(i > 0 ? ", " format : format, value[i]);              \
    say("])");                                                                                   \
    return end(stub);                                                                            \
  }                                                                                              \
  fmi2Status fmi2Set##Type(fmi2Component component, const fmi2ValueReference vr[], size_t count, \
                           const fmi2##Type value[]) {                                           \
    Stub* const stub = component;                                                                \
    begin(stub, "");                                                                             \
    for (size_t i = 0; i < count; ++i) hold;                                                     \
    return exchange##Type(stub, "fmi2Set" #Type, count, vr, value);                              \
  }                                                                                              \
  fmi2Status fmi2Get##Type(fmi2Component component, const fmi2ValueReference vr[], size_t count, \
                           fmi2##Type value[]) {                                                 \
    Stub* const stub = component;                                                                \
    begin(stub, "");                                                                             \
    for (size_t i = 0; i < count; ++i) value[i] = give;                                          \
    const fmi2Status status = exchange##Type(stub, "fmi2Get" #Type, count, vr, value);           \
    if (status > fmi2Warning) memset(value, 1, count * sizeof *value); /* not to be looked at */ \
    return status;                                                                               \
  }

ACCESS(Real, "%g", stub->reals[vr[i]] = value[i], stub->reals[vr[i]])
ACCESS(Integer, "%d", stub->integers[vr[i]] = value[i], stub->integers[vr[i]])
ACCESS(Boolean, "%d", stub->booleans[vr[i]] = value[i], stub->booleans[vr[i]])
ACCESS(String, "\"%s\"", strcpy(stub->strings[vr[i]], value[i]),
       *stub->strings[vr[i]] != '\0' ? strcpy(stub->given[vr[i]], stub->strings[vr[i]]) : NULL)
