// Java strings.

#include <exception>
#include <limits>
#include <string>
#include <string_view>

#include <jni.h>

#include "bix/javabridge.h"
#include "java/java_calls.h"
#include "java/unicode.h"

namespace jniutils {
namespace {

using bix::impl::LocalReference;
using bix::impl::NewLocal;
using bix::impl::SetAsideException;
using bix::impl::ThrowOutOfMemory;

static_assert(sizeof(jchar) == sizeof(char16_t));

constexpr char kNoMemory[] = "no memory for a string";

/// What `make` returns; an empty result with Java's error for it when there is no memory.
// CHOICE(java-no-memory): what has no memory in native code ends as it does in Java, in a pending
// OutOfMemoryError. Test: JavaStringFaults.WithoutMemoryJavaGetsItsOwnError
template <class Make>
auto WithMemory(JNIEnv* env, Make&& make) -> decltype(make()) {
  try {
    return make();
  } catch (const std::exception&) {  // a length beyond all memory is not a bad_alloc
    ThrowOutOfMemory(env, kNoMemory);
    return {};
  }
}

jstring NewString(JNIEnv* env, std::u16string_view text) {
  if (text.size() > std::size_t{std::numeric_limits<jsize>::max()}) {
    ThrowOutOfMemory(env, kNoMemory);
    return nullptr;
  }
  // A null pointer is not allowed, not even for no units.
  const char16_t* const units = text.empty() ? u"" : text.data();
  return env->NewString(reinterpret_cast<const jchar*>(units), static_cast<jsize>(text.size()));
}

/// The units; throws when there is no memory.
std::u16string UnitsOf(JNIEnv* env, jstring string) {
  const LocalReference<jstring> held(env, NewLocal(env, string));
  if (!held) return {};
  const jsize length = env->GetStringLength(held.Get());
  std::u16string units(static_cast<std::size_t>(length), u'\0');
  env->GetStringRegion(held.Get(), 0, length, reinterpret_cast<jchar*>(units.data()));
  if (env->ExceptionCheck()) return {};
  return units;
}

}  // namespace

// COMPAT(java-modified-utf8): the bytes are taken for modified UTF-8, so that a character beyond
// U+FFFF in UTF-8 proper does not arrive as itself, and a zero byte ends the text.
// Test: JavaStringCompat.TheSpecifiedConversionsAreModifiedUtf8
jstring GetString(JNIEnv* env, const std::string& text) {
  const SetAsideException aside(env);
  return env->NewStringUTF(text.c_str());
}

std::string GetString(JNIEnv* env, jstring string) {
  const SetAsideException aside(env);
  const LocalReference<jstring> held(env, NewLocal(env, string));
  if (!held) return {};
  struct Characters {
    JNIEnv* env;
    jstring string;
    const char* text;
    ~Characters() {
      if (text != nullptr) env->ReleaseStringUTFChars(string, text);
    }
  } const characters{env, held.Get(), env->GetStringUTFChars(held.Get(), nullptr)};
  if (characters.text == nullptr) return {};
  return WithMemory(env, [&] { return std::string(characters.text); });
}

std::string GetNarrowString(JNIEnv* env, jstring string) { return GetString(env, string); }

jstring NewStringUTF16(JNIEnv* env, std::u16string_view text) {
  const SetAsideException aside(env);
  return NewString(env, text);
}

std::u16string GetStringUTF16(JNIEnv* env, jstring string) {
  const SetAsideException aside(env);
  return WithMemory(env, [&] { return UnitsOf(env, string); });
}

jstring NewStringUTF8(JNIEnv* env, std::string_view text) {
  const SetAsideException aside(env);
  return WithMemory(env, [&] { return NewString(env, bix::impl::UTF16FromUTF8(text)); });
}

std::string GetStringUTF8(JNIEnv* env, jstring string) {
  const SetAsideException aside(env);
  return WithMemory(env, [&] { return bix::impl::UTF8FromUTF16(UnitsOf(env, string)); });
}

jstring NewStringWide(JNIEnv* env, const bix::WString& text) {
  const SetAsideException aside(env);
  return WithMemory(env, [&] { return NewString(env, bix::impl::UTF16FromWide(text)); });
}

bix::WString GetStringWide(JNIEnv* env, jstring string) {
  const SetAsideException aside(env);
  return WithMemory(env,
                    [&] { return bix::WString(bix::impl::WideFromUTF16(UnitsOf(env, string))); });
}

}  // namespace jniutils
