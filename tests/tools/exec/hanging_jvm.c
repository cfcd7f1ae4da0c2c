/* A libjvm.so that never comes back. */

#include <jni.h>
#include <unistd.h>

JNIEXPORT jint JNICALL JNI_CreateJavaVM(JavaVM** vm, void** env, void* arguments) {
  (void)vm, (void)env, (void)arguments;
  for (;;) pause();
}
