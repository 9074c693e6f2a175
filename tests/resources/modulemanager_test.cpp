#include "bix/modulemanager.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bix/library.h"
#include "bix/stringtable.h"
#include "resources/resource_manager.h"
#include "support/recording_handler.h"

namespace bix_test {
namespace {

using bix::BixModuleManager;
using bix::BixResourceHandler;
using bix::CResourceManager;
using bix::IBixResourceHandler;
using bix::PvxGetPrefixedString;
using bix::SString;

constexpr unsigned kLast = 4294967295u;

/// Starts without ranges and handlers, and with a module of its own.
class ModuleManagerTest : public testing::Test {
 protected:
  ModuleManagerTest() : m_table(Module()) {
    CResourceManager::Instance().ranges.clear();
    CResourceManager::Instance().handlers.clear();
  }
  ~ModuleManagerTest() override {
    CResourceManager::Instance().handlers.clear();
    bix::BixSetResourceHandle(m_before);
  }

  HINSTANCE Module() { return reinterpret_cast<HINSTANCE>(&m_anchor); }

  static std::vector<std::string> Ranges() {
    std::vector<std::string> texts;
    for (const bix::SResourceRange& range : CResourceManager::Instance().ranges)
      texts.push_back(range.prefix + " " + std::to_string(range.low) + "-" +
                      std::to_string(range.high));
    return texts;
  }

