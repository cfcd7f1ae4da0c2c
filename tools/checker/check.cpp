#include "checker/check.h"

#include "checker/rules.h"
#include "words/text.h"

CheckResult checkDescription(std::string_view xml, const std::vector<std::string>& files) {
  const Subject description(xml, files);
  const std::string_view version = description.root.attribute("fmiVersion").value();
  if (!version.empty() && !version.starts_with("2"))
    description.xml.fail(description.root,
                         "expected an FMU of FMI 2.0, got FMI " + inQuotes(version));
  CheckResult result;
  result.variables = description.variables.size();
  for (const auto* const rules :
       {&schemaRules, &headRules, &typeRules, &variableRules, &structureRules}) {
    for (const NamedCheck& rule : *rules) {
      ++result.checks;
      rule.check(description, [&](const pugi::xml_node& where, const std::string& what) {
        result.findings.emplace(description.xml.lineOf(where),
                                placeOf(where) + ": " + what + " [" + rule.name + "]");
      });
    }
  }
  return result;
}
