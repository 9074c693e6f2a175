#include "bix/urischeme.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <list>
#include <memory>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "bix/directories.h"
#include "bix/library.h"
#include "bix/stringtable.h"
#include "bix/urn.h"
#include "support/recording_handler.h"
#include "support/temp_directory.h"
#include "support/working_directory.h"
#include "uri/read_location.h"
#include "uri/recording_scheme.h"

namespace {

using bix::SString;
using bix::SUri;
using bix::SUriScheme;
using bix::SUriSchemeManager;
using bix_test::Read;
using bix_test::ReadWholeFile;
using bix_test::RecordingScheme;
using bix_test::ScopedRecorder;
using bix_test::TempDirectory;
using bix_test::WriteWholeFile;

using Errors = bix::SVector<SString>;
using Items = bix::SVector<void*>;

constexpr int kReadWrite = SUriScheme::eRead | SUriScheme::eWrite;

/// Writes to a location; returns the errors, or "<null>" and the errors.
std::string Write(const SString& uri, const char* what) {
  Errors errors;
  std::unique_ptr<std::ostream> stream(SUri.OpenWrite(errors, uri));
  std::string result;
  if (stream != nullptr)
    *stream << what;
  else
    result = "<null>";
  for (const SString& error : errors) result += " [" + error + "]";
  return result;
}

std::string Description(const SUriScheme& scheme) {
  SString text("before");
  scheme.GetSchemeDescription(text);
  return text;
}

/// A NAME of the URN map that stands for a fresh directory.
class ScopedUrn {
 public:
  explicit ScopedUrn(const char* name) {
    ScopedRecorder ignored;
    bix::SUrnResolver::RegisterUrn(name, m_directory.Path());
  }
  std::string File(const std::string& name) const { return m_directory / name; }

 private:
  TempDirectory m_directory;
};

// ---- the interface ----

TEST(UriSchemeCompat, HasExactlyTwelveSlots) {
  static_assert(std::is_abstract_v<SUriScheme>);
  static_assert(!std::has_virtual_destructor_v<SUriScheme>);
  static_assert(sizeof(SUriScheme) == sizeof(void*), "no data");
  static_assert(std::is_same_v<decltype((SUri)), SUriScheme&>, "an object, not a class");
  static_assert(std::is_same_v<decltype(SUri), SUriScheme&>);
  EXPECT_EQ(1, SUriScheme::eRead);
  EXPECT_EQ(2, SUriScheme::eWrite);
  EXPECT_EQ(4, SUriScheme::eOpenDialog);
  EXPECT_EQ(8, SUriScheme::eSaveDialog);
  EXPECT_EQ(16, SUriScheme::eDirDialog);
}

// ---- the registry ----

TEST(UriSchemes, TheOneRegisteredLastWins) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  WriteWholeFile(file, "from the file");
  EXPECT_EQ("from the file", Read(file));
  {
    RecordingScheme first("first", directory.Path(), kReadWrite);
    EXPECT_EQ("from first [first reads]", Read(file));
    RecordingScheme second("second", file, kReadWrite);
    EXPECT_EQ("from second [second reads]", Read(file));
    EXPECT_EQ("from first [first reads]", Read(directory / "other"));
    SUriSchemeManager::UnRegister(second);
    EXPECT_EQ("from first [first reads]", Read(file));
    SUriSchemeManager::Register(second);
    EXPECT_EQ("from second [second reads]", Read(file));
  }
  EXPECT_EQ("from the file", Read(file));
}

TEST(UriSchemes, AreAskedFromTheLastToTheFirst) {
  RecordingScheme first("first", "zz:", kReadWrite);
  RecordingScheme second("second", "zz:", kReadWrite);
  RecordingScheme third("third", "yy:", kReadWrite);
  EXPECT_EQ("from second [second reads]", Read("zz:a"));
  EXPECT_EQ("CanHandle(zz:a)", third.TakeCalls());
  EXPECT_EQ("CanHandle(zz:a) OpenRead(zz:a)", second.TakeCalls());
  EXPECT_EQ("", first.TakeCalls());
}