  [[maybe_unused]] long m_anchor = 0;
  HINSTANCE const m_before = bix::BixGetResourceHandle();
  bix::SStringTable m_table;
  ScopedRecorder m_errors;
};

using Texts = std::vector<std::string>;

class ModuleRange : public ModuleManagerTest {};
class ModuleRangeCompat : public ModuleManagerTest {};
class ModuleHandler : public ModuleManagerTest {};
class ModuleHandlerCompat : public ModuleManagerTest {};
class ResourceHandler : public ModuleManagerTest {};
class ResourceHandlerCompat : public ModuleManagerTest {};

TEST(ModuleNumbers, ARangeIncludesItsEnds) {
  EXPECT_TRUE(bix::IsIDInRange(5, 5, 9));
  EXPECT_TRUE(bix::IsIDInRange(9, 5, 9));
  EXPECT_TRUE(bix::IsIDInRange(7, 7, 7));
  EXPECT_FALSE(bix::IsIDInRange(4, 5, 9));
  EXPECT_FALSE(bix::IsIDInRange(10, 5, 9));
  EXPECT_FALSE(bix::IsIDInRange(7, 9, 5));
  EXPECT_TRUE(bix::IsIDInRange(kLast, 0, kLast));
  EXPECT_TRUE(bix::IsIDInRange(0, 0, kLast));
}

TEST(ModuleNumbers, RangesOverlapWhenAnEndOfOneLiesInTheOther) {
  const struct {
    unsigned low1, high1, low2, high2;
    bool overlap;
  } cases[] = {
      {1, 5, 5, 9, true},  {5, 9, 1, 5, true},     {1, 9, 3, 4, true}, {3, 4, 1, 9, true},
      {1, 4, 5, 9, false}, {5, 9, 1, 4, false},    {7, 7, 7, 7, true}, {1, 9, 1, 9, true},
      {5, 1, 2, 3, false}, {5, 1, 4, 6, true},     {5, 1, 0, 2, true}, {2, 3, 5, 1, false},
      {6, 5, 6, 5, false}, {0, kLast, 7, 6, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.overlap, bix::DoRangesOverlap(c.low1, c.high1, c.low2, c.high2))
        << c.low1 << "-" << c.high1 << " " << c.low2 << "-" << c.high2;
  }
}

TEST_F(ModuleRange, AreAddedInTheirOrder) {
  EXPECT_TRUE(BixModuleManager::RegisterRange("B", 200, 299));
  EXPECT_TRUE(BixModuleManager::RegisterRange("A", 100, 150));
  EXPECT_TRUE(BixModuleManager::RegisterRange("", 0, 50));
  EXPECT_TRUE(BixModuleManager::RegisterRange("a", 300, kLast));
  EXPECT_EQ((Texts{"B 200-299", "A 100-150", " 0-50", "a 300-4294967295"}), Ranges());
}

TEST_F(ModuleRange, WithoutAPrefixOrWithItsEndsSwappedIsRefused) {
  EXPECT_FALSE(BixModuleManager::RegisterRange(nullptr, 1, 2));
  EXPECT_FALSE(BixModuleManager::RegisterRange("A", 2, 1));
  EXPECT_FALSE(BixModuleManager::RegisterRange("A", kLast, 0));
  EXPECT_EQ(Texts{}, Ranges());
}

TEST_F(ModuleRange, OfAnotherPrefixMustNotOverlap) {
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  const struct {
    unsigned low, high;
  } refused[] = {{150, 160}, {50, 101},  {198, 250}, {50, 250}, {100, 199},
                 {100, 101}, {199, 199}, {100, 100}, {150, 150}};
  for (const auto& c : refused) {
    EXPECT_FALSE(BixModuleManager::RegisterRange("XYZ", c.low, c.high)) << c.low << "-" << c.high;
  }
  EXPECT_EQ(Texts{"ABC 100-199"}, Ranges());
  EXPECT_TRUE(BixModuleManager::RegisterRange("XYZ", 200, 299));
  EXPECT_TRUE(BixModuleManager::RegisterRange("abc", 0, 99));
}

TEST_F(ModuleRangeCompat, OneEndNumberMayBeShared) {
  EXPECT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  EXPECT_TRUE(BixModuleManager::RegisterRange("XYZ", 199, 299));
  EXPECT_TRUE(BixModuleManager::RegisterRange("DEF", 50, 100));
  EXPECT_FALSE(BixModuleManager::RegisterRange("GHI", 298, 300));
  EXPECT_EQ((Texts{"ABC 100-199", "XYZ 199-299", "DEF 50-100"}), Ranges());
}

TEST_F(ModuleRangeCompat, RangesOfOneNumberAreInverted) {
  EXPECT_TRUE(BixModuleManager::RegisterRange("A", 7, 7));
  EXPECT_TRUE(BixModuleManager::RegisterRange("B", 7, 7));
  // The raised low end of such a range lies behind its high end, and counts.
  EXPECT_FALSE(BixModuleManager::RegisterRange("C", 7, 9));
  EXPECT_FALSE(BixModuleManager::RegisterRange("C", 5, 7));
  EXPECT_TRUE(BixModuleManager::RegisterRange("C", 8, 9));
}

TEST_F(ModuleRangeCompat, TheLastNumberWrapsAround) {
  EXPECT_TRUE(BixModuleManager::RegisterRange("A", 10, 20));
  EXPECT_FALSE(BixModuleManager::RegisterRange("B", kLast, kLast));
  CResourceManager::Instance().ranges.clear();
  EXPECT_TRUE(BixModuleManager::RegisterRange("B", kLast, kLast));
  EXPECT_FALSE(BixModuleManager::RegisterRange("A", 10, 20));
}

TEST_F(ModuleRangeCompat, OneMatchingEndIsARepetition) {
  EXPECT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  EXPECT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 250));
  EXPECT_TRUE(BixModuleManager::RegisterRange("ABC", 50, 199));
  EXPECT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  EXPECT_FALSE(BixModuleManager::RegisterRange("ABC", 101, 250));
  EXPECT_FALSE(BixModuleManager::RegisterRange("ABC", 500, 599));
  EXPECT_EQ(Texts{"ABC 100-199"}, Ranges());
}

TEST_F(ModuleRangeCompat, TheFirstRangeThatIsConcernedDecides) {
  ASSERT_TRUE(BixModuleManager::RegisterRange("XYZ", 300, 399));
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  ASSERT_TRUE(BixModuleManager::RegisterRange("DEF", 400, 499));
  // In the way of a range in front of the one that it repeats.
  EXPECT_FALSE(BixModuleManager::RegisterRange("ABC", 100, 350));
  // In the way of one behind it.
  EXPECT_TRUE(BixModuleManager::RegisterRange("XYZ", 300, 450));
  EXPECT_EQ(3u, Ranges().size());
}

