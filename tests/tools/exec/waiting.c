/* A library whose constructor starts a thread and waits for it, while the loader holds its lock. */

#include <pthread.h>

static void* nothing(void* argument) {
  return argument;
}

__attribute__((constructor)) static void wait_for_thread(void) {
  pthread_t thread;
  if (pthread_create(&thread, NULL, nothing, NULL) == 0) pthread_join(thread, NULL);
}
