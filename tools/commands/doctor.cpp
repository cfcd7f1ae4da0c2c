// `zelvox doctor`: tries one after the other what the other commands need and says what to do about
// what fails. What could end or hang up this process, above all a JVM, runs in a child.
#include <dlfcn.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <optional>

#include "base/failure.h"
#include "base/installation.h"
#include "base/text.h"
#include "commands/command.h"
#include "fmi2FunctionTypes.h"
#include "jvm/find.h"
#include "jvm/options.h"
#include "jvm/start.h"
#include "output/picture.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::vector<fs::path> classPath;
  std::vector<std::string> jvmOptions;
};

// A check gives what it found, or throws Failure with what to do.
using Check = std::function<std::string()>;

constexpr std::size_t longestFinding = 4000;
constexpr int patience = 10;  // seconds; JVMs start in a tenth of one

class Report {
 public:
  // False when the check failed.
  bool add(const char* subject, const Check& check) {
    try {
      line("ok", subject, check());
      return true;
    } catch (const std::exception& problem) {
      line("FAILED", subject, problem.what());
      allFine = false;
      return false;
    }
  }

  // The same of what not everybody needs.
  void addOptional(const char* subject, const Check& check) {
    try {
      line("ok", subject, check());
    } catch (const std::exception& lack) {
      line("-", subject, lack.what());
    }
  }

  // What cannot be checked because of an earlier failure.
  void skip(const char* subject, const char* reason) { line("-", subject, reason); }

  // What is good to know and nobody's fault.
  void note(const char* subject, const std::string& finding) { line("ok", subject, finding); }

  bool fine() const { return allFine; }

 private:
  static void line(const char* verdict, const char* subject, const std::string& finding) {
    std::printf("%-7s %-18s %s\n", verdict, subject, printable(finding).c_str());
    std::fflush(stdout);
  }

  bool allFine = true;
};

// Runs in the child: what the check found or why it failed goes through the pipe, and the exit code
// tells which.
[[noreturn]] void answer(const Check& check, int pipe) {
  std::string finding;
  int code = 0;
  try {
    finding = check();
  } catch (const std::exception& problem) {
    finding = problem.what();
    code = 1;
  }
  finding.resize(std::min(finding.size(), longestFinding));  // fits into a pipe at once
  const ssize_t written = write(pipe, finding.data(), finding.size());
  _exit(written < 0 ? 1 : code);
}

// What comes through the pipe until its other end is closed; nothing when that takes too long.
std::optional<std::string> readInTime(int pipe) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(patience);
  std::string finding;
  std::array<char, longestFinding> part{};
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting{pipe, POLLIN, 0};
    const int ready = left > 0 ? poll(&waiting, 1, static_cast<int>(left)) : 0;
    if (ready == 0) return std::nullopt;
    if (ready < 0) continue;
    const ssize_t length = read(pipe, part.data(), part.size());
    if (length <= 0) return finding;
    finding.append(part.data(), static_cast<std::size_t>(length));
  }
}

// The same check in a child process, which may end as it likes, or never.
Check apart(const Check& check) {
  return [check]() -> std::string {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw Failure(std::strerror(errno));
    const pid_t child = fork();
    if (child < 0) throw Failure(std::strerror(errno));
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(ends[0]);
      answer(check, ends[1]);
    }
    close(ends[1]);
    const std::optional<std::string> finding = readInTime(ends[0]);
    close(ends[0]);
    if (!finding) kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!finding)
      throw Failure("gave no answer within " + std::to_string(patience) +
                    " s; try another JVM: set JAVA_HOME");
    if (WIFSIGNALED(status))
      throw Failure("crashed (" + std::string(strsignal(WTERMSIG(status))) +
                    "); try another JVM: set JAVA_HOME");
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
      throw Failure(finding->empty() ? "ended without a reason" : *finding);
    return *finding;
  };
}

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

JNIEnv* startFor(const JvmLocation& location, const Options& options) {
  std::vector<fs::path> classPath = {zelvoxJar()};
  classPath.insert(classPath.end(), options.classPath.begin(), options.classPath.end());
  return startJvm(location.libjvm, jvmOptions(classPath, options.jvmOptions));
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

std::string startTheJvm(const JvmLocation& location, const Options& options) {
  JNIEnv* const env = startJvm(location.libjvm, jvmOptions({}, options.jvmOptions));
  return "Java " + systemProperty(env, "java.version") + ", " + systemProperty(env, "java.vm.name");
}

std::string findZelvoxSim(const JvmLocation& location, const Options& options) {
  JNIEnv* const env = startFor(location, options);
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

std::string loadZelvox(const JvmLocation& location, const Options& options) {
  startFor(location, options);
  void* const library = dlopen(zelvoxLibrary().c_str(), RTLD_NOW);
  if (library == nullptr) throw Failure(dlerror());
  const auto version = reinterpret_cast<fmi2GetVersionTYPE*>(dlsym(library, "fmi2GetVersion"));
  if (version == nullptr) throw Failure(dlerror());
  return std::string("zelvox.so loads into this JVM, FMI ") + version();
}

std::string findCompiler(const JvmLocation& location, const Options& options) {
  JNIEnv* const env = startJvm(location.libjvm, jvmOptions({}, options.jvmOptions));
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

void checkJvm(Report& report, const JvmLocation& location, const Options& options) {
  if (const std::string version = versionOf(location); !version.empty())
    report.note("version", version);
  report.add("libjvm.so", apart([&] { return loadLibjvm(location); }));
  if (!report.add("JVM starts", apart([&] { return startTheJvm(location, options); }))) {
    report.skip("ZelvoxSim", "not tried without a JVM that starts");
    report.skip("library", "not tried without a JVM that starts");
    report.skip("compiler", "not tried without a JVM that starts");
    return;
  }
  report.add("ZelvoxSim", apart([&] { return findZelvoxSim(location, options); }));
  report.add("library", apart([&] { return loadZelvox(location, options); }));
  report.addOptional("compiler", apart([&] { return findCompiler(location, options); }));
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
  if (location) {
    checkJvm(report, *location, options);
  } else {
    report.skip("libjvm.so", "not tried without a JVM");
    report.skip("JVM starts", "not tried without a JVM");
    report.skip("ZelvoxSim", "not tried without a JVM");
    report.skip("library", "not tried without a JVM");
    report.skip("compiler", "not tried without a JVM");
  }
  report.addOptional("gnuplot", [] {
    checkGnuplot();
    return std::string("draws what --plot-file names");
  });
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
  addJvmOptions(*command, options->classPath, options->jvmOptions);
  command->callback([options] { examine(*options); });
}
