/* A program whose threads live in all ways that POSIX and C allow. threads CASE... runs the cases
   one after the other and prints what each found; a case that hangs ends the program by SIGALRM. */

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

/* The result of a thread: 'd' attached as a daemon, 'a' attached otherwise, '-' not attached. */
static void* state(void* unused) {
  JNIEnv* const env = environment();
  (void)unused;
  return (void*)(long)(env == NULL ? '-' : probe(env, "isDaemon") ? 'd' : 'a');
}

static int c11State(void* unused) {
  return (int)(long)state(unused);
}

static char run(void* (*routine)(void*), void* argument, size_t stack) {
  pthread_t thread;
  pthread_attr_t attributes;
  void* result = NULL;
  pthread_attr_init(&attributes);
  if (stack > 0) pthread_attr_setstacksize(&attributes, stack);
  const int problem = pthread_create(&thread, &attributes, routine, argument);
  pthread_attr_destroy(&attributes);
  if (problem != 0) return 'e';
  pthread_join(thread, &result);
  return result == PTHREAD_CANCELED ? 'c' : (char)(long)result;
}

static void plain(void) {
  thrd_t thread;
  int result = 'e';
  if (thrd_create(&thread, c11State, NULL) == thrd_success) thrd_join(thread, &result);
  printf("%c%c", run(state, NULL, 0), result);
}

/* A stack of the program's own, in which each thread leaves nothing that the next one minds. */
static char onOwnStack(void) {
  const size_t size = 1 << 20;
  char* const stack = aligned_alloc(4096, size);
  void* result = NULL;
  for (int i = 0; i < 2; ++i) {
    pthread_t thread;
    pthread_attr_t attributes;
    memset(stack, 0, size);
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, size);
    pthread_create(&thread, &attributes, state, NULL);
    pthread_attr_destroy(&attributes);
    pthread_join(thread, &result);
  }
  free(stack);
  return (char)(long)result;
}

static void stacks(void) {
  const size_t sizes[] = {(size_t)sysconf(_SC_THREAD_STACK_MIN), 64 << 10, 256 << 10, 1 << 20};
  for (size_t i = 0; i < sizeof sizes / sizeof *sizes; ++i) putchar(run(state, NULL, sizes[i]));
  putchar(onOwnStack());
}

static sem_t done, held, leave;
static char seen[4];
static pthread_key_t key;

static void cleanedUp(void* letter) {
  seen[0] = (char)(long)letter;
}

/* The destructor of another key, which asks to be called again once. */
static void destroyed(void* round) {
  seen[(long)round] = (char)(long)state(NULL);
  if ((long)round == 1) pthread_setspecific(key, (void*)2L);
}

static void* exits(void* how) {
  pthread_setspecific(key, (void*)1L);
  pthread_cleanup_push(cleanedUp, (void*)(long)'x');
  if (how == NULL) pthread_exit((void*)(long)'p');
  sem_post(&done);
  for (;;) pause();
  pthread_cleanup_pop(0);
  return NULL;
}

static void ends(void) {
  pthread_key_create(&key, destroyed);
  memset(seen, 0, sizeof seen);
  putchar(run(exits, NULL, 0));
  printf("%s ", seen);

  pthread_t thread;
  void* result = NULL;
  memset(seen, 0, sizeof seen);
  sem_init(&done, 0, 0);
  pthread_create(&thread, NULL, exits, &done);
  pthread_cancel(thread); /* while the thread is being attached, perhaps */
  pthread_join(thread, &result);
  pthread_create(&thread, NULL, exits, &done);
  sem_wait(&done);
  pthread_cancel(thread);
  pthread_join(thread, &result);
  printf("%c%s", result == PTHREAD_CANCELED ? 'c' : 'e', seen);
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
  pthread_t holding;
  pthread_create(&holding, NULL, calls, "holdThreads");
  while (!probe(mainEnv, "isHolding")) usleep(1000);
  return holding;
}

