// What the library is measured against: the same operations without a library.
//
// BareInstance makes exactly the JNI calls that the design demands: nothing is kept from one call
// to the next but the simulation object, so the VM, the environment, the class and the methods are
// looked up each time, counts are asked each time, strings and arrays are made anew. It deletes
// what it made, copies each value once, and asks for an exception where the design does: when a
// bracket opens, before values go out and after each call of Java. It checks nothing that Java
// answers.
//
// FloorInstance makes the calls of the Java methods alone that a step needs, and one copy;
// everything else was made beforehand. No bridge to this Java object can be faster.
//
// The importer's formatting of messages is nobody's share: with logging on, both format the same
// messages as the library has them formatted, at the same points.
#pragma once

#include <jni.h>

#include <cstddef>
#include <string>
#include <vector>

#include "fmi2Functions.h"

// As in the library: outputs from 0, their mirror, inputs.
struct Values {
  Values(std::size_t inputs, std::size_t outputs, bool logging)
      : reals(2 * outputs + inputs), logging(logging) {}
  std::vector<double> reals;
  bool dirty = true;  // the mirror is older than the outputs
  bool logging;
};

class BareInstance {
 public:
  BareInstance(std::string name, std::size_t inputs, std::size_t outputs, bool logging);
  void setReal(const fmi2ValueReference vr[], std::size_t nvr, const double value[]);
  void getReal(const fmi2ValueReference vr[], std::size_t nvr, double value[]);
  void doStep(double time, double stepSize);

 private:
  std::string name;
  Values values;
};

class FloorInstance {
 public:
  FloorInstance(const std::string& name, std::size_t inputs, std::size_t outputs);
  void doStep(double time, double stepSize);

 private:
  jstring name;
  jdoubleArray inputs;
  std::vector<double> reals;
};

// Makes the simulation object. Must come before everything else here.
void prepareBareCalls();