TEST_F(ModuleHandler, AreFoundByTheirNumbersInTheirOrder) {
  BixResourceHandler first(100, 199);
  BixResourceHandler second(200, 299);
  EXPECT_EQ(nullptr, BixModuleManager::GetResourceHandler(100));
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(first));
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(second));
  EXPECT_EQ(&first, BixModuleManager::GetResourceHandler(100));
  EXPECT_EQ(&first, BixModuleManager::GetResourceHandler(199));
  EXPECT_EQ(&second, BixModuleManager::GetResourceHandler(200));
  EXPECT_EQ(&second, BixModuleManager::GetResourceHandler(299));
  EXPECT_EQ(nullptr, BixModuleManager::GetResourceHandler(99));
  EXPECT_EQ(nullptr, BixModuleManager::GetResourceHandler(300));
}

TEST_F(ModuleHandler, MustNotOverlap) {
  BixResourceHandler handler(100, 199);
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(handler));
  for (const auto& [low, high] : std::vector<std::pair<unsigned, unsigned>>{
           {199, 299}, {50, 100}, {150, 160}, {50, 250}, {100, 199}}) {
    const BixResourceHandler other(low, high);
    EXPECT_FALSE(BixModuleManager::RegisterResourceHandler(other)) << low << "-" << high;
  }
  EXPECT_EQ(1u, CResourceManager::Instance().handlers.size());
}

TEST_F(ModuleHandler, AreKeptWithTheirRange) {
  BixResourceHandler handler(100, 199);
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(handler));
  ASSERT_EQ(1u, CResourceManager::Instance().handlers.size());
  EXPECT_EQ(100u, CResourceManager::Instance().handlers[0].low);
  EXPECT_EQ(199u, CResourceManager::Instance().handlers[0].high);
}

TEST_F(ModuleHandler, AreFoundNoMoreOnceTheyAreUnregistered) {
  BixResourceHandler first(100, 199);
  BixResourceHandler second(200, 299);
  BixModuleManager::UnregisterResourceHandler(first);
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(first));
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(second));
  BixModuleManager::UnregisterResourceHandler(first);
  EXPECT_EQ(nullptr, BixModuleManager::GetResourceHandler(100));
  EXPECT_EQ(&second, BixModuleManager::GetResourceHandler(200));
  BixModuleManager::UnregisterResourceHandler(first);
  EXPECT_EQ(&second, BixModuleManager::GetResourceHandler(200));
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(first));
  EXPECT_EQ(&first, BixModuleManager::GetResourceHandler(100));
}

TEST_F(ModuleHandler, MayLeaveWhileTheyAreAsked) {
  class Leaving : public BixResourceHandler {
   public:
    using BixResourceHandler::BixResourceHandler;
    bool IsHandled(unsigned id) const override {
      BixModuleManager::UnregisterResourceHandler(*this);
      return BixResourceHandler::IsHandled(id);
    }
    void GetHandledRange(unsigned& low, unsigned& high) const override {
      if (m_isAsked) BixModuleManager::UnregisterResourceHandler(*this);
      m_isAsked = true;
      BixResourceHandler::GetHandledRange(low, high);
    }
    mutable bool m_isAsked = false;
  };
  const Leaving first(100, 199);
  const BixResourceHandler second(200, 299);
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(first));
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(second));
  EXPECT_EQ(&second, BixModuleManager::GetResourceHandler(200));
  EXPECT_EQ(nullptr, BixModuleManager::GetResourceHandler(100));
  BixModuleManager::UnregisterResourceHandler(second);

  first.m_isAsked = false;
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(first));
  const BixResourceHandler third(300, 399);
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(second)) << "asks the first, which leaves";
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(third));
  EXPECT_FALSE(BixModuleManager::RegisterResourceHandler(BixResourceHandler(250, 260)));
}

TEST_F(ModuleHandler, ANullEntryEndsTheSearch) {
  BixResourceHandler first(100, 199);
  BixResourceHandler second(200, 299);
  BixResourceHandler third(300, 399);
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(first));
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(second));
  CResourceManager::Instance().handlers.insert(CResourceManager::Instance().handlers.begin() + 1,
                                               {nullptr, 0, 0});
  EXPECT_EQ(&first, BixModuleManager::GetResourceHandler(100));
  EXPECT_EQ(nullptr, BixModuleManager::GetResourceHandler(200));
  EXPECT_FALSE(BixModuleManager::RegisterResourceHandler(third));
}

/// A host's handler whose range changes.
class ChangingHandler : public IBixResourceHandler {
 public:
  explicit ChangingHandler(std::vector<std::pair<unsigned, unsigned>> ranges)
      : m_ranges(std::move(ranges)) {}

