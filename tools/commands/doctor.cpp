// `zelvox doctor`: tries one after the other what the other commands need and says what to do about
// what fails. What could end or hang up this process, above all a JVM, runs in a child.
#include <dlfcn.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
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
#include "jvm/find.h"
#include "jvm/options.h"
#include "jvm/start.h"
#include "output/picture.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  JvmOptions jvm;
  bool printsJvm = false;
};

// A check gives what it found, or throws Failure with what to do.
using Check = std::function<std::string()>;

// What cannot be checked because of an earlier failure.
struct NotTried : Failure {
  NotTried() : Failure("not tried without a JVM that runs") {}
};

constexpr std::size_t longestMessage = 4000;
constexpr int patience = 10;  // seconds; JVMs start in a tenth of one

class Report {
 public:
  // Not everybody needs what is optional: that it fails is nobody's fault.
  void add(const char* subject, const Check& check, bool optional = false) {
    try {
      line("ok", subject, check());
    } catch (const NotTried& reason) {
      line("-", subject, reason.what());
    } catch (const std::exception& problem) {
      line(optional ? "-" : "FAILED", subject, problem.what());
      allFine = allFine && optional;
    }
  }

  bool fine() const { return allFine; }

 private:
  static void line(const char* verdict, const char* subject, const std::string& finding) {
    std::printf("%-7s %-18s %s\n", verdict, subject, printable(finding).c_str());
    std::fflush(stdout);
  }

  bool allFine = true;
};

// A child process that runs checks, and may end as it likes, or never.
class Child {
 public:
  // To be called once; without it nothing is tried.
  void start(const std::function<void()>& checks) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()) != 0)
      throw Failure(std::strerror(errno));
    process = fork();
    if (process < 0) throw Failure(std::strerror(errno));
    socket = ends[process == 0 ? 1 : 0];
    close(ends[process == 0 ? 0 : 1]);
    if (process > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    checks();
    _exit(0);
  }

  // In the child: tells what the check found or why it failed.
  void tell(const Check& check) {
    std::string message;
    try {
      message = passed + check();
    } catch (const std::exception& problem) {
      message = failed + std::string(problem.what());
    }
    if (send(socket, message.data(), std::min(message.size(), longestMessage), 0) < 0) _exit(1);
  }

  // In the parent: what the next check found. Throws what the check threw, or Failure when there is
  // no answer, and NotTried from then on.
  std::string answer() {
    if (process == 0) throw NotTried();
    pollfd waiting{socket, POLLIN, 0};
    int ready = 0;
    while ((ready = poll(&waiting, 1, patience * 1000)) < 0 && errno == EINTR) {
    }
    std::string message(longestMessage, '\0');
    const ssize_t length = ready > 0 ? recv(socket, message.data(), message.size(), 0) : 0;
    if (length <= 0) failWithoutAnswer(ready == 0);
    message.resize(static_cast<std::size_t>(length));
    hasFailed = message[0] == failed;
    if (hasFailed) throw Failure(message.substr(1));
    return message.substr(1);
  }

 private:
  [[noreturn]] void failWithoutAnswer(bool late) {
    if (late) kill(process, SIGKILL);
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    process = 0;
    if (late)
      throw Failure("gave no answer within " + std::to_string(patience) +
                    " s; try another JVM: set JAVA_HOME");
    if (WIFSIGNALED(status))
      throw Failure("crashed (" + std::string(strsignal(WTERMSIG(status))) +
                    "); try another JVM: set JAVA_HOME");
    if (hasFailed) throw NotTried();
    throw Failure("ended without a reason");
  }

  static constexpr char passed = '+', failed = '-';
  pid_t process = 0;  // 0: there is none, or none any more
  int socket = -1;
  bool hasFailed = false;  // the check before
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

std::string systemProperty(JNIEnv* env, const char* name) {
  const jclass system = env->FindClass("java/lang/System");
  const jmethodID getProperty =
      env->GetStaticMethodID(system, "getProperty", "(Ljava/lang/String;)Ljava/lang/String;");
  const auto value = static_cast<jstring>(
      env->CallStaticObjectMethod(system, getProperty, env->NewStringUTF(name)));
  const char* const characters =
      value != nullptr ? env->GetStringUTFChars(value, nullptr) : nullptr;
  return characters != nullptr ? characters : "";
}

