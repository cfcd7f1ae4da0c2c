#include "packer/java_side.h"

#include <cmath>

#include "ending/failure.h"
#include "files/installation.h"
#include "words/numbers.h"

namespace {

[[noreturn]] void failVersion() {
  throw Failure(zelvoxJar().string() + " is not of the version of this program");
}

}  // namespace

std::string JavaAnswer::text() {
  const std::size_t end = rest.find('\0', position);
  if (end == std::string::npos) failVersion();
  std::string field = rest.substr(position, end - position);
  position = end + 1;
  return field;
}

double JavaAnswer::number() {
  const std::optional<double> value = parseNumber(text());
  if (!value) failVersion();
  return *value;
}

std::optional<double> JavaAnswer::finite() {
  const double value = number();
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

JavaAnswer askJava(JNIEnv* env, const std::string& javaClass,
                   const std::vector<std::string>& question) {
  std::string texts;
  for (const std::string& text : question) texts += text + '\0';
  const jclass side = env->FindClass(("com/zelvox/qorbetta/" + javaClass).c_str());
  const jmethodID answer =
      side != nullptr ? env->GetStaticMethodID(side, "answer", "([B)[B") : nullptr;
  const auto length = static_cast<jsize>(texts.size());
  const jbyteArray asked = answer != nullptr ? env->NewByteArray(length) : nullptr;
  if (asked == nullptr) {
    env->ExceptionClear();
    failVersion();
  }
  env->SetByteArrayRegion(asked, 0, length, reinterpret_cast<const jbyte*>(texts.data()));
  const auto answered = static_cast<jbyteArray>(env->CallStaticObjectMethod(side, answer, asked));
  if (env->ExceptionCheck() || answered == nullptr) {
    env->ExceptionDescribe();
    throw Failure("the model's description does not fit the JVM's memory (--jvm-option -Xmx4g)");
  }
  std::string text(static_cast<std::size_t>(env->GetArrayLength(answered)), '\0');
  env->GetByteArrayRegion(answered, 0, static_cast<jsize>(text.size()),
                          reinterpret_cast<jbyte*>(text.data()));
  return JavaAnswer(std::move(text));
}