  bool GetString(unsigned, SString&) const override { return false; }
  bool GetPrefixedString(unsigned id, SString& out) const override {
    out = "asked for " + std::to_string(id);
    return true;
  }
  /// The ranges in turn; the last one stays.
  void GetHandledRange(unsigned& low, unsigned& high) const override {
    low = m_ranges[m_next].first;
    high = m_ranges[m_next].second;
    if (m_next + 1 < m_ranges.size()) ++m_next;
  }
  bool IsHandled(unsigned id) const override { return id == 4711; }

 private:
  const std::vector<std::pair<unsigned, unsigned>> m_ranges;
  mutable std::size_t m_next = 0;
};

TEST_F(ModuleHandlerCompat, ARangeIsAskedForAtEachRegistration) {
  const ChangingHandler changing({{100, 199}, {200, 299}, {300, 399}});
  const BixResourceHandler former(100, 199);
  const BixResourceHandler current(300, 399);
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(changing));
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(former));
  EXPECT_FALSE(BixModuleManager::RegisterResourceHandler(current));
  // Neither counts when a number is looked for.
  EXPECT_EQ(&former, BixModuleManager::GetResourceHandler(100));
  EXPECT_EQ(nullptr, BixModuleManager::GetResourceHandler(300));
  EXPECT_EQ(&changing, BixModuleManager::GetResourceHandler(4711));
}

TEST_F(ModuleHandlerCompat, AnInvertedRangeKeepsAllOthersOut) {
  const BixResourceHandler inverted(20, 10);
  const BixResourceHandler other(500, 599);
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(inverted));
  EXPECT_FALSE(BixModuleManager::RegisterResourceHandler(other));
  EXPECT_FALSE(BixModuleManager::RegisterResourceHandler(inverted));
  BixModuleManager::UnregisterResourceHandler(inverted);
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(other));
}

TEST_F(ModuleHandlerCompat, TheSameHandlerTwiceFails) {
  const BixResourceHandler handler(100, 199);
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(handler));
  EXPECT_FALSE(BixModuleManager::RegisterResourceHandler(handler));
  BixModuleManager::UnregisterResourceHandler(handler);
  EXPECT_EQ(nullptr, BixModuleManager::GetResourceHandler(100));
}

TEST_F(ModuleHandlerCompat, TheSameHandlerWithAnotherRangeIsNotAddedAgain) {
  const ChangingHandler handler({{100, 199}, {200, 299}, {300, 399}});
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(handler));
  EXPECT_TRUE(BixModuleManager::RegisterResourceHandler(handler));
  BixModuleManager::UnregisterResourceHandler(handler);
  EXPECT_EQ(nullptr, BixModuleManager::GetResourceHandler(4711));
}

TEST_F(ResourceHandler, TellsItsRange) {
  const BixResourceHandler handler(100, 199);
  unsigned low = 0;
  unsigned high = 0;
  handler.GetHandledRange(low, high);
  EXPECT_EQ(100u, low);
  EXPECT_EQ(199u, high);
  EXPECT_TRUE(handler.IsHandled(100));
  EXPECT_TRUE(handler.IsHandled(199));
  EXPECT_FALSE(handler.IsHandled(99));
  EXPECT_FALSE(handler.IsHandled(200));
}

TEST_F(ResourceHandler, LoadsFromItsModule) {
  m_table.Add(105, "No such node.");
  BixResourceHandler handler(100, 199);
  handler.SetInstance(Module());
  SString out = "old";
  EXPECT_TRUE(handler.GetString(105, out));
  EXPECT_EQ("No such node.", out);
  EXPECT_EQ(m_before, bix::BixGetResourceHandle());
  EXPECT_EQ("", m_errors.Text());
}

TEST_F(ResourceHandler, WithoutAModuleNothingIsLoaded) {
  m_table.Add(105, "text");
  BixResourceHandler handler(100, 199);
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  SString out = "old";
  EXPECT_FALSE(handler.GetString(105, out));
  EXPECT_FALSE(handler.GetString(5, out));
  EXPECT_FALSE(handler.GetPrefixedString(105, out));
  handler.SetInstance(Module());
  handler.SetInstance(nullptr);
  EXPECT_FALSE(handler.GetString(105, out));
  EXPECT_EQ("old", out);
  EXPECT_EQ(m_before, bix::BixGetResourceHandle());
  EXPECT_EQ("", m_errors.Text());
}