TEST(UriSchemes, RegisteringTwiceKeepsOneEntry) {
  RecordingScheme scheme("scheme", "zz:", kReadWrite | SUriScheme::eOpenDialog);
  SUriSchemeManager::Register(scheme);
  SUriSchemeManager::Register(scheme);
  SString chosen;
  Errors errors;
  EXPECT_EQ(7, SUri.OpenDialog(errors, "", chosen, "")) << "there is one candidate, not three";
  SUriSchemeManager::UnRegister(scheme);
  EXPECT_EQ("<null>", Read("zz:a"));
}

TEST(UriSchemesCompat, RegisteringAgainDoesNotMoveAScheme) {
  RecordingScheme first("first", "zz:", kReadWrite);
  RecordingScheme second("second", "zz:", kReadWrite);
  SUriSchemeManager::Register(first);
  EXPECT_EQ("from second [second reads]", Read("zz:a"));
}

TEST(UriSchemes, UnregisteringAnUnknownSchemeIsIgnored) {
  RecordingScheme registered("registered", "zz:", kReadWrite);
  RecordingScheme other("other", "zz:", kReadWrite, RecordingScheme::kNotRegistered);
  SUriSchemeManager::UnRegister(other);
  SUriSchemeManager::UnRegister(other);
  EXPECT_EQ("from registered [registered reads]", Read("zz:a"));
  SUriSchemeManager::UnRegister(SUri);
  EXPECT_EQ("from registered [registered reads]", Read("zz:a"));
}

TEST(UriSchemes, TheCompositeIsNoneOfThem) {
  SUriSchemeManager::Register(SUri);
  EXPECT_EQ(3, SUri.GetCapabilities());
  EXPECT_FALSE(SUri.CanHandle("zz:a"));
  SUriSchemeManager::UnRegister(SUri);
}

TEST(UriSchemes, MayLeaveWhileTheyAreAsked) {
  class Leaving : public RecordingScheme {
   public:
    using RecordingScheme::RecordingScheme;
    bool CanHandle(const SString&) const override {
      for (SUriScheme* scheme : m_leaving) SUriSchemeManager::UnRegister(*scheme);
      return false;
    }
    std::list<SUriScheme*> m_leaving;
  };
  RecordingScheme first("first", "zz:", kReadWrite);
  RecordingScheme second("second", "zz:", kReadWrite);
  Leaving leaving("leaving", "zz:", kReadWrite);
  RecordingScheme last("last", "yy:", kReadWrite);
  leaving.m_leaving = {&leaving, &second, &last};
  EXPECT_EQ("from first [first reads]", Read("zz:a"));
  EXPECT_EQ("CanHandle(zz:a)", last.TakeCalls()) << "before it left";
  EXPECT_EQ("", second.TakeCalls());
}

TEST(UriSchemes, MayUseTheCompositeThemselves) {
  class Wrapping : public RecordingScheme {
   public:
    using RecordingScheme::RecordingScheme;
    std::istream* OpenRead(Errors& errors, const SString& uri) override {
      return SUri.OpenRead(errors, uri.substr(3));
    }
  };
  const TempDirectory directory;
  WriteWholeFile(directory / "file", "wrapped");
  Wrapping wrapping("wrapping", "zz:", kReadWrite);
  EXPECT_EQ("wrapped", Read("zz:" + (directory / "file")));
}

