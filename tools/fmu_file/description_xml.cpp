#include "fmu_file/description_xml.h"

#include <algorithm>

#include "ending/failure.h"
#include "words/numbers.h"
#include "words/text.h"

bool isTrue(const pugi::xml_attribute& attribute) {
  return parseBoolean(attribute.value()).value_or(false);
}

DescriptionXml::DescriptionXml(std::string_view text) {
  for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n', end + 1))
    lineEnds.push_back(static_cast<std::ptrdiff_t>(end));
  const pugi::xml_parse_result result =
      document.load_buffer(text.data(), text.size(),
                           pugi::parse_default | pugi::parse_doctype | pugi::parse_declaration);
  if (!result) fail(result.offset, std::string("it is no XML: ") + result.description());
  for (const pugi::xml_node node : document) {
    if (node.type() == pugi::node_doctype)
      fail(node, "it has a DOCTYPE, which no model description needs");
  }
  if (std::string_view(root().name()) != "fmiModelDescription")
    fail(root(), "expected the element fmiModelDescription, got " + inQuotes(root().name()));
}

std::size_t DescriptionXml::lineAt(std::ptrdiff_t offset) const {
  return 1 +
         static_cast<std::size_t>(std::ranges::lower_bound(lineEnds, offset) - lineEnds.begin());
}

void DescriptionXml::fail(const pugi::xml_node& node, const std::string& reason) const {
  fail(node.offset_debug(), reason);
}

void DescriptionXml::fail(std::ptrdiff_t offset, const std::string& reason) const {
  throw Failure("modelDescription.xml, line " + std::to_string(lineAt(offset)) + ": " + reason);
}
