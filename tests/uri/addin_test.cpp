// Schemes that come with add-ins: real libraries, loaded and unloaded.

#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "bix/urischeme.h"
#include "bix/urn.h"
#include "support/program.h"
#include "support/recording_handler.h"
#include "support/temp_directory.h"
#include "support/working_directory.h"
#include "uri/read_location.h"

namespace {

using bix::SString;
using bix::SUri;
using bix_test::Read;
using bix_test::ReadWholeFile;
using bix_test::TempDirectory;
using bix_test::WriteWholeFile;

using Errors = bix::SVector<SString>;
using Items = bix::SVector<void*>;

/// A loaded add-in.
class AddIn {
 public:
  explicit AddIn(const char* file) : m_file(file), m_library(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(nullptr, m_library) << dlerror();
  }
  AddIn(const AddIn&) = delete;
  AddIn& operator=(const AddIn&) = delete;
  ~AddIn() {
    EXPECT_EQ(0, dlclose(m_library));
    EXPECT_EQ(nullptr, dlopen(m_file, RTLD_NOW | RTLD_NOLOAD)) << "still loaded";
  }

  template <class Function>
  Function* Symbol(const char* name) const {
    void* const symbol = dlsym(m_library, name);
    EXPECT_NE(nullptr, symbol) << name;
    return reinterpret_cast<Function*>(symbol);
  }
  void Start() const { Symbol<void()>("StartAddIn")(); }
  void End() const { Symbol<void()>("EndAddIn")(); }

