#include "packer/java_side.h"

#include <sstream>

#include "ending/failure.h"
#include "files/installation.h"
#include "words/text.h"

void failVersion() {
  throw Failure(zelvoxJar().string() + " is not of the version of this program");
}

std::vector<std::string> askJava(JNIEnv* env, const std::string& javaClass,
                                 const std::vector<std::string>& question, std::size_t least) {
  std::string asking;
  for (const std::string& text : question) asking += text + '\0';
  const jclass side = env->FindClass(("com/zelvox/qorbetta/" + javaClass).c_str());
  const jmethodID answer =
      side != nullptr ? env->GetStaticMethodID(side, "answer", "([B)[B") : nullptr;
  const auto length = static_cast<jsize>(asking.size());
  const jbyteArray asked = answer != nullptr ? env->NewByteArray(length) : nullptr;
  if (asked == nullptr) {
    env->ExceptionClear();
    failVersion();
  }
  env->SetByteArrayRegion(asked, 0, length, reinterpret_cast<const jbyte*>(asking.data()));
  const auto answered = static_cast<jbyteArray>(env->CallStaticObjectMethod(side, answer, asked));
  if (env->ExceptionCheck() || answered == nullptr) {
    env->ExceptionDescribe();
    throw Failure("the model's description does not fit the JVM's memory (--jvm-option -Xmx4g)");
  }
  std::string text(static_cast<std::size_t>(env->GetArrayLength(answered)), '\0');
  env->GetByteArrayRegion(answered, 0, static_cast<jsize>(text.size()),
                          reinterpret_cast<jbyte*>(text.data()));
  std::vector<std::string> texts;
  std::istringstream stream(std::move(text));
  for (std::string one; std::getline(stream, one, '\0');) texts.push_back(one);
  if (!texts.empty() && !texts[0].empty()) throw Failure(printable(texts[0]));
  if (texts.size() < least) failVersion();
  return texts;
}
