// The variables of preload.h on their way through the process: out of the environment for main()
// and its children, and back into it when the process replaces its image.
#pragma once

// Values point into the environment block of the process and stay valid as long as it lives.
struct Carried {
  const char* jvmLibrary;  // null: there is nothing to do
  const char* jvmOptions;  // never null
  bool attachesThreads;
};

// To be called once, while the process has one thread: it changes the environment. From then on an
// exec of this very process, but not of a child that it forked, carries the variables on.
Carried takeFromEnvironment() noexcept;
