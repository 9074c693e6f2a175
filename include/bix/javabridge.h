#ifndef BIX_JAVABRIDGE_H_
#define BIX_JAVABRIDGE_H_

/// The bridge between Java and the objects of the suite's model, over the Java Native Interface.
///
///   JNIEXPORT jobject JNICALL Java_com_kestrane_vorn_ModelImpl_getParent(JNIEnv* env, jobject self) {
///     return jniutils::CallNative(env, [&]() -> jobject {
///       qv::IUnknown* const model = jniutils::GetIUnknownFromJavaObject(env, self, nullptr);
///       if (model == nullptr) throw "This is no model.";
///       return jniutils::CreateNewWrappingJavaObject(env, static_cast<Model*>(model)->GetParent());
///     });
///   }
///
/// What hosts supply in Java, found by the class loader of the native method that calls:
///
///   com/kestrane/vorn/CppObjectWrapper    base of all wrappers, with the field "address" of type long
///   com/kestrane/vorn/<interface>Impl     wrapper of one interface, made by <init>(long address)
///   com/kestrane/vorn/APIError            thrown to Java, with a constructor that takes a message
///
/// A native object has at most one wrapper at a time, which does not keep it alive: the host
/// unregisters the wrapper (UnregisterJavaObject) before the native object goes. Otherwise the next
/// object at that address gets the wrapper of the one that is gone.
///
/// Owner: references to Java objects are local ones of the calling thread, and borrowed for the
///   call when passed in; a null `env` is not allowed. Interface pointers are borrowed for the call.
/// Errors: what Java lacks, a class, method or field, is answered with null, 0 or false and leaves
///   no exception behind. What Java throws while it works for the bridge, such as the exception of a
///   constructor, stays pending, and the result is null, 0 or "". An exception that is pending when
///   a function is called is set aside and is pending again afterwards, in place of a later one.
/// Encoding: names and messages are modified UTF-8, as Java's native interface has it.
/// Threads: any Java thread, with its own `env`. One mutex guards the wrappers; see the functions
///   for what must not be called under it.

#include "bix/hostmacros_off.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <cxxabi.h>

#include "bix/export.h"
#include "bix/text.h"
#include "qv/objectinfo.h"

// As jni.h declares them, so that this header needs no JDK.
struct JNIEnv_;
typedef JNIEnv_ JNIEnv;
class _jobject;
typedef _jobject* jobject;
class _jstring;
typedef _jstring* jstring;

namespace qv {

/// The message of a caught bridge error: the caught pointer itself.
///
///   catch (const char* error) {
///     jniutils::ThrowJavaAPIErrorException(env, qv::GetAPIErrorMessage(error));
///   }
BIX_EXPORT const char* GetAPIErrorMessage(const char*& error);

}  // namespace qv

/// See the top of this file.
namespace jniutils {

/// Makes native objects that stand for Java objects which implement an interface of the model.
class ICppWrapperObjectCreator {
 public:
  /// Returns a native object that passes its calls on to `object`, or null. `object` is null
  /// when CreateNewWrappingCppObject is called for null.
  ///
  /// Owner: all are borrowed for the call; an object that keeps `object` makes a global reference
  ///   of it. What becomes of the result is between the creator and the caller of the bridge, which
  ///   neither adds nor gives up a reference.
  // CHOICE(java-creator-slot): the operation's name and parameters are this library's; what hosts
  // are compiled against is that it is the first. Test:
  // JavaInterfaceCompat.TheCreatorsFirstSlotMakesTheObject
  virtual qv::IUnknown* CreateWrapperObject(const char* interfaceName, JNIEnv* env,
                                            jobject object) = 0;  // slot 1

