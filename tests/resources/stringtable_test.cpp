#include "bix/stringtable.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bix/library.h"
#include "bix/messages.h"
#include "support/program.h"
#include "support/recording_handler.h"
#include "support/scoped_environment.h"

namespace {

using bix::BixhDllInstance;
using bix::BixLoadString;
using bix::SString;
using bix::SStringTable;
using bix_test::ScopedRecorder;
using bix_test::ScopedVariable;

/// A module handle of the test's own.
class Module {
 public:
  HINSTANCE Handle() { return bix::GetDllHandle(reinterpret_cast<HINSTANCE>(this)); }
  std::string Shown() { return std::to_string(reinterpret_cast<long>(this)); }

 private:
  [[maybe_unused]] long m_anchor = 0;
};

std::string Address(const void* object) { return std::to_string(reinterpret_cast<long>(object)); }

/// Replaces the source position in reports, which is the library's own, by "<at>".
std::string WithoutPlace(std::string text) {
  for (std::size_t begin = text.find("file "); begin != std::string::npos;
       begin = text.find("file ", begin + 1)) {
    const std::size_t line = text.find(", line ", begin);
    if (line == std::string::npos) break;
    const std::size_t end = text.find_first_not_of("0123456789", line + 7);
    const std::string file = text.substr(begin + 5, line - begin - 5);
    EXPECT_FALSE(file.empty());
    EXPECT_EQ(std::string::npos, file.find('/')) << "no path of the machine it was built on";
    EXPECT_GT(end, line + 7) << "a line number";
    text.replace(begin, end - begin, "<at>");
  }
  return text;
}

TEST(StringTable, KeepsTextsByNumber) {
  Module module;
  SStringTable table(module.Handle());
  EXPECT_EQ(nullptr, table.GetString(1));
  const char* const text = "one";
  table.Add(1, text);
  table.Add(0, "zero");
  table.Add(4294967295u, "last");
  EXPECT_EQ(text, table.GetString(1)) << "the text itself, not a copy";
  EXPECT_STREQ("zero", table.GetString(0));
  EXPECT_STREQ("last", table.GetString(4294967295u));
  table.Add(1, "uno");
  EXPECT_STREQ("uno", table.GetString(1));
  EXPECT_EQ(nullptr, table.GetString(2));
}

TEST(StringTable, CopiesIntoABuffer) {
  Module module;
  SStringTable table(module.Handle());
  table.Add(1, "abcdef");
  table.Add(2, "");
  const struct {
    unsigned id;
    int size;
    int want;
    const char* stored;
  } cases[] = {{1, 100, 7, "abcdef"}, {1, 8, 7, "abcdef"}, {1, 7, 7, "abcdef"},
               {1, 6, 6, "abcde"},    {1, 4, 4, "abc"},    {1, 1, 1, ""},
               {2, 100, 1, ""},       {2, 1, 1, ""},       {3, 100, -1, nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.id) + " into " + std::to_string(c.size));
    std::string buffer(101, '#');
    EXPECT_EQ(c.want, table.GetString(c.id, buffer.data(), c.size));
    const std::size_t written = c.stored != nullptr ? std::string(c.stored).size() + 1 : 0;
    EXPECT_STREQ(c.stored != nullptr ? c.stored : std::string(101, '#').c_str(), buffer.c_str());
    EXPECT_EQ(std::string(101 - written, '#'), buffer.substr(written)) << "nothing behind it";
  }
}

TEST(StringTableCompat, TheTerminatorCountsOnlyWithABuffer) {
  Module module;
  SStringTable table(module.Handle());
  table.Add(1, "abcdef");
  char buffer[100];
  EXPECT_EQ(7, table.GetString(1, buffer, 100));
  for (int size : {100, 4, 0, -1}) EXPECT_EQ(6, table.GetString(1, nullptr, size)) << size;
  EXPECT_EQ(-1, table.GetString(2, nullptr, 100));
}

