// `zelvox pack`: from the jars of a Java model to an FMU that carries them. The model is asked in a
// JVM of this process, from a copy of the jars that lies as it will lie in the FMU: what the model
// finds only beside the original jars is missed here and not at the importer.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <pugixml.hpp>
#include <set>
#include <sstream>
#include <thread>

#include "archive.h"
#include "command.h"
#include "jvm.h"
#include "model_description.h"
#include "text.h"

namespace fs = std::filesystem;

namespace {

struct PackOptions {
  std::vector<fs::path> jars;
  std::string model;
  fs::path output;
  std::vector<std::string> jvmOptions;
};

struct PackedModel {
  std::string javaClass;
  ModelDescription description;
};

[[noreturn]] void failVersion() {
  throw Failure(zelvoxJar().string() + " is not of the version of this program");
}

// The texts of a report of the Java side, one after the other; ModelReport.java says which.
class Report {
 public:
  explicit Report(std::string text) : rest(std::move(text)) {}

  std::string text() {
    const std::size_t end = rest.find('\0', position);
    if (end == std::string::npos) failVersion();
    std::string field = rest.substr(position, end - position);
    position = end + 1;
    return field;
  }

  double number() {
    const std::optional<double> value = parseNumber(text());
    if (!value) failVersion();
    return *value;
  }

  // Empty for the infinite and undefined values that stand for "none".
  std::optional<double> finite() {
    const double value = number();
    return std::isfinite(value) ? std::optional(value) : std::nullopt;
  }

  std::size_t count() { return static_cast<std::size_t>(number()); }

 private:
  std::string rest;
  std::size_t position = 0;
};

std::string askJava(JNIEnv* env, const std::string& question) {
  const jclass report = env->FindClass("com/zelvox/qorbetta/ModelReport");
  const jmethodID answer =
      report != nullptr ? env->GetStaticMethodID(report, "answer", "([B)[B") : nullptr;
  const auto length = static_cast<jsize>(question.size());
  const jbyteArray asked = answer != nullptr ? env->NewByteArray(length) : nullptr;
  if (asked == nullptr) {
    env->ExceptionClear();
    failVersion();
  }
  env->SetByteArrayRegion(asked, 0, length, reinterpret_cast<const jbyte*>(question.data()));
  const auto answered = static_cast<jbyteArray>(env->CallStaticObjectMethod(report, answer, asked));
  if (env->ExceptionCheck() || answered == nullptr) {
    env->ExceptionDescribe();
    throw Failure("the model's description does not fit the JVM's memory (--jvm-option -Xmx4g)");
  }
  std::string text(static_cast<std::size_t>(env->GetArrayLength(answered)), '\0');
  env->GetByteArrayRegion(answered, 0, static_cast<jsize>(text.size()),
                          reinterpret_cast<jbyte*>(text.data()));
  return text;
}

UnitDefinition readUnit(Report& report) {
  UnitDefinition unit;
  unit.name = report.text();
  unit.hasBaseUnit = true;
  for (int& exponent : unit.exponents) exponent = static_cast<int>(report.number());
  unit.factor = report.number();
  unit.offset = report.number();
  return unit;
}

// Appends the next list of variables, which take the value references from `first` on.
void readVariables(Report& report, ModelDescription& model, std::size_t first,
                   const ScalarVariable& kind) {
  const std::size_t count = report.count();
  for (std::size_t i = 0; i < count; ++i) {
    ScalarVariable variable = kind;
    variable.valueReference = static_cast<std::uint32_t>(first + i);
    variable.name = report.text();
    variable.unit = report.text();
    variable.description = report.text();
    variable.start = report.number();
    variable.min = report.finite();
    variable.max = report.finite();
    variable.nominal = report.number();
    if (variable.nominal == 1.0) variable.nominal.reset();
    // What is calculated has no start (FMI 2.0.2, 2.2.7).
    if (variable.initial == "calculated") variable.start.reset();
    model.variables.push_back(std::move(variable));
  }
}

ScalarVariable kindOf(const char* causality, const char* variability, const char* initial) {
  ScalarVariable kind;
  kind.causality = causality;
  kind.variability = variability;
  kind.initial = initial;
  kind.type = "Real";
  return kind;
}

PackedModel readReport(Report report) {
  if (const std::string problem = report.text(); !problem.empty())
    throw Failure(printable(problem));
  PackedModel packed{report.text(), {}};
  ModelDescription& model = packed.description;
  for (std::string* const text : {&model.modelName, &model.description, &model.author,
                                  &model.version, &model.license, &model.copyright}) {
    *text = report.text();
  }
  for (auto* const time : {&model.startTime, &model.stopTime, &model.stepSize, &model.tolerance}) {
    *time = report.finite();
  }
  const std::size_t units = report.count();
  for (std::size_t i = 0; i < units; ++i) model.units.push_back(readUnit(report));

  // The library's layout: the outputs, their mirror, which importers do not see, and the rest.
  readVariables(report, model, 0, kindOf("output", "continuous", "calculated"));
  const std::size_t outputs = model.variables.size();
  readVariables(report, model, 2 * outputs, kindOf("input", "continuous", ""));
  readVariables(report, model, outputs + model.variables.size(),
                kindOf("parameter", "tunable", "exact"));
  return packed;
}

std::string utcTime(std::time_t seconds) {
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[sizeof "9999-12-31T23:59:59Z"];
  if (std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc) == 0) {
    throw Failure("the year " + std::to_string(utc.tm_year + 1900) + " is too far away");
  }
  return text;
}

