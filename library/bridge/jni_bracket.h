// Within a bracket the calling thread has an environment of the JVM. Nothing here needs jni.h.
//
// The environment and the class exist once per loaded library (jvm_access.h), without a lock: one
// thread at a time, which JavaTurn in fmu/ sees to.
#pragma once

struct JNIEnv_;
class _jclass;

// What the bridge needs to call Java. Both are null outside of a bracket; each may be null inside.
struct JavaAccess {
  JNIEnv_* env = nullptr;       // of the calling thread
  _jclass* simClass = nullptr;  // a local reference of the innermost bracket
};

// Java code and callbacks may call the library again. The inner call begins as if no bracket were
// open and gives the outer one its access back at its end.
JavaAccess setAccessAside() noexcept;
void giveAccessBack(const JavaAccess& outer) noexcept;

// The calling thread has an environment of the JVM for as long as a bracket lives: a thread that
// was not attached is attached by the outermost bracket and detached when that one ends. An inner
// bracket leaves the outer one's access valid.
//
// Attaching costs some ten microseconds, and on a thread that a bracket attached, FindClass sees
// the class path of the JVM only, not the class loader of whoever loaded the importer.
class JniBracket {
 public:
  JniBracket() noexcept;
  ~JniBracket();
  JniBracket(const JniBracket&) = delete;
  JniBracket& operator=(const JniBracket&) = delete;

 private:
  JavaAccess outer;
  bool attached;  // by this bracket, which therefore detaches
};

// Stands around each call of an importer's callback, which may use Java on this thread itself:
// leave an exception, or detach the thread. Within a bracket an exception that Java left is printed
// and cleared and the access given up before, and found anew after; whether anything happened in
// between is not asked.
class CallbackGuard {
 public:
  // `ours`: the calling thread is in a call that may reach Java, so an open bracket is its own.
  explicit CallbackGuard(bool ours) noexcept;
  ~CallbackGuard();
  CallbackGuard(const CallbackGuard&) = delete;
  CallbackGuard& operator=(const CallbackGuard&) = delete;

 private:
  bool inBracket;
};
