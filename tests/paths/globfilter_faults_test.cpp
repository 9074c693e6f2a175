// What happens to a filter when there is no memory, or when the engine takes an expression once and
// then refuses it.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "bix/globfilter.h"
#include "paths/compiled_filter.h"

namespace bix_test {
namespace {

// Of this thread: 1 is the next allocation or compilation; 0 for none.
thread_local std::size_t s_failingAllocation = 0;
thread_local std::size_t s_failingCompilation = 0;

bool IsTurn(std::size_t& counter) { return counter != 0 && --counter == 0; }

}  // namespace
}  // namespace bix_test

void* operator new(std::size_t size) {
  if (bix_test::IsTurn(bix_test::s_failingAllocation)) throw std::bad_alloc();
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

// The engine's own functions, in place of those of the shared library.
extern "C" {

struct real_pcre8_or_16;
[[gnu::visibility("default")]] real_pcre8_or_16* pcre_compile(const char* pattern, int options,
                                                              const char** errorText,
                                                              int* errorOffset,
                                                              const unsigned char* tables) {
  if (bix_test::IsTurn(bix_test::s_failingCompilation)) {
    *errorText = "refused";
    *errorOffset = 0;
    return nullptr;
  }
  static const auto real =
      reinterpret_cast<decltype(&pcre_compile)>(dlsym(RTLD_NEXT, "pcre_compile"));
  return real(pattern, options, errorText, errorOffset, tables);
}

struct pcre2_real_code_8;
struct pcre2_real_compile_context_8;
[[gnu::visibility("default")]] pcre2_real_code_8* pcre2_compile_8(
    const unsigned char* pattern, std::size_t length, std::uint32_t options, int* error,
    std::size_t* offset, pcre2_real_compile_context_8* context) {
  if (bix_test::IsTurn(bix_test::s_failingCompilation)) {
    *error = 101;
    *offset = 0;
    return nullptr;
  }
  static const auto real =
      reinterpret_cast<decltype(&pcre2_compile_8)>(dlsym(RTLD_NEXT, "pcre2_compile_8"));
  return real(pattern, length, options, error, offset, context);
}
}

// What the C++ interface of the engine has compiled is lost when it cannot allocate a text.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:pcre_compile2\n"; }

namespace bix_test {
namespace {

using bix::BixGlob;
using bix::SString;

/// How often the engine compiles to take an expression.
constexpr std::size_t kCompilations = std::string_view(BIX_TEST_REGEX) == "pcrecpp" ? 2 : 1;

TEST(GlobFilterWithoutMemory, AFailedStepNamesTheTextSoFar) {
  bix::UTF8String text("one.two.three.four.five.six");
  SString error;
  s_failingAllocation = 1;
  EXPECT_FALSE(bix::impl::ReplaceSubString(text, ".", "\\.", error));
  EXPECT_EQ(0u, s_failingAllocation);
  EXPECT_EQ("The filter 'one.two.three.four.five.six' is invalid.\nstd::bad_alloc", error);
  EXPECT_EQ("one.two.three.four.five.six", text);
}

TEST(GlobFilterWithoutMemory, NothingThrowsWhicheverAllocationFails) {
  for (const char* filter : {"a*(b)[c]*.a long filter of text.tot", "a{2}.a long filter.tot"}) {
    SCOPED_TRACE(filter);
    bool hasWorked = false;
    std::size_t failures = 0;
    for (std::size_t number = 1; !hasWorked; ++number) {
      ASSERT_LT(number, 1000u);
      bix::impl::FilterCache::Use(bix::impl::Filters(), filter).Keep(nullptr);
      SString error;
      bool isValid = false;
      s_failingAllocation = number;
      EXPECT_NO_THROW(isValid = BixGlob::IsGlobValid(filter, error));
      hasWorked = s_failingAllocation != 0;
      s_failingAllocation = 0;
      EXPECT_EQ(hasWorked, isValid);
      EXPECT_EQ(hasWorked, error.empty()) << error;
      failures += !hasWorked;
    }
    EXPECT_GT(failures, 3u);
  }
}

TEST(GlobFilterEngine, AFilterThatIsRefusedWhenItIsValidatedIsInvalid) {
  SString error;
  s_failingCompilation = 1;
  EXPECT_FALSE(BixGlob::IsAMatch("b{3}", "bbb", error));
  s_failingCompilation = 0;
  EXPECT_EQ(0u, error.find("The filter 'b{3}' is invalid.\n")) << error;
  EXPECT_TRUE(BixGlob::IsAMatch("b{3}", "bbb", error));
}

TEST(GlobFilterEngine, AFilterThatIsRefusedOnlyForMatchingIsAnInternalError) {
  SString error;
  s_failingCompilation = kCompilations + 1;
  EXPECT_FALSE(BixGlob::IsAMatch("c{3}", "ccc", error));
  s_failingCompilation = 0;
  EXPECT_EQ(0u, error.find("BixGlob: internal error.\nThe filter 'c{3}' is invalid.\n")) << error;
  EXPECT_TRUE(BixGlob::IsAMatch("c{3}", "ccc", error));
  EXPECT_EQ("", error);
}

TEST(GlobFilterEngine, IsNotAskedAgainForAFilterThatRepeats) {
  SString error;
  EXPECT_TRUE(BixGlob::IsAMatch("d{3}", "ddd", error));
  s_failingCompilation = 1;
  EXPECT_TRUE(BixGlob::IsAMatch("d{3}", "ddd", error));
  EXPECT_FALSE(BixGlob::IsAMatch("d{3}", "dd", error));
  EXPECT_TRUE(BixGlob::IsGlobValid("d{3}", error));
  EXPECT_EQ(1u, s_failingCompilation);
  s_failingCompilation = 0;
}

}  // namespace
}  // namespace bix_test