 private:
  const char* m_file;
  void* m_library;
};

TEST(UriAddIn, ItsLocationsAreThereWhileItsSchemeIsRegistered) {
  const TempDirectory directory;
  const bix_test::ScopedWorkingDirectory work(directory.Path());
  // Files of the same names do not count.
  WriteWholeFile("halder:notes.txt", "a file");
  const auto expectNone = [] {
    EXPECT_EQ("<null>", Read("halder:notes.txt"));
    EXPECT_FALSE(SUri.CanHandle("halder:notes.txt"));
    EXPECT_EQ("<null> [Failed to open '/halder/notes.txt' for read.]", Read("/halder/notes.txt"));
    EXPECT_EQ(3, SUri.GetCapabilities());
  };
  expectNone();
  {
    const AddIn addIn(BIX_ARCHIVE_ADDIN);
    expectNone();
    addIn.Start();
    EXPECT_EQ("notes of the archive\n", Read("halder:notes.txt"));
    EXPECT_EQ("red yellow", Read("halder:palettes/warm"));
    EXPECT_EQ("", Read("halder:empty"));
    EXPECT_EQ("<null> [The archive has no 'missing'.]", Read("halder:missing"));
    EXPECT_TRUE(SUri.CanHandle("halder:missing"));
    EXPECT_EQ(7, SUri.GetCapabilities());
    EXPECT_EQ("a file", Read("./halder:notes.txt")) << "the file scheme keeps its own";
    addIn.End();
    expectNone();
    addIn.Start();
    EXPECT_EQ("red yellow", Read("halder:palettes/warm"));
    addIn.End();
    addIn.End();
  }
  expectNone();
  const AddIn again(BIX_ARCHIVE_ADDIN);
  again.Start();
  EXPECT_EQ("notes of the archive\n", Read("halder:notes.txt"));
  again.End();
}

TEST(UriAddIn, WinsOverTheFileSchemeForItsPlainPaths) {
  const TempDirectory directory;
  WriteWholeFile(directory / "file", "a file");
  const AddIn addIn(BIX_ARCHIVE_ADDIN);
  addIn.Start();
  EXPECT_EQ("notes of the archive\n", Read("/halder/notes.txt"));
  EXPECT_TRUE(SUri.IsReadOnly("/halder/notes.txt"));
  EXPECT_EQ(12, SUri.GetFormat("/halder/notes.txt"));
  EXPECT_EQ("a file", Read(directory / "file"));
  EXPECT_FALSE(SUri.IsReadOnly(directory / "file"));
  // It cannot write, so the file scheme is asked, which has no such directory.
  Errors errors;
  EXPECT_EQ(nullptr, SUri.OpenWrite(errors, "/halder/notes.txt"));
  EXPECT_EQ(Errors{"Failed to open '/halder/notes.txt' for write."}, errors);
  errors.clear();
  EXPECT_EQ(nullptr, SUri.OpenWrite(errors, "halder:notes.txt"));
  EXPECT_EQ(Errors(), errors);
  addIn.End();
  EXPECT_FALSE(SUri.IsReadOnly("/halder/notes.txt"));
  EXPECT_EQ(0, SUri.GetFormat("/halder/notes.txt"));
}

TEST(UriAddIn, UrnsLeadToItsLocations) {
  const AddIn addIn(BIX_ARCHIVE_ADDIN);
  addIn.Start();
  ASSERT_TRUE(bix::SUrnResolver::RegisterUrn("uriaddinpalettes", "halder:palettes"));
  EXPECT_EQ("red yellow", Read("urn:uriaddinpalettes:warm"));
  EXPECT_TRUE(SUri.IsReadOnly("urn:uriaddinpalettes:warm"));
  addIn.End();
  EXPECT_EQ("<null>", Read("urn:uriaddinpalettes:warm"));
}

TEST(UriAddIn, ItsDialogAndItsItemsReachTheCaller) {
  const AddIn addIn(BIX_ARCHIVE_ADDIN);
  addIn.Start();
  Errors errors;
  SString chosen;
  EXPECT_EQ(0, SUri.OpenDialog(errors, "halder:", chosen, "*"));
  EXPECT_EQ("halder:empty", chosen);
  EXPECT_EQ(2, SUri.SaveDialog(errors, "halder:", chosen, "*"));
  std::string text("put in directly");
  EXPECT_EQ(0, SUri.DirectWrite(errors, "halder:new", Items{&text}, nullptr));
  EXPECT_EQ("put in directly", Read("halder:new"));
  Items items;
  EXPECT_EQ(1, SUri.DirectRead(errors, "halder:missing", items, nullptr));
  EXPECT_EQ(0, SUri.DirectRead(errors, "halder:new", items, nullptr));
  ASSERT_EQ(1u, items.size());
  EXPECT_EQ("put in directly", *static_cast<std::string*>(items[0]));
  addIn.End();
  EXPECT_EQ(2, SUri.OpenDialog(errors, "halder:", chosen, "*"));
}

TEST(UriAddIn, SlotsAreCalledByTheirOrder) {
  {
    const AddIn addIn(BIX_SLOTS_ADDIN);
    Errors errors;
    Items items;
    SString chosen;
    EXPECT_EQ("slot 1", Read("slot:a"));
    delete SUri.OpenWrite(errors, "slot:b");
    EXPECT_EQ(3, SUri.GetFormat("slot:c"));
    EXPECT_TRUE(SUri.CanHandle("slot:d"));
    EXPECT_TRUE(SUri.IsReadOnly("slot:f"));
    EXPECT_EQ(63, SUri.GetCapabilities());
    EXPECT_EQ(8, SUri.OpenDialog(errors, "h", chosen, ""));
    EXPECT_EQ(9, SUri.SaveDialog(errors, "i", chosen, ""));
    EXPECT_EQ(10, SUri.DirDialog(errors, "j", chosen));
    EXPECT_EQ(11, SUri.DirectRead(errors, "slot:k", items, nullptr));
    EXPECT_EQ(12, SUri.DirectWrite(errors, "slot:l", items, nullptr));
    EXPECT_STREQ("1(slot:a)2(slot:b)3(slot:c)6(slot:f)8(h)9(i)10(j)11(slot:k)12(slot:l)",
                 addIn.Symbol<const char*()>("SlotLog")());
  }
  EXPECT_FALSE(SUri.CanHandle("slot:a")) << "it has left with its file";
  EXPECT_EQ(3, SUri.GetCapabilities());
}

TEST(UriAddIn, CallsTheSlotsOfTheLibraryByTheirOrder) {
  const TempDirectory directory;
  const AddIn addIn(BIX_SLOTS_ADDIN);
  EXPECT_STREQ("through slot 2,0,1,Composite Scheme,1,63,0,0,0",
               addIn.Symbol<const char*(const char*)>("CallSlots")((directory / "file").c_str()));
  EXPECT_EQ("through slot 2", ReadWholeFile(directory / "file"));
}

TEST(UriSchemesAtTheEnd, FilesAreOpenedByWhatEndsAfterTheLibrary) {
  const TempDirectory directory;
  const bix_test::ProgramResult result =
      bix_test::Program(BIX_LATE_HOST, {BIX_LATE_OPENER, directory / "file"}).Run();
  EXPECT_EQ("0\n", result.output) << result.errors;
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("saved late", ReadWholeFile(directory / "file"));
}

}  // namespace
