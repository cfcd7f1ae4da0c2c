// Asking zelvox.jar, in the JVM of this process, what only Java can know.
#pragma once

#include <jni.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// The texts of an answer, one after the other. Each function takes the next one, and throws Failure
// when it is not there or is none of the kind.
class JavaAnswer {
 public:
  explicit JavaAnswer(std::string texts) : rest(std::move(texts)) {}

  std::string text();
  double number();
  // Empty for the infinite and undefined values that stand for "none".
  std::optional<double> finite();
  std::size_t count() { return static_cast<std::size_t>(number()); }

 private:
  std::string rest;
  std::size_t position = 0;
};

// What a class of the package com.zelvox.qorbetta answers to some texts; its source says which.
JavaAnswer askJava(JNIEnv* env, const std::string& javaClass,
                   const std::vector<std::string>& question);