static void release(pthread_t holding) {
  usleep(50000); /* time for the others to come to where they have to wait */
  probe(mainEnv, "release");
  pthread_join(holding, NULL);
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

static void cancels(void) {
  pthread_t thread;
  void* result = NULL;
  sem_init(&done, 0, 0);
  sem_init(&held, 0, 0);
  pthread_t holding = hold();
  pthread_create(&thread, NULL, pauses, NULL);
  usleep(50000);
  pthread_cancel(thread);
  release(holding);
  pthread_join(thread, &result);
  putchar(result == PTHREAD_CANCELED ? 'c' : 'e');

  pthread_create(&thread, NULL, canceled, (void*)(long)'r');
  sem_wait(&done);
  holding = hold();
  sem_post(&held);
  release(holding);
  pthread_join(thread, &result);
  putchar((char)(long)result);
}

/* Thousands of short threads, half of them detached: how many more the JVM knows afterwards. */
static void many(void) {
  const int before = probe(mainEnv, "threads");
  sem_init(&done, 0, 0);
  for (int i = 0; i < 3000; ++i) {
    pthread_t thread;
    if (pthread_create(&thread, NULL, post, NULL) != 0) abort();
    if (i % 2 == 0) pthread_detach(thread);
    if (i % 2 == 1) pthread_join(thread, NULL);
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
      return (void*)(long)'s';
  return (void*)(long)(problem != 0 ? 'n' : cancelation != PTHREAD_CANCEL_ENABLE ? 'c' : 'i');
}

static void inherits(void) {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  errno = EINTR;
  putchar(run(inherited, NULL, 0));
  pthread_sigmask(SIG_SETMASK, &before, NULL);
}

/* Threads that take the attachment into their own hands. */
static void* byItself(void* again) {
  void* env = NULL;
  (*vm)->AttachCurrentThread(vm, &env, NULL);
  (*vm)->DetachCurrentThread(vm);
  if (environment() != NULL) return (void*)(long)'e';
  if (again != NULL) (*vm)->AttachCurrentThread(vm, &env, NULL);
  return state(NULL);
}

static void byThemselves(void) {
  const int before = probe(mainEnv, "threads");
  putchar(run(byItself, NULL, 0));
  putchar(run(byItself, &vm, 0));
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
    const char letter = run(post, NULL, 0);
    if (how == NULL) _exit(letter != 0);
    pthread_exit(NULL); /* the last thread of its process */
  }
  sem_post(&done);
  waitpid(child, &status, 0);
  return (void*)(long)(status == 0 ? 'f' : 'e');
}

static void forks(void) {
  sem_init(&done, 0, 0);
  sem_init(&held, 0, 0);
  for (int i = 0; i < 2; ++i) {
    pthread_t thread;
    void* result = NULL;
    pthread_create(&thread, NULL, forking, i == 0 ? NULL : &vm);
    sem_wait(&done);
    const pthread_t holding = hold();
    sem_post(&held);
    sem_wait(&done);
    release(holding);
    pthread_join(thread, &result);
    putchar((char)(long)result);
  }
}

/* What the JVM answers in the child, in whose place nobody would answer. */
static void asks(void) {
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
static void loads(void) {
  putchar(dlopen(getenv("WAITING"), RTLD_NOW) != NULL ? 'l' : 'e');
}

/* Java's own threads go on as ever, as do the programs that Java runs. */
static void java(void) {
  printf("%d%d", probe(mainEnv, "startsThreads"), probe(mainEnv, "runsPrograms"));
}

static void exitsInJava(void) {
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
  while (!stopped) run(post, NULL, 0);
  return unused;
}

static void destroy(void* (*routine)(void*)) {
  pthread_t waiting, moving, releasing;
  void* result = NULL;
  sem_init(&done, 0, 0);
  sem_init(&held, 0, 0);
  sem_init(&leave, 0, 0);
  pthread_create(&waiting, NULL, waits, NULL);
  pthread_create(&moving, NULL, routine, NULL);
  pthread_create(&releasing, NULL, calls, "releaseSoon");
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
  pthread_join(moving, NULL);
  pthread_join(waiting, &result);
  printf("%c%c", (char)(long)result, run(state, NULL, 0));
}

static void destroysEnding(void) {
  destroy(ending);
}

static void destroysStarting(void) {
  destroy(starts);
}

static void* works(void* unused) {
  for (;;) probe(environment(), "isDaemon");
  return unused;
}

static void atEnd(void) {
  printf("%c\n", run(state, NULL, 0));
  fflush(stdout);
}

/* The process ends while a thread is in Java, and starts one more. */
static void leaves(void) {
  pthread_t thread;
  if ((char)(long)run(state, NULL, 0) == 'd') pthread_create(&thread, NULL, works, NULL);
  atexit(atEnd);
}

static const struct {
  const char* name;
  void (*run)(void);
} cases[] = {{"plain", plain},
             {"stacks", stacks},
             {"ends", ends},
             {"cancels", cancels},
             {"many", many},
             {"inherits", inherits},
             {"byThemselves", byThemselves},
             {"forks", forks},
             {"asks", asks},
             {"loads", loads},
             {"java", java},
             {"exit", exitsInJava},
             {"destroysEnding", destroysEnding},
             {"destroysStarting", destroysStarting},
             {"leaves", leaves}};

int main(int count, char** names) {
  jint (*const created)(JavaVM**, jsize, jsize*) =
      (jint(*)(JavaVM**, jsize, jsize*))dlsym(RTLD_DEFAULT, "JNI_GetCreatedJavaVMs");
  jsize vms = 0;
  if (created == NULL || created(&vm, 1, &vms) != JNI_OK || vms != 1) return 1;
  mainEnv = environment();
  alarm(20);
  for (int i = 1; i < count; ++i)
    for (size_t j = 0; j < sizeof cases / sizeof *cases; ++j)
      if (strcmp(names[i], cases[j].name) == 0) {
        cases[j].run();
        putchar('\n');
      }
  return 0;
}
