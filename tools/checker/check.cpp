#include "checker/check.h"

#include <algorithm>
#include <array>

#include "checker/rules.h"
#include "words/text.h"

namespace {

struct NamedCheck {
  const char* name;
  Check check;
};

// The names stand behind each finding, and in docs/info.md with what they ask for.
constexpr std::array<NamedCheck, 20> checks = {{{"schema", checkSchema},
                                                {"encoding", checkEncoding},
                                                {"version", checkVersion},
                                                {"kind", checkKinds},
                                                {"binary", checkBinaries},
                                                {"experiment", checkExperiment},
                                                {"unique", checkUniqueNames},
                                                {"unit", checkUnits},
                                                {"type", checkDeclaredTypes},
                                                {"enumeration", checkEnumerations},
                                                {"range", checkRanges},
                                                {"name", checkNames},
                                                {"combination", checkCombinations},
                                                {"start", checkStarts},
                                                {"alias", checkAliases},
                                                {"derivative", checkStates},
                                                {"outputs", checkOutputs},
                                                {"derivatives", checkDerivatives},
                                                {"initial-unknowns", checkInitialUnknowns},
                                                {"dependencies", checkDependencies}}};

}  // namespace

CheckResult checkDescription(std::string_view xml, const std::vector<std::string>& files) {
  const Subject description(xml, files);
  const std::string_view version = description.root.attribute("fmiVersion").value();
  if (!version.empty() && !version.starts_with("2"))
    description.xml.fail(description.root,
                         "expected an FMU of FMI 2.0, got FMI " + inQuotes(version));
  CheckResult result;
  result.checks = checks.size();
  result.variables = description.variables.size();
  struct Finding {
    std::size_t line;
    std::string text;
  };
  std::vector<Finding> findings;
  for (const NamedCheck& one : checks) {
    one.check(description, [&](const pugi::xml_node& where, const std::string& what) {
      findings.push_back(
          {description.xml.lineOf(where), placeOf(where) + ": " + what + " [" + one.name + "]"});
    });
  }
  std::ranges::stable_sort(findings, {}, &Finding::line);
  for (const Finding& finding : findings)
    result.findings.push_back("line " + std::to_string(finding.line) + ": " + finding.text);
  return result;
}