TEST(UriSchemes, MayLeaveWhileTheyAreAskedForTheirDialogs) {
  class Leaving : public RecordingScheme {
   public:
    using RecordingScheme::RecordingScheme;
    int GetCapabilities() const override {
      SUriSchemeManager::UnRegister(const_cast<Leaving&>(*this));
      return RecordingScheme::GetCapabilities();
    }
  };
  Leaving leaving("leaving", "zz:", SUriScheme::eOpenDialog);
  Errors errors;
  SString chosen;
  EXPECT_EQ(leaving.m_answer, SUri.OpenDialog(errors, "start", chosen, "filter"))
      << "it had the only dialog when it was asked";
  EXPECT_EQ(2, SUri.OpenDialog(errors, "start", chosen, "filter"));

  SUriSchemeManager::Register(leaving);
  const RecordingScheme other("other", "yy:", SUriScheme::eDirDialog);
  EXPECT_EQ(kReadWrite | SUriScheme::eOpenDialog | SUriScheme::eDirDialog, SUri.GetCapabilities());
  EXPECT_EQ(kReadWrite | SUriScheme::eDirDialog, SUri.GetCapabilities());
}

// ---- dialogs ----

/// The callback of these tests: picks the candidate of this number.
int g_pick = -1;
std::string g_candidates;
int g_asked = 0;
SUriScheme* Pick(const std::list<SUriScheme*>& candidates) {
  ++g_asked;
  g_candidates.clear();
  for (const SUriScheme* scheme : candidates) g_candidates += Description(*scheme) + " ";
  if (g_pick < 0) return nullptr;
  return *std::next(candidates.begin(), g_pick);
}

class UriDialogs : public testing::Test {
 protected:
  void SetUp() override {
    g_pick = -1;
    g_candidates.clear();
    g_asked = 0;
    SUriSchemeManager::SetSelectSchemeDialog(nullptr);
  }
  void TearDown() override { SUriSchemeManager::SetSelectSchemeDialog(nullptr); }

  /// The results of the three dialogs, and what was chosen last.
  std::string Ask() {
    Errors errors;
    SString chosen("nothing");
    std::string results = std::to_string(SUri.OpenDialog(errors, "start", chosen, "filter")) + " ";
    results += std::to_string(SUri.SaveDialog(errors, "start", chosen, "filter")) + " ";
    results += std::to_string(SUri.DirDialog(errors, "start", chosen)) + " " + chosen;
    for (const SString& error : errors) results += " [" + error + "]";
    return results;
  }
};

TEST_F(UriDialogs, WithoutASchemeThatHasOneAreTwo) {
  EXPECT_EQ("2 2 2 nothing", Ask());
  SUriSchemeManager::SetSelectSchemeDialog(&Pick);
  RecordingScheme scheme("reader", "zz:", kReadWrite);
  EXPECT_EQ("2 2 2 nothing", Ask());
  EXPECT_EQ(0, g_asked);
}

TEST_F(UriDialogs, TheOnlyOneIsShownAndNobodyIsAsked) {
  SUriSchemeManager::SetSelectSchemeDialog(&Pick);
  RecordingScheme opens("opens", "zz:", SUriScheme::eOpenDialog);
  RecordingScheme saves("saves", "zz:", SUriScheme::eSaveDialog);
  RecordingScheme picks("picks", "zz:", SUriScheme::eDirDialog);
  opens.m_answer = 3;
  saves.m_answer = 4;
  picks.m_answer = 0;
  EXPECT_EQ("3 4 0 picks chose [opens asks] [saves asks] [picks asks]", Ask());
  EXPECT_EQ("OpenDialog(start,filter)", opens.TakeCalls());
  EXPECT_EQ("SaveDialog(start,filter)", saves.TakeCalls());
  EXPECT_EQ("DirDialog(start)", picks.TakeCalls());
  EXPECT_EQ(0, g_asked);
}