TEST_F(ResourceHandler, AMissingTextIsReportedByTheLoading) {
  BixResourceHandler handler(100, 199);
  handler.SetInstance(Module());
  SString out = "old";
  EXPECT_FALSE(handler.GetString(105, out));
  EXPECT_EQ("old", out);
  EXPECT_EQ(m_before, bix::BixGetResourceHandle());
  const std::string report = m_errors.Text();
  const std::string end = ", 105): resource not found\n";
  ASSERT_GT(report.size(), end.size());
  EXPECT_EQ(end, report.substr(report.size() - end.size()));
}

TEST_F(ResourceHandlerCompat, AnEmptyTextIsAFailure) {
  m_table.Add(105, "");
  BixResourceHandler handler(100, 199);
  handler.SetInstance(Module());
  SString out = "old";
  EXPECT_FALSE(handler.GetString(105, out));
  EXPECT_EQ("", out);
  EXPECT_EQ(m_before, bix::BixGetResourceHandle());
  EXPECT_EQ("", m_errors.Text());
}

TEST_F(ResourceHandlerCompat, AnUnhandledNumberLeavesTheHandleSwitched) {
  m_table.Add(205, "text");
  BixResourceHandler handler(100, 199);
  handler.SetInstance(Module());
  SString out = "old";
  EXPECT_FALSE(handler.GetString(205, out));
  EXPECT_EQ("old", out);
  EXPECT_EQ(Module(), bix::BixGetResourceHandle());

  bix::BixSetResourceHandle(m_before);
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 299));
  EXPECT_FALSE(handler.GetPrefixedString(205, out));
  EXPECT_EQ(Module(), bix::BixGetResourceHandle());
  EXPECT_EQ("", m_errors.Text());
}

TEST_F(ResourceHandler, LabelsATextWithPrefixAndOffset) {
  m_table.Add(100, "first");
  m_table.Add(105, "No such node.");
  m_table.Add(199, "100% %s %d");
  BixResourceHandler handler(100, 199);
  handler.SetInstance(Module());
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  const struct {
    unsigned id;
    const char* want;
  } cases[] = {
      {100, "ABC0000: first"}, {105, "ABC0005: No such node."}, {199, "ABC0099: 100% %s %d"}};
  for (const auto& c : cases) {
    SString out = "old";
    EXPECT_TRUE(handler.GetPrefixedString(c.id, out));
    EXPECT_EQ(c.want, out);
  }
  EXPECT_EQ(m_before, bix::BixGetResourceHandle());
}

TEST_F(ResourceHandler, AnOffsetHasFourDigitsOrMore) {
  m_table.Add(9999, "a");
  m_table.Add(10000, "b");
  m_table.Add(1234567, "c");
  BixResourceHandler handler(0, 2000000);
  handler.SetInstance(Module());
  ASSERT_TRUE(BixModuleManager::RegisterRange("100%s", 0, 2000000));
  SString out;
  EXPECT_TRUE(handler.GetPrefixedString(9999, out));
  EXPECT_EQ("100%s9999: a", out);
  EXPECT_TRUE(handler.GetPrefixedString(10000, out));
  EXPECT_EQ("100%s10000: b", out);
  EXPECT_TRUE(handler.GetPrefixedString(1234567, out));
  EXPECT_EQ("100%s1234567: c", out);
}

TEST_F(ResourceHandlerCompat, ThePrefixIsThatOfTheHandlersWholeRange) {
  m_table.Add(155, "text");
  BixResourceHandler handler(150, 250);
  handler.SetInstance(Module());
  // The number lies in the first range, the handler in the second only, which begins in front.
  ASSERT_TRUE(BixModuleManager::RegisterRange("A", 100, 199));
  CResourceManager::Instance().ranges.push_back({120, 300, "B"});
  CResourceManager::Instance().ranges.push_back({150, 250, "C"});
  SString out;
  EXPECT_TRUE(handler.GetPrefixedString(155, out));
  EXPECT_EQ("B0035: text", out);
}

