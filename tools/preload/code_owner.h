// Whose code it is that calls. The questions take neither locks nor memory and may be asked
// anywhere, also in a signal handler.
#pragma once

// To be called once, with the path of libjvm.so, before the questions.
void setJvm(const char* libjvm) noexcept;

// In one of the libraries of the JVM that create threads or open files for it. False without a JVM.
bool isJvms(const void* code) noexcept;

// In the JVM proper, without the libraries through which Java code calls the system.
bool isLibjvms(const void* code) noexcept;

// In an object that the user preloads: those stand before this one.
bool isOtherPreloads(const void* code) noexcept;