TEST_F(UriDialogs, OfSeveralTheCallbackPicksOne) {
  constexpr int kAll = SUriScheme::eOpenDialog | SUriScheme::eSaveDialog | SUriScheme::eDirDialog;
  RecordingScheme first("first", "zz:", kAll);
  RecordingScheme none("none", "zz:", kReadWrite);
  RecordingScheme second("second", "zz:", kAll);
  RecordingScheme third("third", "zz:", kAll);
  EXPECT_EQ("2 2 2 nothing", Ask()) << "there is no callback";
  SUriSchemeManager::SetSelectSchemeDialog(&Pick);
  EXPECT_EQ("2 2 2 nothing", Ask()) << "it picks none";
  EXPECT_EQ(3, g_asked);
  EXPECT_EQ("first second third ", g_candidates) << "in the order in which they were registered";
  g_pick = 1;
  EXPECT_EQ("7 7 7 second chose [second asks] [second asks] [second asks]", Ask());
  g_pick = 0;
  EXPECT_EQ("7 7 7 first chose [first asks] [first asks] [first asks]", Ask());
  SUriSchemeManager::SetSelectSchemeDialog(nullptr);
  EXPECT_EQ("2 2 2 nothing", Ask()) << "there is none again";
}

TEST_F(UriDialogs, CandidatesAreThoseWithThatDialog) {
  RecordingScheme opens("opens", "zz:", SUriScheme::eOpenDialog);
  RecordingScheme both("both", "zz:", SUriScheme::eOpenDialog | SUriScheme::eSaveDialog);
  RecordingScheme picks("picks", "zz:", SUriScheme::eDirDialog);
  SUriSchemeManager::SetSelectSchemeDialog(&Pick);
  g_pick = 0;
  EXPECT_EQ("7 7 7 picks chose [opens asks] [both asks] [picks asks]", Ask());
  EXPECT_EQ(1, g_asked);
  EXPECT_EQ("opens both ", g_candidates);
}

// ---- the composite ----

TEST(CompositeScheme, DescribesItself) { EXPECT_EQ("Composite Scheme", Description(SUri)); }

TEST(CompositeScheme, HasTheCapabilitiesOfAllSchemes) {
  EXPECT_EQ(3, SUri.GetCapabilities());
  {
    RecordingScheme dialogs("dialogs", "zz:", SUriScheme::eOpenDialog);
    EXPECT_EQ(7, SUri.GetCapabilities());
    RecordingScheme more("more", "zz:", SUriScheme::eDirDialog | 1024);
    EXPECT_EQ(1024 + 23, SUri.GetCapabilities());
  }
  EXPECT_EQ(3, SUri.GetCapabilities());
}

TEST(CompositeScheme, AsksOnlySchemesThatCan) {
  RecordingScheme both("both", "zz:", kReadWrite);
  RecordingScheme reader("reader", "zz:", SUriScheme::eRead);
  RecordingScheme writer("writer", "zz:", SUriScheme::eWrite);
  RecordingScheme neither("neither", "zz:", SUriScheme::eOpenDialog);
  EXPECT_EQ("from reader [reader reads]", Read("zz:a"));
  EXPECT_EQ(" [writer writes]", Write("zz:a", "text"));
  SUriSchemeManager::UnRegister(both);
  SUriSchemeManager::UnRegister(reader);
  EXPECT_EQ("<null>", Read("zz:a"));
  EXPECT_TRUE(SUri.CanHandle("zz:a")) << "whatever for";
}

TEST(CompositeScheme, HandsOnWhatItIsGiven) {
  RecordingScheme scheme("scheme", "zz:", kReadWrite);
  int context = 0;
  Errors errors{"there before"};
  Items items;
  EXPECT_EQ(7, SUri.DirectRead(errors, "zz:a", items, &context));
  EXPECT_EQ(Items{&context}, items);
  EXPECT_EQ(7, SUri.DirectWrite(errors, "zz:a", items, &context));
  EXPECT_EQ(7, SUri.GetFormat("zz:a"));
  EXPECT_FALSE(SUri.IsReadOnly("zz:a"));
  scheme.m_isReadOnly = true;
  EXPECT_TRUE(SUri.IsReadOnly("zz:a"));
  EXPECT_EQ((Errors{"there before", "scheme reads directly", "scheme writes directly"}), errors);
  EXPECT_EQ(
      "CanHandle(zz:a) DirectRead(zz:a) CanHandle(zz:a) DirectWrite(zz:a) CanHandle(zz:a) "
      "GetFormat(zz:a) CanHandle(zz:a) IsReadOnly(zz:a) CanHandle(zz:a) IsReadOnly(zz:a)",
      scheme.TakeCalls());
}