TEST(StringTableCompat, WithoutRoomNothingIsWritten) {
  Module module;
  SStringTable table(module.Handle());
  table.Add(1, "abcdef");
  std::string buffer(9, '#');
  EXPECT_EQ(0, table.GetString(1, buffer.data() + 4, 0));
  EXPECT_EQ(-7, table.GetString(1, buffer.data() + 4, -7));
  EXPECT_EQ(std::string(9, '#'), buffer);
}

TEST(StringTableCompat, ASecondTableReplacesTheFirstForGood) {
  Module module;
  SString text;
  ScopedRecorder reports;
  SStringTable first(module.Handle());
  first.Add(1, "first");
  {
    SStringTable second(module.Handle());
    second.Add(1, "second");
    EXPECT_EQ(6, BixLoadString(module.Handle(), 1, text));
    EXPECT_EQ("second", text);
    EXPECT_STREQ("first", first.GetString(1)) << "replaced, not deleted";
  }
  EXPECT_EQ("", reports.Text());
  EXPECT_EQ(0, BixLoadString(module.Handle(), 1, text)) << "the first does not come back";
  EXPECT_EQ("Internal error: <at>: BixLoadString(" + module.Shown() + ", 1): handle not found\n",
            WithoutPlace(reports.Text()));
}

TEST(StringTable, DeletingAReplacedTableChangesNothing) {
  Module module;
  auto first = std::make_unique<SStringTable>(module.Handle());
  SStringTable second(module.Handle());
  second.Add(1, "second");
  first.reset();
  SString text;
  EXPECT_EQ(6, BixLoadString(module.Handle(), 1, text));
}

TEST(StringTable, ModulesHaveTablesOfTheirOwn) {
  // Enough of them to share buckets of the registry.
  std::vector<Module> modules(100);
  std::vector<std::unique_ptr<SStringTable>> tables;
  std::vector<std::string> texts(modules.size());
  for (std::size_t i = 0; i < modules.size(); ++i) {
    texts[i] = "text of " + std::to_string(i);
    tables.push_back(std::make_unique<SStringTable>(modules[i].Handle()));
    tables[i]->Add(1, texts[i].c_str());
  }
  for (std::size_t i = 0; i < modules.size(); i += 2) tables[i].reset();
  for (std::size_t i = 0; i < modules.size(); ++i) {
    SString text;
    EXPECT_EQ(i % 2 != 0, bix::LoadStringA(modules[i].Handle(), 1, text));
    EXPECT_EQ(i % 2 != 0 ? texts[i] : "", text);
  }
}

TEST(LoadString, FindsTheLibrarysOwnTexts) {
  ScopedRecorder reports;
  SString text;
  EXPECT_EQ(11, BixLoadString(BixhDllInstance, 8, text));
  EXPECT_EQ("My Projects", text);
  EXPECT_EQ(BixhDllInstance, bix::BixGetResourceHandle());
  EXPECT_EQ("", reports.Text());
}

TEST(LoadString, ReportsWhatIsMissing) {
  Module module;
  SString text("as it was");
  ScopedRecorder reports;
  EXPECT_EQ(0, BixLoadString(module.Handle(), 7, text));
  EXPECT_EQ("Internal error: <at>: BixLoadString(" + module.Shown() + ", 7): handle not found\n",
            WithoutPlace(reports.Text()));
  SStringTable table(module.Handle());
  reports.messages.clear();
  EXPECT_EQ(0, BixLoadString(module.Handle(), 17, text));
  EXPECT_EQ("Internal error: <at>: BixLoadString(" + module.Shown() + ", 17): resource not found\n",
            WithoutPlace(reports.Text()));
  EXPECT_EQ(1u, reports.messages.size()) << "one report in one message";
  EXPECT_EQ("as it was", text);
}

TEST(LoadString, TheNullHandleIsAKeyLikeOthers) {
  SString text;
  {
    SStringTable table(nullptr);
    table.Add(1, "of no module");
    EXPECT_EQ(12, BixLoadString(nullptr, 1, text));
  }
  ScopedRecorder reports;
  EXPECT_EQ(0, BixLoadString(nullptr, 1, text));
  EXPECT_EQ("Internal error: <at>: BixLoadString(0, 1): handle not found\n",
            WithoutPlace(reports.Text()));
}