TEST_F(ResourceHandler, WithoutARangeThereIsNoPrefixedText) {
  m_table.Add(105, "text");
  BixResourceHandler handler(100, 199);
  handler.SetInstance(Module());
  SString out = "old";
  EXPECT_FALSE(handler.GetPrefixedString(105, out));
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 101, 300));
  EXPECT_FALSE(handler.GetPrefixedString(105, out));
  EXPECT_EQ("old", out);
  EXPECT_EQ(m_before, bix::BixGetResourceHandle());
}

TEST_F(ResourceHandler, ANumberInFrontOfTheRangeHasNoPrefixedText) {
  BixResourceHandler handler(100, 199);
  handler.SetInstance(Module());
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  SString out = "old";
  EXPECT_FALSE(handler.GetPrefixedString(99, out));
  EXPECT_EQ("old", out);
  EXPECT_EQ(m_before, bix::BixGetResourceHandle()) << "GetString has not been called";
}

/// Has texts of its own.
class OwnTextHandler : public BixResourceHandler {
 public:
  using BixResourceHandler::BixResourceHandler;
  bool GetString(unsigned id, SString& out) const override {
    out = "own text " + std::to_string(id);
    return id != 107;
  }
};

TEST_F(ResourceHandler, LabelsWhatAnOverriddenGetStringLoads) {
  OwnTextHandler handler(100, 199);
  handler.SetInstance(Module());
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  SString out;
  EXPECT_TRUE(handler.GetPrefixedString(105, out));
  EXPECT_EQ("ABC0005: own text 105", out);
  EXPECT_FALSE(handler.GetPrefixedString(107, out));
  EXPECT_EQ("own text 107", out);
}

TEST_F(ResourceHandler, WithoutAModuleAnOverriddenGetStringIsNotAsked) {
  const OwnTextHandler handler(100, 199);
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  SString out = "old";
  EXPECT_FALSE(handler.GetPrefixedString(105, out));
  EXPECT_EQ("old", out);
}

/// Takes one number beyond its range for its own.
class WiderHandler : public BixResourceHandler {
 public:
  using BixResourceHandler::BixResourceHandler;
  bool IsHandled(unsigned id) const override {
    return id == 4711 || BixResourceHandler::IsHandled(id);
  }
};

TEST_F(ResourceHandler, AsksAnOverriddenIsHandled) {
  m_table.Add(4711, "text");
  WiderHandler handler(100, 199);
  handler.SetInstance(Module());
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(handler));
  SString out;
  EXPECT_TRUE(handler.GetString(4711, out));
  EXPECT_EQ("text", out);
  // The range is that of the handler, the number may lie behind it.
  EXPECT_TRUE(PvxGetPrefixedString(4711, out));
  EXPECT_EQ("ABC4611: text", out);
}

TEST_F(ResourceHandler, ATextIsFoundByItsNumberAlone) {
  m_table.Add(105, "No such node.");
  BixResourceHandler handler(100, 199);
  handler.SetInstance(Module());
  const ChangingHandler host({{5000, 5999}});
  SString out = "old";
  EXPECT_FALSE(PvxGetPrefixedString(105, out));
  ASSERT_TRUE(BixModuleManager::RegisterRange("ABC", 100, 199));
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(handler));
  ASSERT_TRUE(BixModuleManager::RegisterResourceHandler(host));
  EXPECT_FALSE(PvxGetPrefixedString(99, out));
  EXPECT_EQ("old", out);
  EXPECT_TRUE(PvxGetPrefixedString(105, out));
  EXPECT_EQ("ABC0005: No such node.", out);
  EXPECT_TRUE(PvxGetPrefixedString(4711, out));
  EXPECT_EQ("asked for 4711", out);
  EXPECT_EQ("", m_errors.Text());
}

/// Tells when it ends.
class EndingHandler : public BixResourceHandler {
 public:
  explicit EndingHandler(bool& hasEnded) : BixResourceHandler(1, 2), m_hasEnded(hasEnded) {}
  ~EndingHandler() override { m_hasEnded = true; }

 private:
  bool& m_hasEnded;
};

TEST_F(ResourceHandler, MayBeDeletedThroughItsOwnClass) {
  bool hasEnded = false;
  std::unique_ptr<BixResourceHandler> handler = std::make_unique<EndingHandler>(hasEnded);
  handler.reset();
  EXPECT_TRUE(hasEnded);
}

}  // namespace
}  // namespace bix_test
