// `zelvox doctor`: tries one after the other what the other commands need and says what to do about
// what fails. What could end or hang up this process, above all a JVM, runs in a child.
#include <dlfcn.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <optional>

#include "commands/commands.h"
#include "commands/options.h"
#include "ending/failure.h"
#include "files/installation.h"
#include "fmi2FunctionTypes.h"
#include "jvm/choice.h"
#include "jvm/start.h"
#include "output/picture.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  JvmOptions jvm;
  bool printsJvm = false;
};

constexpr int patience = 10;  // seconds; JVMs start in a tenth of one

// What cannot be checked because of an earlier failure.
struct NotTried : Failure {
  NotTried() : Failure("not tried without a JVM that runs") {}
};

struct Check {
  const char* subject;
  std::function<std::string()> find;  // gives what it found, or throws Failure with what to do
  bool optional = false;              // not everybody needs it: that it fails is nobody's fault
};

// Why the child that makes the checks says no more; empty when it has said whether the next one is
// `fine`.
std::string reasonForSilence(pid_t child, int answers, char& fine) {
  pollfd waiting{answers, POLLIN, 0};
  int ready = 0;
  while ((ready = poll(&waiting, 1, patience * 1000)) < 0 && errno == EINTR) {
  }
  if (ready > 0 && read(answers, &fine, 1) == 1) return "";
  if (ready == 0) kill(child, SIGKILL);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  const std::string another = "; try another JVM: set JAVA_HOME";
  if (ready == 0) return "gave no answer within " + std::to_string(patience) + " s" + another;
  if (!WIFSIGNALED(status)) return "ended without a reason";
  return "crashed (" + std::string(strsignal(WTERMSIG(status))) + ")" + another;
}

class Report {
 public:
  // Whether all is well.
  bool add(const Check& check) {
    try {
      line("ok", check, check.find());
    } catch (const NotTried& reason) {
      line("-", check, reason.what());
    } catch (const std::exception& problem) {
      return fail(check, problem.what());
    }
    return true;
  }

  // For checks that may end the process as they like, or never end: makes them in a child, whose
  // lines stand here, too. What is behind one without an end is not tried.
  void addFromChild(const std::vector<Check>& checks) {
    std::array<int, 2> ends{};
    const pid_t child = pipe(ends.data()) == 0 ? fork() : -1;
    if (child < 0) throw Failure(std::strerror(errno));
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (const Check& check : checks) {
        const char fine = add(check) ? 1 : 0;
        if (write(ends[1], &fine, 1) != 1) break;
      }
      _exit(0);
    }
    close(ends[1]);
    std::string silence;
    for (const Check& check : checks) {
      char fine = 1;
      if (!silence.empty())
        line("-", check, NotTried().what());
      else if (silence = reasonForSilence(child, ends[0], fine); !silence.empty())
        fail(check, silence);
      allFine = allFine && fine != 0;
    }
  }

  bool fine() const { return allFine; }

 private:
  bool fail(const Check& check, const std::string& reason) {
    line(check.optional ? "-" : "FAILED", check, reason);
    allFine = allFine && check.optional;
    return check.optional;
  }

  static void line(const char* verdict, const Check& check, const std::string& finding) {
    std::printf("%-7s %-18s %s\n", verdict, check.subject, printable(finding).c_str());
    std::fflush(stdout);
  }

  bool allFine = true;
};

// "17.0.15 (Debian)" from the file that every JDK has since 8; empty without one.
std::string versionOf(const JvmLocation& location) {
  std::ifstream release(location.javaHome / "release");
  std::string version, implementor;
  for (std::string line; std::getline(release, line);) {
    const std::size_t equals = line.find("=\"");
    if (equals == std::string::npos || !line.ends_with('"')) continue;
    const std::string value = line.substr(equals + 2, line.size() - equals - 3);
    if (line.starts_with("JAVA_VERSION=")) version = value;
    if (line.starts_with("IMPLEMENTOR=")) implementor = value;
  }
  return version.empty() || implementor.empty() ? version : version + " (" + implementor + ")";
}

std::string loadLibjvm(const JvmLocation& location) {
  if (dlopen(location.libjvm.c_str(), RTLD_NOW) == nullptr)
    throw Failure(std::string(dlerror()) + "; set JAVA_HOME to a JDK or JRE for this machine");
  return location.libjvm.string();
}

// What a static method gives; null where there is none of that class and name, or it throws.
template <class... Arguments>
jobject call(JNIEnv* env, const char* javaClass, const char* name, const char* signature,
             Arguments... arguments) {
  const jclass owner = env->FindClass(javaClass);
  const jmethodID method =
      owner != nullptr ? env->GetStaticMethodID(owner, name, signature) : nullptr;
  const jobject result =
      method != nullptr ? env->CallStaticObjectMethod(owner, method, arguments...) : nullptr;
  env->ExceptionClear();
  return result;
}