// Starts a JVM in this process.
PackedModel askModel(const PackOptions& options, const fs::path& resources) {
  std::string question = resources.string() + '\0' + options.model + '\0';
  for (const fs::path& jar : options.jars) question += jar.filename().string() + '\0';
  JNIEnv* const env = startJvm(locateJvm(), {zelvoxJar()}, options.jvmOptions);
  PackedModel packed = readReport(Report(askJava(env, question)));
  packed.description.guid = zelvoxGuid;
  packed.description.modelIdentifier = "zelvox";
  packed.description.coSimulation = true;
  packed.description.needsExecutionTool = true;
  packed.description.generationTool = "zelvox " ZELVOX_VERSION;
  packed.description.generationDateAndTime = utcTime(creationTime());
  return packed;
}

void copyJars(const std::vector<fs::path>& jars, const fs::path& resources) {
  fs::create_directories(resources);
  std::set<std::string> names;
  for (const fs::path& jar : jars) {
    const std::string name = jar.filename().string();
    // model.properties would need escapes for these, and importers stumble over them.
    if (name.find('\\') != name.npos || name.starts_with(' ') || printable(name) != name) {
      throw Failure("the jar " + inQuotes(name) + " needs a name without backslashes, control " +
                    "characters and a leading blank");
    }
    if (!names.insert(name).second) {
      throw Failure("two jars are called " + name + ", but they lie side by side in the FMU");
    }
    std::error_code error;
    fs::copy_file(jar, resources / name, error);
    if (error) throw Failure(jar.string() + " cannot be copied: " + error.message());
  }
}

// Read by the Java side (ModelSource.java) when the FMU is instantiated.
std::string modelProperties(const PackedModel& packed, const std::vector<fs::path>& jars) {
  std::string text = "model=" + packed.javaClass + "\n";
  for (std::size_t i = 0; i < jars.size(); ++i) {
    text += "jar." + std::to_string(i + 1) + "=" + jars[i].filename().string() + "\n";
  }
  return text;
}

pugi::xml_node appendText(pugi::xml_node parent, const char* element, const std::string& text) {
  pugi::xml_node node = parent.append_child(element);
  node.text() = text.c_str();
  return node;
}

std::string rangeOf(const ScalarVariable& variable) {
  if (!variable.min && !variable.max) return "";
  return (variable.min ? numberText(*variable.min) : "") + " \u2026 " +
         (variable.max ? numberText(*variable.max) : "");
}

