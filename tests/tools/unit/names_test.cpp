// What somebody meant who mistyped a name, and the names that models get in C.
#include <gtest/gtest.h>

#include <array>
#include <regex>
#include <set>

#include "packer/identity.h"
#include "words/spelling.h"

namespace {

TEST(ClosestName, IsTheOneWithFewMistakesOrTheOnlyOneThatBeginsSo) {
  const std::vector<std::string_view> names = {
      "voltage", "voltages", "load", "speed", "startTime", "stopTime", "R", "der(x)", "gap"};
  for (const auto& [written, meant] : std::vector<std::array<std::string_view, 2>>{
           {"Voltage", "voltage"},  // a capital letter costs nothing
           {"VOLTAGES", "voltages"},
           {"votlage", "voltage"},
           {"gpa", "gap"},  // swapped, so one mistake and not two
           {"voltge", "voltage"},
           {"volttage", "voltage"},
           {"spe", "speed"},     // begins only this one
           {"sp", ""},           // too short to be a beginning, too far to be a mistake
           {"volt", "voltage"},  // begins two: the nearer one
           {"vol", ""},
           {"der(y)", "der(x)"},
           {"r", "R"},
           {"x", ""},
           {"inductance", ""},
           {"", ""}})
    EXPECT_EQ(closestName(written, names), meant) << written;
  EXPECT_EQ(closestName("voltage", {}), "");
}

TEST(ModelIdentifier, IsTheNameAsCWritesIt) {
  for (const auto& [name, expected] :
       std::vector<std::array<std::string, 2>>{{"Two tanks & a valve", "Two_tanks_a_valve"},
                                               {"-Valve (v2.1)!", "Valve_v2_1"},
                                               {"my__tank_", "my__tank_"},
                                               {"3 tanks", "model_3_tanks"},
                                               {"&", "model"},
                                               {"while", "model_while"},
                                               {"thread_local", "model_thread_local"},
                                               {"Struct", "Struct"},
                                               {"Prüfstand", "Pr_fstand_[0-9A-F]{8}"},
                                               {"水箱", "model_[0-9A-F]{8}"},
                                               {std::string(63, 'x'), "x{63}"},
                                               {std::string(64, 'x'), "x{54}_[0-9A-F]{8}"}})
    EXPECT_TRUE(std::regex_match(modelIdentifierOf(name), std::regex(expected)))
        << modelIdentifierOf(name) << " for " << name;
  std::set<std::string> identifiers;
  for (const char* lost : {"水箱 1", "水泵 1", "水箱 2"})
    identifiers.insert(modelIdentifierOf(lost));
  for (const char end : {'x', 'y'})
    identifiers.insert(modelIdentifierOf(std::string(63, 'x') + end));
  EXPECT_EQ(identifiers.size(), 5u) << "what is lost must not make two names one";
}

}  // namespace