TEST(LoadStringCompat, AnEmptyTextReadsAsAFailure) {
  Module module;
  SStringTable table(module.Handle());
  table.Add(1, "");
  ScopedRecorder reports;
  SString text("before");
  EXPECT_EQ(0, BixLoadString(module.Handle(), 1, text));
  EXPECT_EQ("", text) << "assigned all the same";
  EXPECT_EQ("", reports.Text()) << "and not reported";
}

TEST(LoadString, TheBufferFormsReportNothing) {
  Module module;
  ScopedRecorder reports;
  char buffer[4] = "###";
  EXPECT_EQ(0, BixLoadString(module.Handle(), 1, buffer, 4)) << "no table";
  SStringTable table(module.Handle());
  EXPECT_EQ(-1, BixLoadString(module.Handle(), 1, buffer, 4)) << "no such text";
  EXPECT_STREQ("###", buffer);
  table.Add(1, "abcdef");
  EXPECT_EQ(4, BixLoadString(module.Handle(), 1, buffer, 4));
  EXPECT_STREQ("abc", buffer);
  EXPECT_EQ(6, BixLoadString(module.Handle(), 1, nullptr, 0));
  EXPECT_EQ("", reports.Text());
}

TEST(LoadString, TheFormWithoutAModuleUsesTheCurrentHandle) {
  Module module;
  SStringTable table(module.Handle());
  table.Add(8, "mine");
  char buffer[100];
  EXPECT_EQ(12, BixLoadString(8, buffer, 100));
  EXPECT_STREQ("My Projects", buffer);
  bix::BixSetResourceHandle(module.Handle());
  EXPECT_EQ(5, BixLoadString(8, buffer, 100));
  EXPECT_STREQ("mine", buffer);
  bix::BixSetResourceHandle(BixhDllInstance);
}

TEST(LoadString, TheBoolFormLoadsTextsOfEveryLength) {
  Module module;
  SStringTable table(module.Handle());
  for (const std::size_t length :
       {1u, 255u, 256u, 508u, 509u, 510u, 511u, 512u, 513u, 767u, 768u, 769u, 1024u, 100000u}) {
    SCOPED_TRACE(length);
    const std::string want(length, 'x');
    table.Add(1, want.c_str());
    SString text;
    EXPECT_TRUE(bix::LoadStringA(module.Handle(), 1, text));
    EXPECT_EQ(want, text);
    table.Add(1, "");
  }
}

TEST(LoadStringCompat, TheBoolFormIsSilentAndTakesAnEmptyText) {
  Module module;
  ScopedRecorder reports;
  SString text("before");
  EXPECT_FALSE(bix::LoadStringA(module.Handle(), 1, text)) << "no table";
  SStringTable table(module.Handle());
  EXPECT_FALSE(bix::LoadStringA(module.Handle(), 1, text)) << "no such text";
  EXPECT_EQ("before", text);
  table.Add(1, "");
  EXPECT_TRUE(bix::LoadStringA(module.Handle(), 1, text));
  EXPECT_EQ("", text);
  EXPECT_EQ("", reports.Text());
}

TEST(LoadString, AsksTheHookForModulesWithoutTable) {
  Module module;
  ScopedRecorder reports;
  ASSERT_EQ(nullptr, bix::pBixLoadStringMFC) << "null unless a host sets it";
  bix::pBixLoadStringMFC = [](HINSTANCE, unsigned id, SString& out) {
    out = "from the host";
    return static_cast<int>(id) + 40;
  };
  SString text;
  const int fromHook = BixLoadString(module.Handle(), 2, text);
  const std::string hookText = text;
  char buffer[10];
  const int buffered = BixLoadString(module.Handle(), 2, buffer, 10);
  SStringTable table(module.Handle());
  table.Add(2, "mine");
  const int fromTable = BixLoadString(module.Handle(), 2, text);
  const int missing = BixLoadString(module.Handle(), 3, text);
  bix::pBixLoadStringMFC = nullptr;
  EXPECT_EQ(42, fromHook);
  EXPECT_EQ("from the host", hookText);
  EXPECT_EQ(0, buffered) << "the buffer forms do not ask it";
  EXPECT_EQ(4, fromTable);
  EXPECT_EQ(0, missing) << "nor is it asked for a text that a table lacks";
  EXPECT_EQ(1u, reports.messages.size());
}

