/* A program whose threads live in all ways that POSIX and C allow. threads CASE runs the function
   case_CASE, which prints what it found; when it hangs, SIGALRM ends the program. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <jni.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <threads.h>
#include <unistd.h>

static JavaVM* vm;
static JNIEnv* mainEnv;
static sem_t done, held, leave;

static JNIEnv* environment(void) {
  JNIEnv* env = NULL;
  (*vm)->GetEnv(vm, (void**)&env, JNI_VERSION_1_8);
  return env;
}

/* A static int method of Probe.java. */
static int probe(JNIEnv* env, const char* method) {
  const jclass class = (*env)->FindClass(env, "Probe");
  const jmethodID id = (*env)->GetStaticMethodID(env, class, method, "()I");
  const jint answer = (*env)->CallStaticIntMethod(env, class, id);
  (*env)->DeleteLocalRef(env, class);
  return (*env)->ExceptionCheck(env) ? -1 : answer;
}

static void* letter(char found) {
  return (void*)(long)found;
}

/* The result of a thread: 'd' attached as a daemon, 'a' attached otherwise, '-' not attached. */
static void* state(void* unused) {
  JNIEnv* const env = environment();
  (void)unused;
  return letter(env == NULL ? '-' : probe(env, "isDaemon") ? 'd' : 'a');
}

static int c11State(void* unused) {
  return (int)(long)state(unused);
}

static pthread_t start(void* (*routine)(void*), void* argument) {
  pthread_t thread;
  if (pthread_create(&thread, NULL, routine, argument) != 0) abort();
  return thread;
}

static char join(pthread_t thread) {
  void* result = NULL;
  pthread_join(thread, &result);
  return result == PTHREAD_CANCELED ? 'c' : (char)(long)result;
}

static char run(void* (*routine)(void*), void* argument) {
  return join(start(routine, argument));
}

void case_plain(void) {
  thrd_t thread;
  int result = 'e';
  if (thrd_create(&thread, c11State, NULL) == thrd_success) thrd_join(thread, &result);
  printf("%c%c", run(state, NULL), result);
}

/* On a stack of that size, or of the program's own. */
static char stateOn(size_t size, void* stack) {
  pthread_t thread;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  if (stack == NULL) pthread_attr_setstacksize(&attributes, size);
  if (stack != NULL) pthread_attr_setstack(&attributes, memset(stack, 0, size), size);
  const int problem = pthread_create(&thread, &attributes, state, NULL);
  pthread_attr_destroy(&attributes);
  return problem != 0 ? 'e' : join(thread);
}

void case_stacks(void) {
  const size_t sizes[] = {(size_t)sysconf(_SC_THREAD_STACK_MIN), 64 << 10, 256 << 10, 1 << 20};
  for (size_t i = 0; i < sizeof sizes / sizeof *sizes; ++i) putchar(stateOn(sizes[i], NULL));
  /* Each thread leaves nothing there that the next one minds. */
  void* const stack = aligned_alloc(4096, 1 << 20);
  stateOn(1 << 20, stack);
  putchar(stateOn(1 << 20, stack));
}

static char seen[4];
static pthread_key_t key;

static void cleanedUp(void* found) {
  seen[0] = (char)(long)found;
}

/* The destructor of another key, which asks to be called again once. */
static void destroyed(void* round) {
  seen[(long)round] = (char)(long)state(NULL);
  if ((long)round == 1) pthread_setspecific(key, (void*)2L);
}

static void* exits(void* how) {
  pthread_setspecific(key, (void*)1L);
  pthread_cleanup_push(cleanedUp, letter('x'));
  if (how == NULL) pthread_exit(letter('p'));
  sem_post(&done);
  for (;;) pause();
  pthread_cleanup_pop(0);
  return NULL;
}

void case_ends(void) {
  pthread_key_create(&key, destroyed);
  putchar(run(exits, NULL));
  printf("%s ", seen);

  memset(seen, 0, sizeof seen);
  pthread_t thread = start(exits, &done);
  pthread_cancel(thread); /* while the thread is being attached, perhaps */
  join(thread);
  thread = start(exits, &done);
  sem_wait(&done);
  pthread_cancel(thread);
  putchar(join(thread));
  fputs(seen, stdout);
}

