/* Preloaded, it stands before pthread_create and starts threads with a routine of its own, as
   sanitizers do: whose thread it is can no longer be told. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <pthread.h>
#include <stdlib.h>

struct start {
  void* (*routine)(void*);
  void* argument;
};

static void* begin(void* given) {
  const struct start start = *(struct start*)given;
  free(given);
  return start.routine(start.argument);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                   void* argument) {
  int (*const next)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) =
      (int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*))dlsym(RTLD_NEXT,
                                                                                 "pthread_create");
  struct start* const start = malloc(sizeof *start);
  *start = (struct start){routine, argument};
  return next(thread, attributes, begin, start);
}