TEST(ResourceHandleCompat, SettingReturnsTheNewHandle) {
  Module module;
  HINSTANCE const before = bix::BixGetResourceHandle();
  EXPECT_EQ(module.Handle(), bix::BixSetResourceHandle(module.Handle()));
  EXPECT_EQ(module.Handle(), bix::BixGetResourceHandle());
  EXPECT_EQ(nullptr, bix::BixSetResourceHandle(nullptr));
  EXPECT_EQ(nullptr, bix::BixGetResourceHandle());
  EXPECT_EQ(before, bix::BixSetResourceHandle(before));
}

TEST(StringTable, UnregisteringDeletesTheTable) {
  static int s_deleted = 0;
  struct Counted : SStringTable {
    using SStringTable::SStringTable;
    ~Counted() override { ++s_deleted; }
  };
  Module module;
  bix::BixUnregisterStringTable(module.Handle());
  auto* table = new Counted(module.Handle());
  table->Add(1, "x");
  bix::BixUnregisterStringTable(module.Handle());
  EXPECT_EQ(1, s_deleted);
  SString text;
  EXPECT_FALSE(bix::LoadStringA(module.Handle(), 1, text));
}

TEST(StringTable, TablesOfTheHostMayEndAfterTheLibrary) {
  const bix_test::ProgramResult result = bix_test::Program(BIX_LATE_TABLE, {}).Run();
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(
      "static\n"
      "no text\n"  // the static table has ended
      "late\n"
      "no text\n",
      result.output);
}

TEST(ResourceTraceCompat, AnyValueSwitchesItOnAtOnce) {
  Module module;
  ScopedRecorder reports;
  ScopedVariable trace("QRD_DEBUG_RESOURCE", nullptr);
  { SStringTable silent(module.Handle()); }
  EXPECT_EQ("", reports.Text());
  for (const char* value : {"", "0", "1"}) {
    SCOPED_TRACE(value);
    trace.Set(value);
    reports.messages.clear();
    std::string address;
    {
      SStringTable table(module.Handle());
      address = Address(&table);
    }
    EXPECT_EQ("Internal error: <at>: SStringTable( " + module.Shown() + ", " + address +
                  ")\n"
                  "Internal error: <at>: ~SStringTable( " +
                  address + ")\n",
              WithoutPlace(reports.Text()));
    EXPECT_EQ(2u, reports.messages.size());
  }
}

TEST(ResourceTrace, NamesReplacedTables) {
  Module module;
  SStringTable first(module.Handle());
  const ScopedVariable trace("QRD_DEBUG_RESOURCE", "1");
  ScopedRecorder reports;
  auto* second = new SStringTable(module.Handle());
  const std::string address = Address(second);
  EXPECT_EQ("Internal error: <at>: SStringTable( " + module.Shown() + ", " + address +
                ")\n"
                "Internal error: <at>: _BixRegisterStringTable(" +
                module.Shown() + ", " + address + ", " + Address(&first) + ")\n",
            WithoutPlace(reports.Text()));
  reports.messages.clear();
  bix::BixUnregisterStringTable(module.Handle());
  EXPECT_EQ("Internal error: <at>: BixUnregisterStringTable(" + module.Shown() +
                ")\n"
                "Internal error: <at>: ~SStringTable( " +
                address + ")\n",
            WithoutPlace(reports.Text()));
}

// ---- formats by number ----