TEST(CompositeSchemeCompat, WithoutASchemeTheResultIsTwo) {
  Errors errors;
  Items items;
  EXPECT_EQ(2, SUri.DirectRead(errors, "zz:a", items, nullptr));
  EXPECT_EQ(2, SUri.DirectWrite(errors, "zz:a", items, nullptr));
  EXPECT_EQ(0, SUri.GetFormat("zz:a"));
  EXPECT_FALSE(SUri.CanHandle("zz:a"));
  EXPECT_TRUE(SUri.IsReadOnly("zz:a")) << "nobody can write it";
  EXPECT_EQ(Errors(), errors);
}

TEST(CompositeScheme, ResolvesUrnsToOpenThem) {
  const ScopedUrn urn("urischemeopens");
  EXPECT_EQ("", Write("urn:urischemeopens:x.txt", "text"));
  EXPECT_EQ("text", ReadWholeFile(urn.File("x.txt")));
  EXPECT_EQ("text", Read("urn:UriSchemeOpens:x.txt")) << "NAMEs have no case";
  EXPECT_TRUE(SUri.CanHandle("urn:urischemeopens:x.txt"));
  EXPECT_EQ("<null> [Failed to open '" + urn.File("y.txt") + "' for read.]",
            Read("urn:urischemeopens:y.txt"))
      << "the text names the file, not the URN";
}

TEST(CompositeScheme, OpensFilesOfTheUser) {
  const std::string directory = bix::BixGetUserDir();
  ASSERT_TRUE(bix_test::IsDirectory(directory));
  WriteWholeFile(directory + "/x.txt", "the user's");
  EXPECT_EQ("the user's", Read("urn:qvuser:x.txt"));
}

TEST(CompositeScheme, SchemesGetTheResolvedLocation) {
  const ScopedUrn urn("urischemegets");
  const std::string path = urn.File("a");
  RecordingScheme scheme("scheme", path, kReadWrite);
  EXPECT_EQ("from scheme [scheme reads]", Read("urn:urischemegets:a"));
  EXPECT_EQ("CanHandle(" + path + ") OpenRead(" + path + ")", scheme.TakeCalls());
  EXPECT_EQ(" [scheme writes]", Write("urn:urischemegets:a", ""));
  EXPECT_EQ("CanHandle(" + path + ") OpenWrite(" + path + ")", scheme.TakeCalls());
  EXPECT_TRUE(SUri.CanHandle("urn:urischemegets:a"));
  EXPECT_EQ("CanHandle(" + path + ")", scheme.TakeCalls());
}

TEST(CompositeScheme, PathsReachTheSchemesByteForByte) {
  RecordingScheme scheme("scheme", "", kReadWrite);
  for (const char* path : {"a\\b", "/x/../y//z/.", "~/x", "", "zz:\xFF"}) {
    SCOPED_TRACE(path);
    Read(path);
    EXPECT_EQ(std::string("CanHandle(") + path + ") OpenRead(" + path + ")", scheme.TakeCalls());
  }
}

TEST(CompositeSchemeCompat, ReadOnlyIsAskedWithTheUnresolvedUri) {
  const ScopedUrn urn("urischemeasks");
  RecordingScheme scheme("scheme", urn.File("a"), kReadWrite);
  scheme.m_isReadOnly = true;
  EXPECT_TRUE(SUri.IsReadOnly("urn:urischemeasks:a"));
  EXPECT_EQ("CanHandle(" + urn.File("a") + ") IsReadOnly(urn:urischemeasks:a)", scheme.TakeCalls());
}

