// The XML of a modelDescription.xml: parsed, or refused, and where things stand in it.
#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

// Whether an attribute says so; one that is missing does not.
bool isTrue(const pugi::xml_attribute& attribute);

class DescriptionXml {
 public:
  // Throws Failure with the line and the reason for text that is no XML, has a document type, so
  // that there are no entities but the five predefined ones, or has another root.
  explicit DescriptionXml(std::string_view text);

  pugi::xml_node root() const { return document.document_element(); }
  pugi::xml_node firstNode() const { return document.first_child(); }
  std::size_t lineOf(const pugi::xml_node& node) const { return lineAt(node.offset_debug()); }
  [[noreturn]] void fail(const pugi::xml_node& node, const std::string& reason) const;

 private:
  std::size_t lineAt(std::ptrdiff_t offset) const;
  [[noreturn]] void fail(std::ptrdiff_t offset, const std::string& reason) const;

  pugi::xml_document document;
  std::vector<std::ptrdiff_t> lineEnds;
};