void appendVariables(pugi::xml_node body, const ModelDescription& model, const char* title,
                     std::string_view causality) {
  pugi::xml_node table;
  for (const ScalarVariable& variable : model.variables) {
    if (variable.causality != causality) continue;
    if (table.empty()) {
      appendText(body, "h2", title);
      table = body.append_child("table");
      pugi::xml_node head = table.append_child("tr");
      for (const char* column : {"Name", "Unit", "Start", "Range", "Description"}) {
        appendText(head, "th", column);
      }
    }
    pugi::xml_node row = table.append_child("tr");
    appendText(row.append_child("td"), "code", variable.name);
    appendText(row, "td", variable.unit);
    appendText(row, "td", variable.start ? numberText(*variable.start) : "");
    appendText(row, "td", rangeOf(variable));
    appendText(row, "td", variable.description);
  }
}

void appendFacts(pugi::xml_node body, const ModelDescription& model) {
  pugi::xml_node list = body.append_child("dl");
  const auto append = [&list](const char* term, const std::string& fact) {
    if (fact.empty()) return;
    appendText(list, "dt", term);
    appendText(list, "dd", fact);
  };
  append("Author", model.author);
  append("Version", model.version);
  append("Copyright", model.copyright);
  append("Licence", model.license);
  if (model.stopTime && model.startTime && model.stepSize) {
    append("Experiment", numberText(*model.startTime) + " s to " + numberText(*model.stopTime) +
                             " s in steps of " + numberText(*model.stepSize) + " s");
  }
  append("Made by", model.generationTool);
}

void appendHowToRun(pugi::xml_node body, const std::string& file) {
  appendText(body, "h2", "How to run it");
  appendText(body, "p",
             "This FMU (FMI 2.0, co-simulation, 64-bit Linux) holds a model in Java. It needs a "
             "Java virtual machine in the process of the importer, with zelvox.jar on its class "
             "path; the model itself is in the FMU. The command zelvox provides both, for itself "
             "and for importers that know nothing of Java:");
  appendText(body, "pre",
             "zelvox simulate " + file + "\nzelvox exec -- fmpy simulate " + file + "\n");
}

std::string indexHtml(const ModelDescription& model, const std::string& file) {
  pugi::xml_document document;
  document.append_child(pugi::node_doctype).set_value("html");
  pugi::xml_node html = document.append_child("html");
  html.append_attribute("lang") = "en";
  pugi::xml_node head = html.append_child("head");
  head.append_child("meta").append_attribute("charset") = "utf-8";
  appendText(head, "title", model.modelName);
  appendText(head, "style",
             "body { font-family: sans-serif; max-width: 60em; margin: 2em auto; padding: 0 1em } "
             "table { border-collapse: collapse } "
             "th, td { border: 1px solid #bbb; padding: 0.2em 0.6em; text-align: left } "
             "dt { float: left; clear: left; width: 8em; color: #555 } dd { margin-left: 8em } "
             "pre { background: #f4f4f4; padding: 0.6em }");
  pugi::xml_node body = html.append_child("body");
  appendText(body, "h1", model.modelName);
  if (!model.description.empty()) appendText(body, "p", model.description);
  appendFacts(body, model);
  appendVariables(body, model, "Inputs", "input");
  appendVariables(body, model, "Outputs", "output");
  appendVariables(body, model, "Parameters", "parameter");
  appendHowToRun(body, file);
  std::ostringstream text;
  document.save(text, "  ", pugi::format_default | pugi::format_no_declaration);
  return text.str();
}

constexpr const char* externalDependencies =
    "A Java virtual machine, version 8 or later, in the process that loads this FMU. It must run\n"
    "before the FMU is instantiated, and the instantiating thread must be attached to it.\n"
    "\n"
    "zelvox.jar on the class path of that JVM. The model's own classes are in the FMU.\n"
    "\n"
    "\"zelvox simulate\" and \"zelvox exec\" provide both.\n";

