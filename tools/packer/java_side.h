// Asking zelvox.jar, in the JVM of this process, what only Java can know.
#pragma once

#include <jni.h>

#include <string>
#include <vector>

// Throws Failure: zelvox.jar is of another version than the program.
[[noreturn]] void failVersion();

// The texts that a class of the package com.zelvox.qorbetta answers to some texts; its source says
// which, and how many there are at `least`. The first one says what is wrong: throws Failure with
// it unless it is empty.
std::vector<std::string> askJava(JNIEnv* env, const std::string& javaClass,
                                 const std::vector<std::string>& question, std::size_t least);
