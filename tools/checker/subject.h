// A model description as the checks see it: as it stands there, right or wrong, with the defaults
// that FMI gives.
#pragma once

#include <functional>
#include <optional>
#include <pugixml.hpp>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fmu_file/description_xml.h"

struct SubjectVariable {
  pugi::xml_node node;   // ScalarVariable
  pugi::xml_node value;  // its Real, Integer, ...; empty when it has none
  std::string_view name, type, causality, variability, initial;
  pugi::xml_node declared;  // the same of the declared type, if there is one

  // An attribute that the declared type may give in place of the variable.
  std::string_view text(const char* attribute) const;
  std::optional<double> number(const char* attribute) const;
};

struct Subject {
  Subject(std::string_view xml, const std::vector<std::string>& files);

  std::string_view text;
  DescriptionXml xml;
  const std::vector<std::string>& files;
  pugi::xml_node root;
  std::vector<SubjectVariable> variables;  // the first one has the index 1
  std::unordered_map<std::string_view, pugi::xml_node> units, types;
  std::set<std::size_t> states;  // indexes of the variables that others are the derivatives of

  // The variable whose index, as FMI counts, is in the text; null when there is none.
  const SubjectVariable* variable(std::string_view index) const;
  // Of a variable, as what is expected.
  std::string anyIndex() const;
  std::size_t indexOf(const SubjectVariable& one) const {
    return static_cast<std::size_t>(&one - variables.data()) + 1;
  }
};

// A check says for each element that is wrong what is wrong with it; the report says where it is.
using Report = std::function<void(const pugi::xml_node& where, const std::string& what)>;
using Check = void (*)(const Subject& description, const Report& report);

// "variable 'speed'", "unit 'm', DisplayUnit 'cm'", "Outputs, Unknown 3".
std::string placeOf(const pugi::xml_node& node);

// The words of a text between blanks.
std::vector<std::string_view> wordsOf(std::string_view text, char separator = ' ');