TEST(NumberedFormat, TakesItsTextFromATable) {
  ScopedRecorder reports;
  bix::SFmt format(BixhDllInstance, 15);
  format << "n"
         << "/t"
         << "why";
  EXPECT_EQ("URN 'n', target location not found: '/t'. Error :'why'.", format.str());
  EXPECT_EQ("The filter '[' is invalid.\nbecause", (bix::SFmt(BixhDllInstance, 16) << "["
                                                                                   << "because")
                                                       .str());
  EXPECT_EQ("", reports.Text());
}

TEST(NumberedFormat, ReportsAMissingTextAfterTheTable) {
  Module module;
  ScopedRecorder reports;
  bix::SFmt withoutTable(module.Handle(), 5);
  EXPECT_EQ("Internal error: <at>: BixLoadString(" + module.Shown() +
                ", 5): handle not found\n"
                "Internal error: Bix::SFmt::LoadString(5): resource id not found\n",
            WithoutPlace(reports.Text()));
  SStringTable table(module.Handle());
  reports.messages.clear();
  bix::SFmt format(module.Handle(), 5);
  EXPECT_EQ("Internal error: <at>: BixLoadString(" + module.Shown() +
                ", 5): resource not found\n"
                "Internal error: Bix::SFmt::LoadString(5): resource id not found\n",
            WithoutPlace(reports.Text()));
  reports.messages.clear();
  EXPECT_EQ("", format.str());
  format << "x";
  EXPECT_EQ(" x", format.str()) << "still usable, with an empty text";
  EXPECT_EQ("Internal error: SFmt: parameter %1 not found in \n", reports.Text());
}

TEST(NumberedFormatCompat, AnEmptyTextCountsAsNotFound) {
  Module module;
  SStringTable table(module.Handle());
  table.Add(5, "");
  ScopedRecorder reports;
  bix::SFmt format(module.Handle(), 5);
  EXPECT_EQ("Internal error: Bix::SFmt::LoadString(5): resource id not found\n", reports.Text());
}

// ---- the library's own texts ----

TEST(OwnTextsCompat, AreSpelledAsHostsKnowThem) {
  const struct {
    unsigned id;
    const char* want;
  } texts[] = {
      {1, "%s: during write of %s"},
      {2, "%s: during read of %s"},
      {3, "Failed to read from input stream while transfering to %s."},
      {4, "Internal error in input stream detected while transfering to %s."},
      {5, "Error: %s, while reading from file: %s."},
      {6, "Failed to write to output stream while transfering from %s."},
      {7, "Internal error in output stream detected while transfering from %s."},
      {8, "My Projects"},
      {9, "Failed to open '%s' for write."},
      {10, "Failed to open '%s' for read."},
      {11, "URN '%s', target location not found: '%s'."},
      {12, "URN '%s', target location must be an absolute path: '%s'."},
      {13, "The URN Name '%s' was not found. Please define it in VORN->Options->General->URNMap."},
      {14,
       "The URN name '%s' is already defined to '%s'. Please check environment variable "
       "VORN_URN_MAP_FILE and VORN->Options->General->URNMap."},
      {15, "URN '%1', target location not found: '%2'. Error :'%3'."},
      {16, "The filter '%1' is invalid.\n%2"},
  };
  for (const auto& t : texts) {
    SCOPED_TRACE(t.id);
    SString text;
    EXPECT_EQ(static_cast<int>(std::string(t.want).size()),
              BixLoadString(BixhDllInstance, t.id, text));
    EXPECT_EQ(t.want, text);
  }
  SString text;
  for (const unsigned id : {0u, 17u}) EXPECT_FALSE(bix::LoadStringA(BixhDllInstance, id, text));
}

TEST(OwnTexts, CanBeRegisteredForAnotherHandle) {
  Module module;
  SString text;
  InitializeLibResources(module.Handle());
  EXPECT_EQ(11, BixLoadString(module.Handle(), 8, text));
  UninitializeLibResources(module.Handle());
  EXPECT_FALSE(bix::LoadStringA(module.Handle(), 8, text));
}

}  // namespace