static void* post(void* unused) {
  (void)unused;
  sem_post(&done);
  return NULL;
}

/* Cancelation must not meet the JVM, which waits here for a while before it attaches a thread, and
   before it detaches one. */
static void* calls(void* method) {
  void* env = NULL;
  const int attached = environment() != NULL;
  if (!attached) (*vm)->AttachCurrentThread(vm, &env, NULL);
  probe(environment(), method);
  if (!attached) (*vm)->DetachCurrentThread(vm);
  return NULL;
}

static pthread_t hold(void) {
  const pthread_t holding = start(calls, "holdThreads");
  while (!probe(mainEnv, "isHolding")) usleep(1000);
  return holding;
}

static void release(pthread_t holding) {
  usleep(50000); /* time for the others to come to where they have to wait */
  probe(mainEnv, "release");
  join(holding);
}

static void* canceled(void* result) {
  sem_post(&done);
  sem_wait(&held);
  pthread_cancel(pthread_self());
  return result;
}

static void* pauses(void* unused) {
  for (;;) pause();
  return unused;
}

void case_cancels(void) {
  pthread_t holding = hold();
  pthread_t thread = start(pauses, NULL);
  usleep(50000);
  pthread_cancel(thread);
  release(holding);
  putchar(join(thread));

  thread = start(canceled, letter('r'));
  sem_wait(&done);
  holding = hold();
  sem_post(&held);
  release(holding);
  putchar(join(thread));
}

/* Thousands of short threads, half of them detached: how many more the JVM knows afterwards. */
void case_many(void) {
  const int before = probe(mainEnv, "threads");
  for (int i = 0; i < 3000; ++i) {
    const pthread_t thread = start(post, NULL);
    if (i % 2 == 0) pthread_detach(thread);
    if (i % 2 == 1) join(thread);
    sem_wait(&done);
  }
  int more = probe(mainEnv, "threads") - before;
  for (; more > 0 && more < 20; more = probe(mainEnv, "threads") - before) usleep(1000);
  printf("%d", more);
}

/* What a thread inherits: signals, errno, cancelation. */
static void* inherited(void* unused) {
  const int problem = errno;
  sigset_t blocked;
  int cancelation = 0;
  (void)unused;
  pthread_sigmask(SIG_SETMASK, NULL, &blocked);
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelation);
  for (int number = 1; number < 32; ++number)
    if (number != SIGKILL && number != SIGSTOP && !sigismember(&blocked, number) &&
        number != SIGSEGV && number != SIGBUS && number != SIGFPE && number != SIGILL)
      return letter('s');
  return letter(problem != 0 ? 'n' : cancelation != PTHREAD_CANCEL_ENABLE ? 'c' : 'i');
}

void case_inherits(void) {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  errno = EINTR;
  putchar(run(inherited, NULL));
  pthread_sigmask(SIG_SETMASK, &before, NULL);
}

/* Threads that take the attachment into their own hands. */
static void* byItself(void* again) {
  void* env = NULL;
  (*vm)->AttachCurrentThread(vm, &env, NULL);
  (*vm)->DetachCurrentThread(vm);
  if (environment() != NULL) return letter('e');
  if (again != NULL) (*vm)->AttachCurrentThread(vm, &env, NULL);
  return state(NULL);
}

void case_byThemselves(void) {
  const int before = probe(mainEnv, "threads");
  putchar(run(byItself, NULL));
  putchar(run(byItself, &vm));
  printf("%d", probe(mainEnv, "threads") - before);
}

/* A forked child has no JVM, and nobody to let go what was held: its threads start and end without
   one, also the one that forked. */
static void* forking(void* how) {
  int status = 0;
  sem_post(&done);
  sem_wait(&held);
  fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    const char found = run(post, NULL);
    if (how == NULL) _exit(found != 0);
    pthread_exit(NULL); /* the last thread of its process */
  }
  sem_post(&done);
  waitpid(child, &status, 0);
  return letter(status == 0 ? 'f' : 'e');
}