std::string systemProperty(JNIEnv* env, const char* name) {
  const auto value =
      static_cast<jstring>(call(env, "java/lang/System", "getProperty",
                                "(Ljava/lang/String;)Ljava/lang/String;", env->NewStringUTF(name)));
  const char* const characters =
      value != nullptr ? env->GetStringUTFChars(value, nullptr) : nullptr;
  return characters != nullptr ? characters : "";
}

std::string findZelvoxSim(JNIEnv* env) {
  constexpr const char* name = "com/zelvox/qorbetta/ZelvoxSim";
  if (call(env, name, "create", "()Lcom/zelvox/qorbetta/ZelvoxSim;") != nullptr)
    return "com.zelvox.qorbetta.ZelvoxSim on the class path";
  if (env->FindClass(name) != nullptr)
    throw Failure("ZelvoxSim gives no object; is another one before it on the class path?");
  env->ExceptionClear();
  throw Failure("com.zelvox.qorbetta.ZelvoxSim is not in " + zelvoxJar().string() +
                "; install zelvox again");
}

std::string loadZelvox(JNIEnv*) {
  void* const library = dlopen(zelvoxLibrary().c_str(), RTLD_NOW);
  if (library == nullptr) throw Failure(dlerror());
  const auto version = reinterpret_cast<fmi2GetVersionTYPE*>(dlsym(library, "fmi2GetVersion"));
  if (version == nullptr) throw Failure(dlerror());
  return std::string("zelvox.so loads into this JVM, FMI ") + version();
}

std::string findCompiler(JNIEnv* env) {
  if (call(env, "javax/tools/ToolProvider", "getSystemJavaCompiler",
           "()Ljavax/tools/JavaCompiler;") == nullptr)
    throw Failure(
        "this JVM has none, so only compiled models can be packed or run; install "
        "default-jdk-headless");
  return "in this JVM, for models in .java files";
}

// For the Python package, whose JVM is the same: its libjvm.so and its options, one a line.
void printJvm(const JvmOptions& wanted) {
  std::puts(locateJvm().libjvm.c_str());
  for (const std::string& option : jvmOptions(wanted.classPath, wanted.options))
    std::puts(option.c_str());
}

void examine(const JvmOptions& wanted) {
  Report report;
  std::optional<JvmLocation> location;
  report.add({"JVM", [&] {
                location = locateJvm();
                return location->javaHome.string() + " (" + location->reason + ")";
              }});
  report.add({"zelvox.jar", [] { return zelvoxJar().string(); }});
  report.add({"zelvox.so", [] { return zelvoxLibrary().string(); }});
  report.add({"zelvox-preload.so", [] { return preloadLibrary().string(); }});
  JNIEnv* env = nullptr;
  const auto inJvm = [&](std::string (*find)(JNIEnv*)) {
    return [&env, find] { return env != nullptr ? find(env) : throw NotTried(); };
  };
  const std::string version = location ? versionOf(*location) : "";
  if (!version.empty()) report.add({"version", [&version] { return version; }});
  report.addFromChild(
      {{"libjvm.so", [&] { return location ? loadLibjvm(*location) : throw NotTried(); }},
       {"JVM starts",
        [&] {
          if (!location) throw NotTried();
          env = startJvm(location->libjvm, jvmOptions(wanted.classPath, wanted.options));
          return "Java " + systemProperty(env, "java.version") + ", " +
                 systemProperty(env, "java.vm.name");
        }},
       {"ZelvoxSim", inJvm(findZelvoxSim)},
       {"library", inJvm(loadZelvox)},
       {"compiler", inJvm(findCompiler), true}});
  report.add({"gnuplot",
              [] {
                checkGnuplot();
                return std::string("draws what --plot-file names");
              },
              true});
  if (!report.fine()) throw Failure("not everything is as it should be, see above");
}

void doctor(Options& options) {
  options.printsJvm ? printJvm(options.jvm) : examine(options.jvm);
}

constexpr const char* examples = R"(
Examples:
  zelvox doctor
  JAVA_HOME=/usr/lib/jvm/default-java zelvox doctor

The exit code is 0 if all is well, and 1 otherwise.)";

}  // namespace

void addDoctorCommand(CLI::App& app) {
  const auto [command, options] = addCommand(
      app, "doctor", "Check the JVM and the installation, and say what to do", examples, doctor);
  command.add_flag("--print-jvm", options.printsJvm)->group("");
  addJvmOptions(command, options.jvm);
}
