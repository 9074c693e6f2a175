// A host whose wide characters have 16 bits. It has the library's other texts, and cannot hand it
// wide text by accident: neither the library nor the standard library would read it right.

#include "bix/bix.h"

#include <type_traits>

static_assert(sizeof(wchar_t) == 2, "compiled with -fshort-wchar");

namespace {

template <class Type, class = void>
struct IsDefined : std::false_type {};
template <class Type>
struct IsDefined<Type, decltype(void(sizeof(Type)))> : std::true_type {};

static_assert(!BIX_WIDE_TEXT, "declared all the same");
static_assert(!IsDefined<bix::WString>(), "wide text");
static_assert(!std::is_constructible_v<bix::UTF8String, const wchar_t*>, "from wide text");
static_assert(!std::is_constructible_v<bix::SString, const wchar_t*>, "from wide text");
static_assert(!std::is_assignable_v<bix::UTF8String&, const wchar_t*>, "from wide text");
static_assert(!std::is_assignable_v<bix::SString&, const wchar_t*>, "from wide text");

static_assert(IsDefined<bix::ANSIString>(), "bytes");
static_assert(std::is_constructible_v<bix::SString, const char*>, "from bytes");

}  // namespace

namespace bix_test {

int FormatWithShortWideCharacters(bix::SString& out) { return out.Format("%d%s", 1, "ab"); }

}  // namespace bix_test
