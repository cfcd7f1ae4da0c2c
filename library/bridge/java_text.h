// Texts on their way between the importer and Java. FMI's texts are UTF-8; JNI's are "modified"
// UTF-8, in which a character beyond U+FFFF is two surrogates of three bytes each and NUL is two
// bytes. Text that is not valid becomes U+FFFD where it is wrong, as the JVM must not see it; ASCII
// is the same in both and passes untouched.
#pragma once

#include <jni.h>

#include <string>

#include "bridge/jvm_access.h"

// A short-lived Java string. Holds null when the JVM could not make it, and for NULL.
class JavaText : public LocalRef<jstring> {
 public:
  explicit JavaText(const char* utf8);
};

// The empty text when the JVM gives no characters. A NUL within the text becomes U+FFFD, as does a
// surrogate without its other half.
std::string utf8Of(jstring text);
