// Shows that resident memory stays flat: prints it while one kind of work is repeated very often.
//
//   memory [SHARE]    does 1/SHARE of the work
//
// The Java heap is bounded and touched from the start, so that what grows can only be native.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "importer.h"

namespace {

long residentKilobytes() {
  long all = 0, resident = 0;
  if (!(std::ifstream("/proc/self/statm") >> all >> resident))
    fail("the kernel does not tell the resident memory");
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

using Work = std::function<void(long times)>;

// The warm-up lets the JVM compile what it is going to compile: a method after some 10,000 calls.
void watch(const char* what, long times, const Work& work) {
  constexpr int points = 4;
  work(30'000);
  std::printf("| %s | %ld | %ld |", what, times, residentKilobytes());
  for (int i = 0; i < points; ++i) {
    work(times / points);
    std::printf(" %ld |", residentKilobytes());
    std::fflush(stdout);
  }
  std::printf("\n");
}

void step(fmi2Component component, long times) {
  for (long i = 0; i < times; ++i) check(fmi2DoStep(component, 0.0, 1.0, fmi2True));
}

// The work on a thread that the JVM does not know, so that every operation attaches and detaches.
Work unattached(Work work) {
  return [work = std::move(work)](long times) { std::thread(work, times).join(); };
}

}  // namespace

int main(int argc, char* argv[]) {
  const long share = argc > 1 ? std::max(1L, std::atol(argv[1])) : 1;
  startJvm({"-Xms64m", "-Xmx64m", "-XX:+AlwaysPreTouch"});
  const std::string name = modelName(3, 2, "walker");
  const std::string otherName = modelName(3, 2, "other");
  const fmi2Component component = startInstance(name, false);
  const Work steps = [component](long times) { step(component, times); };

  std::printf("| work | times | at the start | 1/4 | 1/2 | 3/4 | at the end |\n");
  std::printf("|---|---:|---:|---:|---:|---:|---:|\n");
  watch("step on an attached thread", 10'000'000 / share, steps);
  watch("step that attaches and detaches", 200'000 / share, unattached(steps));
  watch("only attach and detach", 200'000 / share, unattached([](long times) {
          for (long i = 0; i < times; ++i) {
            void* env = nullptr;
            findJvm()->AttachCurrentThread(&env, nullptr);
            findJvm()->DetachCurrentThread();
          }
        }));
  fmi2FreeInstance(component);
  watch("instantiate and free", 10'000 / share, [&](long times) {
    for (long i = 0; i < times; ++i) fmi2FreeInstance(startInstance(name, false));
  });
  // The second one's connection replaces the object of the first.
  watch("the same with two alive", 10'000 / share, [&](long times) {
    for (long i = 0; i < times; ++i) {
      const fmi2Component first = startInstance(name, false);
      const fmi2Component second = startInstance(otherName, false);
      step(first, 1);
      step(second, 1);
      fmi2FreeInstance(first);
      fmi2FreeInstance(second);
    }
  });
  return 0;
}
