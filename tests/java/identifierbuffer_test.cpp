// Identifiers in a process, at a time and on a host that the test chooses.
//
// This program replaces getpid(), gettimeofday() and gethostid() of the whole process.

#include "java/identifiers.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include "bix/identifiers.h"

namespace {

pid_t s_processId = 0;
decltype(timeval::tv_sec) s_seconds = 0;
int s_hostIdCalls = 0;

}  // namespace

extern "C" {
pid_t getpid() noexcept {
  return s_processId != 0 ? s_processId : static_cast<pid_t>(syscall(SYS_getpid));
}
int gettimeofday(timeval* time, void* /*zone*/) noexcept {
  *time = {s_seconds, 999999};
  return 0;
}
// Negative, as it may be where it is derived from an address.
long gethostid() {
  ++s_hostIdCalls;
  return -2147483647L - 1;
}
}

namespace {

TEST(IdentifierBuffer, HoldsTheFourGroups) {
  s_processId = 4711;
  s_seconds = 1700000000;
  char buffer[40];
  std::fill(std::begin(buffer), std::end(buffer), '#');
  EXPECT_EQ(1, bix::impl::BixCreateGuid(buffer, 30));
  EXPECT_EQ("F6EjjjjymafEjjjjjY", std::string(buffer + 6, 18));
  EXPECT_EQ(std::string(6, '\0'), std::string(buffer + 24, 6)) << "the size is cleared";
  EXPECT_EQ('#', buffer[30]);
  s_processId = 0;
}

TEST(IdentifierBuffer, TimeIsCutToItsLowest32Bits) {
  s_seconds = static_cast<decltype(s_seconds)>((std::int64_t{1} << 32) + 1700000000);
  bix::SString id;
  bix::BixCreateGuid(id);
  EXPECT_EQ("jymafE", id.substr(12, 6));
  s_seconds = 1;
  bix::BixCreateGuid(id);
  EXPECT_EQ("Ejjjjj", id.substr(12, 6)) << "the time is asked for each time";
}

TEST(IdentifierBuffer, TheHostIdIsAskedForOnce) {
  bix::SString id;
  for (int i = 0; i < 100; ++i) bix::BixCreateGuid(id);
  EXPECT_EQ(1, s_hostIdCalls);
  EXPECT_EQ("jjjjjY", id.substr(18, 6));
}

}  // namespace
