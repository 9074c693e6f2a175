#include "bix/identifiers.h"

#include <cstdint>
#include <ctime>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/program.h"

namespace {

using bix_test::Program;
using bix_test::ProgramResult;

std::string Encoded(unsigned long value) {
  char text[8] = "......#";
  bix::Encode64(value, text);
  EXPECT_EQ('#', text[6]) << "six characters, no terminator";
  return std::string(text, 6);
}

/// The number that six characters stand for.
std::uint32_t Decoded(const std::string& characters) {
  const std::string alphabet = "jEYryQbHl649DwZSu5kvadANT-RnUpOXI3Vg2fiFJ0hPCGMoc7z8LWK*1qtxseBm";
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < characters.size(); ++i)
    value |= std::uint64_t{alphabet.find(characters[i])} << (6 * i);
  EXPECT_LT(value, std::uint64_t{1} << 32) << characters;
  return static_cast<std::uint32_t>(value);
}

TEST(Encode64, WritesSixCharacters) {
  const struct {
    unsigned long value;
    const char* want;
  } cases[] = {{0, "jjjjjj"},          {1, "Ejjjjj"},          {63, "mjjjjj"},
               {64, "jEjjjj"},         {4711, "F6Ejjj"},       {1700000000, "jymafE"},
               {0x12345678, "1-Qwkj"}, {0x80000000, "jjjjjY"}, {0xFFFFFFFF, "mmmmmr"}};
  for (const auto& c : cases) EXPECT_EQ(c.want, Encoded(c.value)) << c.value;
}

TEST(Encode64, HasACharacterOfItsOwnForEverySixBits) {
  std::string all;
  for (unsigned long value = 0; value < 64; ++value) all += Encoded(value)[0];
  EXPECT_EQ("jEYryQbHl649DwZSu5kvadANT-RnUpOXI3Vg2fiFJ0hPCGMoc7z8LWK*1qtxseBm", all);
}

TEST(Encode64Compat, TheLowestBitsComeFirst) {
  for (int shift = 0; shift < 32; ++shift) {
    std::string want = "jjjjjj";
    want[static_cast<std::size_t>(shift / 6)] = "EYyluI"[shift % 6];
    EXPECT_EQ(want, Encoded(1ul << shift)) << shift;
  }
}

TEST(Encode64, TakesTheLowest32BitsOfWiderNumbers) {
  EXPECT_EQ("mmmmmr", Encoded(static_cast<unsigned long>(-1L)));
  EXPECT_EQ("jjjjjY", Encoded(static_cast<unsigned long>(std::int32_t{-2147483647 - 1})))
      << "a negative number, as host ids may be";
}

struct Line {
  long processId = 0;
  std::string identifier;
};

/// What the program that prints identifiers printed.
std::vector<Line> Lines(const ProgramResult& result) {
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("", result.errors);
  std::vector<Line> lines;
  std::istringstream output(result.output);
  for (Line line; output >> line.processId >> line.identifier;) lines.push_back(line);
  return lines;
}

TEST(Identifier, IsMadeOfCountProcessTimeAndHost) {
  const std::time_t before = std::time(nullptr);
  const ProgramResult result = Program(BIX_IDENTIFY).Run();
  const std::time_t after = std::time(nullptr);
  const std::vector<Line> lines = Lines(result);
  ASSERT_EQ(2u, lines.size());
  for (std::size_t i = 0; i < 2; ++i) {
    const std::string& id = lines[i].identifier;
    ASSERT_EQ(24u, id.size());
    EXPECT_EQ(i == 0 ? "jjjjjj" : "Ejjjjj", id.substr(0, 6));
    EXPECT_EQ(result.pid, lines[i].processId);
    EXPECT_EQ(static_cast<std::uint32_t>(result.pid), Decoded(id.substr(6, 6)));
    EXPECT_LE(static_cast<std::uint32_t>(before), Decoded(id.substr(12, 6)));
    EXPECT_GE(static_cast<std::uint32_t>(after), Decoded(id.substr(12, 6)));
    EXPECT_EQ(static_cast<std::uint32_t>(gethostid()), Decoded(id.substr(18, 6)));
  }
}

TEST(IdentifierCompat, AForkedChildGoesOnCounting) {
  const std::vector<Line> lines = Lines(Program(BIX_IDENTIFY, {"fork"}).Run());
  ASSERT_EQ(4u, lines.size());
  const Line& child = lines[2];
  const Line& parent = lines[3];
  EXPECT_EQ("Yjjjjj", child.identifier.substr(0, 6));
  EXPECT_EQ("Yjjjjj", parent.identifier.substr(0, 6));
  EXPECT_NE(parent.processId, child.processId);
  EXPECT_EQ(static_cast<std::uint32_t>(child.processId), Decoded(child.identifier.substr(6, 6)));
  EXPECT_EQ(static_cast<std::uint32_t>(parent.processId), Decoded(parent.identifier.substr(6, 6)));
}

TEST(Identifier, ThreadsGetDifferentOnes) {
  constexpr std::size_t kEach = 5000;
  std::vector<std::vector<std::string>> made(4);
  std::vector<std::thread> makers;
  for (std::vector<std::string>& own : made) {
    makers.emplace_back([&own] {
      for (std::size_t i = 0; i < kEach; ++i) {
        bix::SString id;
        bix::BixCreateGuid(id);
        own.push_back(id);
      }
    });
  }
  for (std::thread& maker : makers) maker.join();
  std::set<std::string> counts, hosts;
  for (const std::vector<std::string>& own : made) {
    for (const std::string& id : own) {
      counts.insert(id.substr(0, 6));
      hosts.insert(id.substr(18, 6));
    }
  }
  EXPECT_EQ(4 * kEach, counts.size());
  EXPECT_EQ(std::set<std::string>{Encoded(static_cast<unsigned long>(gethostid()))}, hosts);
}

TEST(Identifier, ReplacesTheText) {
  bix::SString first = "what was there before, and longer than an identifier";
  bix::SString second;
  bix::BixCreateGuid(first);
  bix::BixCreateGuid(second);
  EXPECT_EQ(24, first.GetLength());
  EXPECT_EQ(24, second.GetLength());
  EXPECT_EQ(Decoded(first.substr(0, 6)) + 1, Decoded(second.substr(0, 6)));
}

}  // namespace