std::string findZelvoxSim(JNIEnv* env) {
  const jclass found = env->FindClass("com/zelvox/qorbetta/ZelvoxSim");
  if (found == nullptr) {
    env->ExceptionClear();
    throw Failure("com.zelvox.qorbetta.ZelvoxSim is not in " + zelvoxJar().string() +
                  "; install zelvox again");
  }
  const jmethodID create =
      env->GetStaticMethodID(found, "create", "()Lcom/zelvox/qorbetta/ZelvoxSim;");
  if (create == nullptr || env->CallStaticObjectMethod(found, create) == nullptr)
    throw Failure("ZelvoxSim gives no object; is another one before it on the class path?");
  return "com.zelvox.qorbetta.ZelvoxSim on the class path";
}

std::string loadZelvox() {
  void* const library = dlopen(zelvoxLibrary().c_str(), RTLD_NOW);
  if (library == nullptr) throw Failure(dlerror());
  const auto version = reinterpret_cast<fmi2GetVersionTYPE*>(dlsym(library, "fmi2GetVersion"));
  if (version == nullptr) throw Failure(dlerror());
  return std::string("zelvox.so loads into this JVM, FMI ") + version();
}

std::string findCompiler(JNIEnv* env) {
  env->ExceptionClear();  // of ZelvoxSim, if that gave no object
  const jclass provider = env->FindClass("javax/tools/ToolProvider");
  const jmethodID ask = provider != nullptr
                            ? env->GetStaticMethodID(provider, "getSystemJavaCompiler",
                                                     "()Ljavax/tools/JavaCompiler;")
                            : nullptr;
  if (ask == nullptr || env->CallStaticObjectMethod(provider, ask) == nullptr)
    throw Failure(
        "this JVM has none, so only compiled models can be packed or run; install "
        "default-jdk-headless");
  return "in this JVM, for models in .java files";
}

void checkJvm(Report& report, const std::optional<JvmLocation>& location, const Options& options) {
  Child child;
  if (location) {
    if (const std::string version = versionOf(*location); !version.empty())
      report.add("version", [&] { return version; });
    child.start([&] {
      JNIEnv* env = nullptr;
      child.tell([&] { return loadLibjvm(*location); });
      child.tell([&] {
        env = startJvm(location->libjvm, jvmOptions(options.jvm.classPath, options.jvm.options));
        return "Java " + systemProperty(env, "java.version") + ", " +
               systemProperty(env, "java.vm.name");
      });
      if (env == nullptr) return;
      child.tell([&] { return findZelvoxSim(env); });
      child.tell(loadZelvox);
      child.tell([&] { return findCompiler(env); });
    });
  }
  const Check next = [&] { return child.answer(); };
  for (const char* const subject : {"libjvm.so", "JVM starts", "ZelvoxSim", "library"})
    report.add(subject, next);
  report.add("compiler", next, true);
}

// For the Python package, whose JVM is the same: its libjvm.so and its options, one a line.
void printJvm(const Options& options) {
  std::puts(locateJvm().libjvm.c_str());
  for (const std::string& option : jvmOptions(options.jvm.classPath, options.jvm.options))
    std::puts(option.c_str());
}

void examine(const Options& options) {
  Report report;
  std::optional<JvmLocation> location;
  report.add("JVM", [&] {
    location = locateJvm();
    return location->javaHome.string() + " (" + location->reason + ")";
  });
  report.add("zelvox.jar", [] { return zelvoxJar().string(); });
  report.add("zelvox.so", [] { return zelvoxLibrary().string(); });
  report.add("zelvox-preload.so", [] { return preloadLibrary().string(); });
  checkJvm(report, location, options);
  report.add(
      "gnuplot",
      [] {
        checkGnuplot();
        return std::string("draws what --plot-file names");
      },
      true);
  if (!report.fine()) throw Failure("not everything is as it should be, see above");
}

constexpr const char* examples = R"(
Examples:
  zelvox doctor
  JAVA_HOME=/usr/lib/jvm/default-java zelvox doctor

The exit code is 0 if all is well, and 1 otherwise.)";

}  // namespace

void addDoctorCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("doctor", "Check the JVM and the installation, and say what to do");
  command->footer(examples);
  command->add_flag("--print-jvm", options->printsJvm)->group("");
  addJvmOptions(*command, options->jvm);
  command->callback([options] { options->printsJvm ? printJvm(*options) : examine(*options); });
}