TEST(CompositeSchemeCompat, FormatsDirectAccessAndDialogsDoNotResolveUrns) {
  const ScopedUrn urn("urischemeraw");
  RecordingScheme scheme("scheme", "urn:", kReadWrite | SUriScheme::eOpenDialog);
  Errors errors;
  Items items;
  SString chosen;
  ScopedRecorder reports;
  EXPECT_EQ(7, SUri.GetFormat("urn:urischemeraw:a"));
  EXPECT_EQ(7, SUri.DirectRead(errors, "urn:unknown:a", items, nullptr));
  EXPECT_EQ(7, SUri.DirectWrite(errors, "urn:malformed", items, nullptr));
  EXPECT_EQ(7, SUri.OpenDialog(errors, "urn:urischemeraw:a", chosen, "*"));
  EXPECT_EQ(
      "CanHandle(urn:urischemeraw:a) GetFormat(urn:urischemeraw:a) CanHandle(urn:unknown:a) "
      "DirectRead(urn:unknown:a) CanHandle(urn:malformed) DirectWrite(urn:malformed) "
      "OpenDialog(urn:urischemeraw:a,*)",
      scheme.TakeCalls());
  EXPECT_EQ("", reports.Text());
}

TEST(CompositeSchemeCompat, WhatItCannotHandOnLeavesTheErrorsEmpty) {
  const char* const unknown =
      "The URN Name 'urischemeunknown' was not found. Please define it in "
      "VORN->Options->General->URNMap.\n";
  const struct {
    const char* uri;
    bool isReadOnly;
    std::string report;
  } cases[] = {{"urn:UriSchemeUnknown:x", false, unknown},
               {"urn:malformed", false, ""},
               {"C:/x", true, ""},
               {"C:x", true, ""},
               {"halder:x", true, ""},
               {"ox:x", true, ""},
               {"http://host/x", true, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.uri);
    std::string report;
    const auto reported = [&report](auto operation) {
      ScopedRecorder reports;
      auto result = operation();
      report = reports.Text();
      return result;
    };
    EXPECT_EQ("<null>", reported([&] { return Read(c.uri); }));
    EXPECT_EQ(c.report, report);
    EXPECT_EQ("<null>", reported([&] { return Write(c.uri, "text"); }));
    EXPECT_EQ(c.report, report);
    EXPECT_FALSE(reported([&] { return SUri.CanHandle(c.uri); }));
    EXPECT_EQ(c.report, report);
    EXPECT_EQ(c.isReadOnly, reported([&] { return SUri.IsReadOnly(c.uri); }));
    EXPECT_EQ(c.report, report);
  }
}

// ---- the file scheme ----

TEST(FileScheme, ReadsAndWritesFiles) {
  const TempDirectory directory;
  const bix_test::ScopedWorkingDirectory work(directory.Path());
  EXPECT_EQ("", Write("relative", "one"));
  EXPECT_EQ("one", ReadWholeFile(directory / "relative"));
  EXPECT_EQ("", Write(directory / "relative", "2"));
  EXPECT_EQ("2", Read("relative")) << "what was there before is replaced";
  EXPECT_EQ("2", Read("./relative"));
  EXPECT_EQ("", Write("a name with blanks, % and \xFF", "bytes"));
  EXPECT_EQ("bytes", Read("a name with blanks, % and \xFF"));
}

TEST(FileScheme, TakesWhatIsNoUri) {
  for (const char* path : {"/a", "a", "", "./C:/x", "/C:", "a.b:c", ":", "a b:c", "~"})
    EXPECT_TRUE(SUri.CanHandle(path)) << path;
  for (const char* uri : {"http://a", "halder:a", "ox:a", "C:/x", "c:", "a1:"})
    EXPECT_FALSE(SUri.CanHandle(uri)) << uri;
}

TEST(FileSchemeCompat, ADriveLetterPathIsNotTaken) {
  const TempDirectory directory;
  const bix_test::ScopedWorkingDirectory work(directory.Path());
  std::filesystem::create_directory("C:");
  WriteWholeFile("C:/x", "there");
  EXPECT_EQ("<null>", Read("C:/x"));
  EXPECT_EQ("<null>", Write("C:/x", "text"));
  EXPECT_EQ("there", Read("./C:/x"));
}