void case_forks(void) {
  for (int i = 0; i < 2; ++i) {
    const pthread_t thread = start(forking, i == 0 ? NULL : &vm);
    sem_wait(&done);
    const pthread_t holding = hold();
    sem_post(&held);
    sem_wait(&done);
    release(holding);
    putchar(join(thread));
  }
}

/* What the JVM answers in the child, in whose place nobody would answer. */
void case_asks(void) {
  int status = 0;
  fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    void* env = &vm;
    alarm(20);
    const jint known = (*vm)->GetEnv(vm, &env, JNI_VERSION_1_8);
    printf("%d%d%d", known, env == NULL, (*vm)->AttachCurrentThread(vm, &env, NULL));
    printf("%d%d", (*vm)->DetachCurrentThread(vm), (*vm)->DestroyJavaVM(vm));
    exit(0);
  }
  waitpid(child, &status, 0);
  printf(" %d", status);
}

/* Libraries may start a thread and wait for it, while the loader holds its lock. */
void case_loads(void) {
  putchar(dlopen(getenv("WAITING"), RTLD_NOW) != NULL ? 'l' : 'e');
}

/* Java's own threads go on as ever, as do the programs that Java runs. */
void case_java(void) {
  printf("%d%d", probe(mainEnv, "startsThreads"), probe(mainEnv, "runsPrograms"));
}

void case_exit(void) {
  fflush(stdout);
  probe(mainEnv, "exit");
}

static void* waits(void* unused) {
  (void)unused;
  sem_wait(&held);
  return state(NULL);
}

/* Threads that outlive the JVM, that are on their way into it or out of it when it is destroyed,
   and that come after it. */
static void* ending(void* unused) {
  sem_post(&done);
  sem_wait(&leave);
  return unused;
}

static volatile int stopped;

static void* starts(void* unused) {
  while (!stopped) run(post, NULL);
  return unused;
}

static void destroy(void* (*routine)(void*)) {
  const pthread_t waiting = start(waits, NULL);
  const pthread_t moving = start(routine, NULL);
  const pthread_t releasing = start(calls, "releaseSoon");
  while (!probe(mainEnv, "isReleasing")) usleep(1000);
  sem_wait(&done);
  /* The two in Java itself may stay there, where the JVM stops them for ever at its end. */
  pthread_detach(releasing);
  pthread_detach(hold());
  sem_post(&leave);
  usleep(50000);
  printf("%d", (*vm)->DestroyJavaVM(vm));
  stopped = 1;
  sem_post(&held);
  join(moving);
  putchar(join(waiting));
  putchar(run(state, NULL));
}

void case_destroysEnding(void) {
  destroy(ending);
}

void case_destroysStarting(void) {
  destroy(starts);
}

static void* works(void* unused) {
  for (;;) probe(environment(), "isDaemon");
  return unused;
}

static void atEnd(void) {
  printf("%c\n", run(state, NULL));
  fflush(stdout);
}

/* The process ends while a thread is in Java, and starts one more. */
void case_leaves(void) {
  if (run(state, NULL) == 'd') start(works, NULL);
  atexit(atEnd);
}

int main(int count, char** words) {
  jint (*const created)(JavaVM**, jsize, jsize*) =
      (jint(*)(JavaVM**, jsize, jsize*))dlsym(RTLD_DEFAULT, "JNI_GetCreatedJavaVMs");
  char name[40];
  jsize vms = 0;
  if (created == NULL || created(&vm, 1, &vms) != JNI_OK || vms != 1 || count != 2) return 1;
  mainEnv = environment();
  snprintf(name, sizeof name, "case_%s", words[1]);
  void (*const chosen)(void) = (void (*)(void))dlsym(RTLD_DEFAULT, name);
  if (chosen == NULL) return 1;
  alarm(20);
  chosen();
  putchar('\n');
  return 0;
}
