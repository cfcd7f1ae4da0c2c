#include "packer/model_report.h"

#include <ctime>

#include "ending/failure.h"
#include "fmu_file/archive_writer.h"
#include "packer/identity.h"
#include "packer/java_side.h"
#include "packer/unit_warning.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

UnitDefinition readUnit(JavaAnswer& report) {
  UnitDefinition unit;
  unit.name = report.text();
  unit.hasBaseUnit = true;
  for (int& exponent : unit.exponents) exponent = static_cast<int>(report.number());
  unit.factor = report.number();
  unit.offset = report.number();
  const std::size_t displayUnits = report.count();
  for (std::size_t i = 0; i < displayUnits; ++i) {
    DisplayUnit& display = unit.displayUnits.emplace_back();
    display.name = report.text();
    display.factor = report.number();
    display.offset = report.number();
  }
  return unit;
}

// Appends the next list of variables, which take the value references from `first` on.
void readVariables(JavaAnswer& report, ModelDescription& model, std::size_t first,
                   const ScalarVariable& kind) {
  const std::size_t count = report.count();
  for (std::size_t i = 0; i < count; ++i) {
    ScalarVariable variable = kind;
    variable.valueReference = static_cast<std::uint32_t>(first + i);
    variable.name = report.text();
    variable.unit = report.text();
    // Only its name is written.
    if (const std::string name = report.text(); !name.empty())
      variable.displayUnit = DisplayUnit{name};
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

ScalarVariable declaredAs(const char* causality, const char* variability, const char* initial) {
  ScalarVariable kind;
  kind.causality = causality;
  kind.variability = variability;
  kind.initial = initial;
  kind.type = "Real";
  return kind;
}

PackedModel readReport(JavaAnswer report) {
  if (const std::string problem = report.text(); !problem.empty())
    throw Failure(printable(problem));
  PackedModel packed{report.text(), {}, {}};
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
  readVariables(report, model, 0, declaredAs("output", "continuous", "calculated"));
  const std::size_t outputs = model.variables.size();
  readVariables(report, model, 2 * outputs, declaredAs("input", "continuous", ""));
  readVariables(report, model, outputs + model.variables.size(),
                declaredAs("parameter", "tunable", "exact"));
  const std::size_t warnings = report.count();
  for (std::size_t i = 0; i < warnings; ++i) packed.warnings.push_back(report.text());
  if (const std::string warning = unitWarning(model); !warning.empty())
    packed.warnings.push_back(warning);
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

}  // namespace

PackedModel askModel(const fs::path& resources, const ModelJars& jars, const std::string& javaClass,
                     JNIEnv* env) {
  std::vector<std::string> question = {resources.string(), javaClass, jars.model,
                                       std::to_string(jars.own)};
  question.insert(question.end(), jars.names.begin(), jars.names.end());
  PackedModel packed = readReport(askJava(env, "ModelReport", question));
  packed.description.modelIdentifier = modelIdentifierOf(packed.description.modelName);
  packed.description.coSimulation = true;
  packed.description.generationTool = "zelvox " ZELVOX_VERSION;
  packed.description.generationDateAndTime = utcTime(creationTime());
  return packed;
}