TEST(FileScheme, AFailureIsToldInTheErrors) {
  const TempDirectory directory;
  const std::string missing = directory / "missing";
  ScopedRecorder reports;
  Errors errors{"there before"};
  errno = 0;
  EXPECT_EQ(nullptr, SUri.OpenRead(errors, missing));
  EXPECT_EQ(ENOENT, errno);
  errno = 0;
  EXPECT_EQ(nullptr, SUri.OpenWrite(errors, missing + "/file"));
  EXPECT_EQ(ENOENT, errno);
  errno = 0;
  EXPECT_EQ(nullptr, SUri.OpenWrite(errors, directory.Path()));
  EXPECT_EQ(EISDIR, errno);
  EXPECT_EQ(nullptr, SUri.OpenRead(errors, ""));
  EXPECT_EQ(nullptr, SUri.OpenRead(errors, "no 100% such %s file"));
  EXPECT_EQ(
      (Errors{"there before", "Failed to open '" + missing + "' for read.",
              "Failed to open '" + missing + "/file' for write.",
              "Failed to open '" + directory.Path() + "' for write.", "Failed to open '' for read.",
              "Failed to open 'no 100% such %s file' for read."}),
      errors);
  EXPECT_EQ("", reports.Text());
  EXPECT_FALSE(bix_test::Exists(missing));
}

TEST(FileScheme, TheTextIsTheLibrarysOwn) {
  int anchor = 0;
  HINSTANCE const host = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&anchor));
  auto* const table = new bix::SStringTable(host);
  table->Add(9, "The host's nine %s");
  table->Add(10, "The host's ten %s");
  HINSTANCE const before = bix::BixGetResourceHandle();
  bix::BixSetResourceHandle(host);
  EXPECT_EQ("<null> [Failed to open '/no/such' for read.]", Read("/no/such"));
  EXPECT_EQ("<null> [Failed to open '/no/such' for write.]", Write("/no/such", ""));
  EXPECT_EQ(host, bix::BixGetResourceHandle()) << "the host's module is the current one again";
  bix::BixSetResourceHandle(before);
  bix::BixUnregisterStringTable(host);
}

TEST(FileSchemeChoice, AMissingTextIsAppendedEmpty) {
  int anchor = 0;
  HINSTANCE const own = bix::BixhDllInstance;
  bix::BixhDllInstance = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&anchor));
  std::string report;
  std::string read;
  {
    ScopedRecorder reports;
    read = Read("/no/such");
    report = reports.Text();
  }
  bix::BixhDllInstance = own;
  EXPECT_EQ("<null> []", read);
  EXPECT_NE(std::string::npos, report.find("handle not found")) << report;
  EXPECT_EQ(own, bix::BixGetResourceHandle());
}

TEST(FileSchemeCompat, ADirectoryOpensForReading) {
  const TempDirectory directory;
  EXPECT_EQ("", Read(directory.Path()));
}

TEST(FileSchemeCompat, NoFileIsReadOnly) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  WriteWholeFile(file, "");
  ASSERT_EQ(0, chmod(file.c_str(), 0444));
  EXPECT_FALSE(SUri.IsReadOnly(file));
  EXPECT_FALSE(SUri.IsReadOnly("/no/such"));
}

TEST(FileScheme, KnowsNoFormats) {
  EXPECT_EQ(0, SUri.GetFormat("/a"));
  EXPECT_EQ(0, SUri.GetFormat("urn:qvuser:a")) << "nobody's";
}

TEST(FileScheme, ARestThatIsNoPathOpensTheDirectoryItself) {
  const ScopedUrn urn("urischemelong");
  const std::string rest(1100, 'x');
  EXPECT_EQ("<null> [Failed to open '" + urn.File("") + "' for write.]",
            Write("urn:urischemelong:" + rest, "text"));
}

}  // namespace