// The texts of the licences: the model's as its author worded it, and that of the library inside.
void appendLicenses(std::vector<ArchiveEntry>& entries, const ModelDescription& model) {
  std::string text;
  for (const std::string& part : {model.copyright, model.license}) {
    if (!part.empty()) text += part + "\n";
  }
  if (!text.empty()) entries.push_back({"documentation/licenses/license.txt", {}, text});
  const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
  for (const char* const place : {ZELVOX_INSTALLED_DOCS "/LICENSE", "../LICENSE"}) {
    const fs::path license = (here / place).lexically_normal();
    if (!fs::is_regular_file(license)) continue;
    entries.push_back({"documentation/licenses/zelvox.txt", license, {}});
    return;
  }
}

std::string countOf(const ModelDescription& model, const std::string& causality) {
  return counted(std::ranges::count(model.variables, causality, &ScalarVariable::causality),
                 causality);
}

std::mutex finishing;

// Ctrl-C ends the process also when the model hangs, but leaves no copies of jars behind and comes
// too late for an FMU that is being written. The signals are for this thread alone, which may do
// what no handler may.
void endWhenInterrupted(const fs::path& staged) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM}) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread([=] {
    int received = 0;
    sigwait(&signals, &received);
    finishing.lock();
    std::error_code ignored;
    fs::remove_all(staged, ignored);
    std::fputs("zelvox: interrupted, no FMU was written\n", stderr);
    std::_Exit(static_cast<int>(ExitCode::interrupted));
  }).detach();
}

void pack(const PackOptions& options) {
  // What is static is put away also when the model ends the process.
  static const TemporaryDirectory staged;
  endWhenInterrupted(staged.path());
  const fs::path resources = staged.path() / "resources";
  copyJars(options.jars, resources);
  const PackedModel packed = askModel(options, resources);
  const ModelDescription& model = packed.description;

  // The description comes first: that is where a reader of a stream looks.
  std::vector<ArchiveEntry> entries = {
      {"modelDescription.xml", {}, writeModelDescription(model)},
      {"binaries/linux64/zelvox.so", zelvoxLibrary(), {}},
      {"resources/model.properties", {}, modelProperties(packed, options.jars)},
  };
  for (const fs::path& jar : options.jars) {
    const std::string name = jar.filename().string();
    entries.push_back({"resources/" + name, resources / name, {}});
  }
  entries.push_back(
      {"documentation/index.html", {}, indexHtml(model, options.output.filename().string())});
  entries.push_back({"documentation/externalDependencies.txt", {}, externalDependencies});
  appendLicenses(entries, model);
  finishing.lock();
  writeArchive(options.output, entries);
  std::cout << options.output.string() << ": " << model.modelName << " (" << packed.javaClass
            << ") with " << countOf(model, "input") << ", " << countOf(model, "output") << " and "
            << countOf(model, "parameter") << "\n";
}

}  // namespace

void addPackCommand(CLI::App& app) {
  CLI::App* const command = app.add_subcommand("pack", "Make an FMU of a Java model");
  const auto options = std::make_shared<PackOptions>();
  command
      ->add_option("--jar", options->jars,
                   "A jar that goes into the FMU: the model's, and each library that it needs")
      ->required()
      ->check(CLI::ExistingFile.description(""))
      ->type_name("FILE");
  command
      ->add_option("--model", options->model,
                   "The model's class; by default the one that the jars name in "
                   "META-INF/services/com.zelvox.qorbetta.Model")
      ->type_name("CLASS");
  command->add_option("-o,--output-file", options->output, "The FMU to write")
      ->required()
      ->type_name("FILE");
  command
      ->add_option("--jvm-option", options->jvmOptions,
                   "An option for the JVM that asks the model, such as -Xmx4g")
      ->type_name("OPTION")
      ->allow_extra_args(false);
  command->footer(
      "The model tells its names, units, descriptions, start values and default experiment\n"
      "itself. An FMU that exists is replaced, but only when all went well.\n\n"
      "Examples:\n"
      "  zelvox pack --jar motor.jar -o motor.fmu\n"
      "  zelvox pack --jar motor.jar --jar tables.jar --model com.acme.Motor -o motor.fmu");
  command->callback([options] { pack(*options); });
}
