// A model as a user names it: Java files, directories of such files or of classes, and jars.
#pragma once

#include <jni.h>

#include <filesystem>
#include <string>
#include <vector>

struct ModelInput {
  std::vector<std::filesystem::path> model;  // in the order of the command line
  std::vector<std::filesystem::path> jars;   // libraries; without a `model` one of them holds it
  std::string javaClass;                     // empty for the only one
  std::string release;                       // of Java, for files that are compiled; or empty
};

// The jars of a model, which lie in one directory.
struct ModelJars {
  std::string model;               // what the user named as the model, for sentences
  std::vector<std::string> names;  // in the order in which classes are searched
  std::size_t own = 0;             // how many of them may hold the model; they come first
};

// The files below a directory, in an order that is always the same, without hidden ones.
std::vector<std::filesystem::path> filesBelow(const std::filesystem::path& directory);

// Throws Failure when one of the files does not exist.
void requireFiles(const ModelInput& input);

// Whether the file is one of those that make up a model; an FMU is none.
bool isModelFile(const std::filesystem::path& file);

// Compiles what is to be compiled, and puts the model and its libraries as jars into `resources`.
// `scratch` is a directory that is kept until the end; both are made. Throws Failure for what
// cannot become part of a model, usage errors first.
ModelJars gatherJars(const ModelInput& input, const std::filesystem::path& resources,
                     const std::filesystem::path& scratch, JNIEnv* env);