 protected:
  ~ICppWrapperObjectCreator() = default;
};

// ---- Java objects in general

/// The ordinal of an enum value.
///
/// Errors: 0 for null and for what is no enum value.
BIX_EXPORT int ConvertEnumToInt(JNIEnv* env, jobject e);

/// A new Java object, made by the constructor of that signature with the given arguments: each
/// exactly of the type that the signature says, such as `jlong` for "J".
///
///   CreateNewJavaObject(env, "java/lang/Long", "(J)V", jlong{7})
///
/// Errors: null when there is no such class or constructor; see above for what it throws.
BIX_EXPORT jobject CreateNewJavaObject(JNIEnv* env, const char* className,
                                       const char* ctorSignature, ...);

/// Whether the object is an instance of the class, a path such as "java/lang/Enum". Null is an
/// instance of every class, as a cast in Java has it.
///
/// Errors: false when there is no such class.
BIX_EXPORT bool IsInstanceOf(JNIEnv* env, jobject object, const char* className);

// ---- Errors

/// Throws a com/kestrane/vorn/APIError to Java, in place of a pending exception. Java sees it when
/// the native method returns.
///
/// Errors: nothing is pending when Java lacks the class or its constructor. What the constructor
///   throws, or that Java has no memory for the error, is pending in its place.
BIX_EXPORT void ThrowJavaAPIErrorException(JNIEnv* env, const std::string& message);

/// Called while a native exception is being handled: throws it to Java as an APIError.
///
///   const char*, std::string    the text itself
///   std::exception              what()
///   anything else               "Unknown error in native code"
BIX_EXPORT void ThrowNativeErrorToJava(JNIEnv* env) noexcept;

/// Runs the body of a native method, out of which no native exception may go: Java's machine would
/// end the process. One that does becomes an APIError, and the result is null, 0 or nothing. That a
/// thread is being cancelled is no exception.
template <class Function>
__attribute__((no_sanitize("null")))  // there is no object behind the reference to __forced_unwind
auto CallNative(JNIEnv* env, Function&& function) -> std::invoke_result_t<Function> {
  using Result = std::invoke_result_t<Function>;
  try {
    return std::forward<Function>(function)();
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (...) {
    ThrowNativeErrorToJava(env);
  }
  if constexpr (!std::is_void_v<Result>) return Result();
}

// ---- Strings

/// A new Java string from modified UTF-8, up to the first zero byte. For text that may hold
/// characters beyond U+FFFF, which have another form there, or zero bytes, use NewStringUTF8.
///
/// Errors: null when Java has no memory.
BIX_EXPORT jstring GetString(JNIEnv* env, const std::string& text);

/// The characters of a Java string in modified UTF-8: U+0000 is C0 80, and a character beyond U+FFFF
/// is two surrogates of three bytes each. GetStringUTF8 gives UTF-8 proper.
///
/// Errors: "" for null, and when Java has no memory.
BIX_EXPORT std::string GetString(JNIEnv* env, jstring string);

/// The same.
BIX_EXPORT std::string GetNarrowString(JNIEnv* env, jstring string);

/// A new Java string of exactly these UTF-16 units, also zero and single surrogates.
///
/// Errors: null, with Java's OutOfMemoryError pending, when there is no memory or the text has more
///   units than a Java string can have.
BIX_EXPORT jstring NewStringUTF16(JNIEnv* env, std::u16string_view text);

/// Exactly the UTF-16 units of a Java string.
///
/// Errors: "" for null; "" with Java's OutOfMemoryError pending when there is no memory.
BIX_EXPORT std::u16string GetStringUTF16(JNIEnv* env, jstring string);

/// A new Java string from UTF-8, with all its characters.
///
///   "\xF0\x9F\x98\x80"  => U+D83D U+DE00     one character beyond U+FFFF
///   "a\xFFz"            => U+0061 U+FFFD U+007A    bytes that are no UTF-8
///
/// Errors: as for NewStringUTF16.
BIX_EXPORT jstring NewStringUTF8(JNIEnv* env, std::string_view text);

/// All characters of a Java string in UTF-8. A single surrogate becomes U+FFFD.
///
/// Errors: as for GetStringUTF16.
BIX_EXPORT std::string GetStringUTF8(JNIEnv* env, jstring string);

/// A new Java string from wide text; an SString in whatever encoding goes through this. What is no
/// character becomes U+FFFD.
///
/// Errors: as for NewStringUTF16.
BIX_EXPORT jstring NewStringWide(JNIEnv* env, const bix::WString& text);

/// All characters of a Java string, one wide unit each. A single surrogate becomes U+FFFD.
///
/// Errors: as for GetStringUTF16.
BIX_EXPORT bix::WString GetStringWide(JNIEnv* env, jstring string);

// ---- Native objects in Java

/// The Java wrapper of a native object: an object of `className` made with the address, or the one
/// made for it earlier, if Java still has that. All interface pointers of one object share one
/// wrapper, whose address is that of the object's qv::IUnknown.
///
/// Owner: a new local reference. The wrapper does not keep the native object alive.
/// Errors: null for a null object, for one without qv::IUnknown, and when the wrapper cannot be
///   made; no wrapper is registered then.
/// Threads: the object is asked for its identity before the mutex is taken; the constructor runs
///   under it, so neither it nor what it calls may wrap or unregister objects.
BIX_EXPORT jobject CreateNewWrappingJavaObject(JNIEnv* env, const char* className,
                                               qv::IUnknown* object);

/// The same, for the class "com/kestrane/vorn/<name>Impl" after the first name that the object's
/// qv::IObjectInfo lists.
///
/// Errors: also null when it has no such information, or an empty list of names.
BIX_EXPORT jobject CreateNewWrappingJavaObject(JNIEnv* env, qv::IUnknown* object);

/// Forgets the wrapper of the native object behind `javaObject`, whichever wrapper of it that is;
/// the next request makes a new one. Called before the native object goes, and not for one that is
/// gone.
///
/// Errors: reports "Internal error: Attempt to unregister non-existing Java object!" on `bixerr`
///   when there is none; Java's OutOfMemoryError is pending when there is no memory to report it.
/// Threads: all of it happens under the mutex: the object's QueryInterface and Release and the
///   handler of `bixerr` may neither wrap nor unregister objects.
BIX_EXPORT void UnregisterJavaObject(JNIEnv* env, jobject javaObject);

/// The native object behind a Java object: the address of a wrapper, or else what
/// CreateNewWrappingCppObject makes for `interfaceName`. Without an interface name, a class path,
/// only a wrapper has one.
///
/// Owner: no reference is added.
/// Errors: null for a null object, for one that has no native object, and for a wrapper without the
///   field "address". Throws as CreateNewWrappingCppObject does.
BIX_EXPORT qv::IUnknown* GetIUnknownFromJavaObject(JNIEnv* env, jobject javaObject,
                                                   const char* interfaceName);

/// The interface of the native object behind a Java object.
template <class Interface>
Interface* GetInterfacePtr(JNIEnv* env, jobject javaObject, const char* interfaceName);

/// The native object's qv::IUnknown.
///
/// Owner: the result has a reference that the caller releases.
/// Errors: as for GetIUnknownFromJavaObject.
template <>
BIX_EXPORT qv::IUnknown* GetInterfacePtr<qv::IUnknown>(JNIEnv* env, jobject javaObject,
                                                       const char* interfaceName);

// ---- Java objects in native code

/// A native object for a Java object that implements `interfaceName`, a class path, made by the
/// creator registered for the part of it behind the last "/".
///
///   "com/kestrane/vorn/IListener"  => the creator of "IListener"
///
/// Errors: throws a bridge error, a `const char*` that stays valid as long as the library is loaded:
///   "Java object does not implement the expected interface <interfaceName>", or, when no creator is
///   registered, "Unable to pass Java object as interface <interfaceName>". Null when a null creator
///   is registered, when the creator returns that, and for an object that Java has collected. A null
///   object reaches the creator.
BIX_EXPORT qv::IUnknown* CreateNewWrappingCppObject(JNIEnv* env, jobject javaObject,
                                                    const char* interfaceName);

/// Registers the creator for an interface, in place of an earlier one.
///
/// Owner: the creator is borrowed until it is replaced or unregistered.
/// Threads: the creators have no lock; hosts register and unregister them while they start and
///   stop, before and after Java calls.
BIX_EXPORT void RegisterCppWrapperObjectCreator(const char* name,
                                                ICppWrapperObjectCreator* creator);

/// Takes the creator of an interface off, if there is one.
///
/// Threads: as for RegisterCppWrapperObjectCreator.
BIX_EXPORT void UnregisterCppWrapperObjectCreator(const char* name);

// ---- What is alive

/// How many wrappers there are, for tests that look for leaks. Hosts are compiled against the order
/// of these members.
struct WrapperCounts {
  std::size_t registered = 0;      // native objects that have a wrapper
  std::size_t live = 0;            // of these, how many Java has not collected
  std::uint64_t made = 0;          // wrappers made since the library was loaded
  std::uint64_t unregistered = 0;  // of these, how many were unregistered
};

/// Counts the wrappers. A host that has unregistered all its objects has none registered; what was
/// made and is neither registered nor unregistered has been collected and replaced.
///
/// Threads: takes the mutex; the cost is linear in the number of registered objects.
BIX_EXPORT WrapperCounts CountWrappers(JNIEnv* env);

}  // namespace jniutils

#include "bix/hostmacros_on.h"

#endif  // BIX_JAVABRIDGE_H_
