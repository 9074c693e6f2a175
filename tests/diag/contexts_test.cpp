#include "bix/contexts.h"

#include <fcntl.h>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/cancelled_thread.h"
#include "support/temp_directory.h"

namespace {

using bix::CBufferErrorContext;
using bix::CDumpCtx;
using bix::CError;
using bix::CErrorContext;
using bix::CFileDumpContext;
using bix::CFileErrorContext;
using bix::CStringDumpContext;
using bix_test::ReadWholeFile;
using bix_test::TempDirectory;
using Strings = std::vector<std::string>;

/// An error that tells when it is deleted.
class WatchedError : public CError {
 public:
  WatchedError(const char* text, int& deletions) : CError(text), m_deletions(deletions) {}
  ~WatchedError() override { ++m_deletions; }

 private:
  int& m_deletions;
};

/// Makes a context the current one in its scope.
class ScopedCurrentContext {
 public:
  explicit ScopedCurrentContext(CErrorContext* context) : m_old(_QelCurrentErrorCtx) {
    _QelCurrentErrorCtx = context;
  }
  ~ScopedCurrentContext() { _QelCurrentErrorCtx = m_old; }

 private:
  CErrorContext* const m_old;
};

/// A context of a host.
class HostContext : public CErrorContext {
 public:
  void FlushError(CError* error) override {
    calls.push_back("error " + error->GetText());
    ++m_errorCount;
  }
  void FlushMessage(const char* message) override {
    calls.push_back(std::string("message ") + message);
  }

  Strings calls;
};

Strings Texts(const CBufferErrorContext& context) {
  Strings texts;
  void* position = context.GetFirstErrorPosition();
  while (position != nullptr) texts.push_back(context.GetNextError(position)->GetText());
  return texts;
}

TEST(Error, HoldsACopyOfItsText) {
  EXPECT_EQ("", CError().GetText());
  EXPECT_EQ("", CError(nullptr).GetText());
  char text[] = "broken";
  const CError error(text);
  text[0] = 'x';
  EXPECT_EQ("broken", error.GetText());
}

TEST(Error, FlushesItselfToTheCurrentContext) {
  EXPECT_EQ(nullptr, _QelCurrentErrorCtx) << "none until the host sets one";
  int deletions = 0;
  {
    WatchedError error("e", deletions);
    error.Flush();
    HostContext context;
    const ScopedCurrentContext current(&context);
    error.Flush();
    error.Flush();
    EXPECT_EQ((Strings{"error e", "error e"}), context.calls);
    EXPECT_EQ(2, context.GetFlushedErrorCount());
    EXPECT_EQ(0, deletions);
  }
  EXPECT_EQ(1, deletions);
}

TEST(ErrorContext, InsertionIsFlushing) {
  HostContext context;
  EXPECT_EQ(0, context.GetFlushedErrorCount());
  CError error("e");
  context << "m" << &error << "n";
  EXPECT_EQ((Strings{"message m", "error e", "message n"}), context.calls);
  EXPECT_EQ(1, context.GetFlushedErrorCount());
}

TEST(ErrorContext, NullIsNoError) {
  const TempDirectory directory;
  CFileErrorContext file((directory / "errors").c_str());
  file << static_cast<CError*>(nullptr) << static_cast<const char*>(nullptr);
  EXPECT_EQ(0, file.GetFlushedErrorCount());
  CBufferErrorContext buffer;
  buffer << static_cast<CError*>(nullptr);
  EXPECT_EQ(0, buffer.GetErrorCount());
  EXPECT_EQ(0, buffer.GetFlushedErrorCount());
  buffer << static_cast<const char*>(nullptr);
  EXPECT_EQ(Strings{""}, Texts(buffer));
}

TEST(FileContextCompat, TextsAreWrittenAsTheyStand) {
  const TempDirectory directory;
  const std::string name = directory / "errors";
  bix_test::WriteWholeFile(name, "what was there before");
  {
    CFileErrorContext context(name.c_str());
    EXPECT_EQ("", ReadWholeFile(name)) << "emptied when it is opened";
    CError error("100% of e1");
    context << &error << "%s m1" << &error << "line\n";
    EXPECT_EQ(2, context.GetFlushedErrorCount());
  }
  EXPECT_EQ("100% of e1%s m1100% of e1line\n", ReadWholeFile(name));
}

TEST(FileContextCompat, AStreamIsNotClosed) {
  const TempDirectory directory;
  const std::string name = directory / "out";
  std::FILE* const stream = std::fopen(name.c_str(), "w");
  ASSERT_NE(nullptr, stream);
  {
    CFileErrorContext errors(stream);
    CError error("e");
    errors << &error << "m";
    EXPECT_EQ(1, errors.GetFlushedErrorCount());
    CFileDumpContext dump(stream);
    dump << 1;
  }
  EXPECT_EQ(4, std::fprintf(stream, "more"));
  EXPECT_EQ(0, std::fclose(stream));
  EXPECT_EQ("em1more", ReadWholeFile(name));
}

TEST(FileContext, WithoutAFileNothingIsWritten) {
  const TempDirectory directory;
  const std::string missing = directory / "no/errors";
  CFileErrorContext none;
  CFileErrorContext null(static_cast<std::FILE*>(nullptr));
  CFileErrorContext unopened(missing.c_str());
  CFileErrorContext unnamed("");
  CFileErrorContext nullName(static_cast<const char*>(nullptr));
  CError error("e");
  for (CErrorContext* context :
       {static_cast<CErrorContext*>(&none), static_cast<CErrorContext*>(&null),
        static_cast<CErrorContext*>(&unopened), static_cast<CErrorContext*>(&unnamed),
        static_cast<CErrorContext*>(&nullName)}) {
    *context << &error << "m";
    EXPECT_EQ(1, context->GetFlushedErrorCount());
  }
  EXPECT_FALSE(bix_test::Exists(missing));
  CFileDumpContext noDump;
  CFileDumpContext unopenedDump(missing.c_str());
  for (CDumpCtx* dump : {&noDump, &unopenedDump}) *dump << 1 << true << 'x' << "text";
}

/// The descriptors of this process that a child would inherit, beyond the standard ones.
int CountInheritable() {
  int count = 0;
  for (int descriptor = 3; descriptor < 256; ++descriptor) {
    const int flags = fcntl(descriptor, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) ++count;
  }
  return count;
}
int CountOpen() {
  int count = 0;
  for (int descriptor = 3; descriptor < 256; ++descriptor)
    if (fcntl(descriptor, F_GETFD) >= 0) ++count;
  return count;
}

TEST(FileContext, ItsNamedFileIsClosedAndNotInherited) {
  const TempDirectory directory;
  const int open = CountOpen();
  const int inheritable = CountInheritable();
  {
    const CFileErrorContext errors((directory / "errors").c_str());
    const CFileDumpContext dump((directory / "dump").c_str());
    EXPECT_EQ(open + 2, CountOpen());
    EXPECT_EQ(inheritable, CountInheritable());
  }
  EXPECT_EQ(open, CountOpen());
}

TEST(FileContext, ItsNamedFileIsWrittenInAThreadThatIsToBeCancelledToo) {
  const TempDirectory directory;
  const std::string name = directory / "errors";
  EXPECT_FALSE(bix_test::IsCancelledIn([&name] {
    CFileErrorContext errors(name.c_str());
    errors << "message";
    bix_test::CancelThisThread();
  }));
  EXPECT_EQ("message", ReadWholeFile(name));
}

TEST(BufferContextCompat, MessagesAreEntriesButNotErrors) {
  CBufferErrorContext context;
  EXPECT_EQ(0, context.GetErrorCount());
  CError error("e");
  context << &error << "m";
  EXPECT_EQ(2, context.GetErrorCount());
  EXPECT_EQ(1, context.GetFlushedErrorCount());
  EXPECT_EQ((Strings{"e", "m"}), Texts(context));
}

TEST(BufferContextCompat, AFlushedErrorIsCopied) {
  CBufferErrorContext context;
  int deletions = 0;
  {
    WatchedError error("e", deletions);
    context << &error;
    EXPECT_FALSE(context.ErrorPresent(&error));
  }
  EXPECT_EQ(1, deletions);
  EXPECT_EQ(Strings{"e"}, Texts(context));
}

TEST(BufferContext, LinksTheErrorItselfAndDeletesIt) {
  int deletions = 0;
  {
    CBufferErrorContext context;
    CError* const first = new WatchedError("a", deletions);
    CError* const second = new WatchedError("b", deletions);
    context.LinkError(first);
    context << "m";
    context.LinkError(second);
    EXPECT_TRUE(context.ErrorPresent(first));
    EXPECT_TRUE(context.ErrorPresent(second));
    EXPECT_EQ(3, context.GetErrorCount());
    EXPECT_EQ(0, context.GetFlushedErrorCount()) << "linked, not flushed";
    EXPECT_EQ((Strings{"a", "m", "b"}), Texts(context));
  }
  EXPECT_EQ(2, deletions);
}

TEST(BufferContext, UnlinkingTakesTheFirstEntryOutAndDeletesNothing) {
  CBufferErrorContext context;
  CError a("a"), b("b"), c("c");
  for (CError* error : {&a, &b, &a, &c}) context.LinkError(error);
  context.UnlinkError(&a);
  EXPECT_EQ((Strings{"b", "a", "c"}), Texts(context));
  EXPECT_TRUE(context.ErrorPresent(&a));
  EXPECT_EQ(3, context.GetErrorCount());
  context.UnlinkError(&c);  // the last one
  EXPECT_EQ((Strings{"b", "a"}), Texts(context));
  context.LinkError(&c);
  EXPECT_EQ((Strings{"b", "a", "c"}), Texts(context)) << "the end of the list is where it was";
  context.UnlinkError(&a);
  EXPECT_EQ((Strings{"b", "c"}), Texts(context));
  EXPECT_FALSE(context.ErrorPresent(&a));
  context.UnlinkError(&b);
  context.UnlinkError(&c);
  EXPECT_EQ(0, context.GetErrorCount());
  EXPECT_EQ(nullptr, context.GetFirstErrorPosition());
  context.LinkError(&b);
  EXPECT_EQ(Strings{"b"}, Texts(context)) << "an empty list can be added to again";
  context.UnlinkError(&b);
}

TEST(BufferContext, RemovingWhatIsNotInItChangesNothing) {
  CBufferErrorContext context;
  CError stranger("x");
  context.UnlinkError(&stranger);
  context << "m";
  context.UnlinkError(&stranger);
  EXPECT_EQ(Strings{"m"}, Texts(context));
  EXPECT_EQ(1, context.GetErrorCount());
}

TEST(BufferContext, PositionsEndInNull) {
  CBufferErrorContext context;
  void* position = context.GetFirstErrorPosition();
  EXPECT_EQ(nullptr, position);
  EXPECT_EQ(nullptr, context.GetNextError(position));
  context << "a"
          << "b";
  position = context.GetFirstErrorPosition();
  EXPECT_EQ("a", context.GetNextError(position)->GetText());
  EXPECT_NE(nullptr, position);
  EXPECT_EQ("b", context.GetNextError(position)->GetText());
  EXPECT_EQ(nullptr, position);
}

/// Notes the texts that it is called with, and returns the results that it was given.
struct Recording {
  Strings texts;
  std::vector<long> results;

  static long Note(CError* error, void* data) {
    Recording& self = *static_cast<Recording*>(data);
    self.texts.push_back(error->GetText());
    return self.results[self.texts.size() - 1];
  }
};

TEST(BufferContext, MappingStopsBehindTheFirstResultThatIsNotZero) {
  CBufferErrorContext context;
  Recording none;
  EXPECT_EQ(0, context.MapErrors(&Recording::Note, &none));
  EXPECT_TRUE(none.texts.empty());
  context << "a"
          << "b"
          << "c";
  Recording all{{}, {0, 0, 0}};
  EXPECT_EQ(0, context.MapErrors(&Recording::Note, &all));
  EXPECT_EQ((Strings{"a", "b", "c"}), all.texts);
  Recording second{{}, {0, 1, 9}};
  EXPECT_EQ(1, context.MapErrors(&Recording::Note, &second));
  EXPECT_EQ((Strings{"a", "b"}), second.texts);
  Recording first{{}, {-5, 9, 9}};
  EXPECT_EQ(-5, context.MapErrors(&Recording::Note, &first));
  EXPECT_EQ(Strings{"a"}, first.texts);
  Recording last{{}, {0, 0, 7}};
  EXPECT_EQ(7, context.MapErrors(&Recording::Note, &last));
  EXPECT_EQ((Strings{"a", "b", "c"}), last.texts);
}

TEST(BufferContext, AMappedErrorMayBeRemoved) {
  CBufferErrorContext context;
  context << "a"
          << "b"
          << "c";
  const auto remove = [](CError* error, void* data) -> long {
    static_cast<CBufferErrorContext*>(data)->UnlinkError(error);
    delete error;
    return 0;
  };
  EXPECT_EQ(0, context.MapErrors(remove, &context));
  EXPECT_EQ(0, context.GetErrorCount());
}

TEST(BufferContext, LinkingGoesThroughTheVirtualOperations) {
  class Listener : public CBufferErrorContext {
   public:
    void AddError(CError* error) override {
      calls.push_back("add " + error->GetText());
      CBufferErrorContext::AddError(error);
    }
    void RemoveError(CError* error) override {
      calls.push_back("remove " + error->GetText());
      CBufferErrorContext::RemoveError(error);
    }
    Strings calls;
  };
  Listener context;
  CError error("e");
  context.LinkError(&error);
  EXPECT_EQ(1, context.GetErrorCount());
  context.UnlinkError(&error);
  EXPECT_EQ((Strings{"add e", "remove e"}), context.calls);
  EXPECT_EQ(0, context.GetErrorCount());
}

/// What every dump context makes of the same pieces.
void DumpAll(CDumpCtx& dump) {
  char writable[] = "cd";
  dump << 7 << true << 'x' << "ab" << -12 << false << writable << '\n'
       << "100%s"
       << "";
}
const char kDumped[] = "7truexab-12falsecd\n100%s";

TEST(StringDump, GathersTheText) {
  CStringDumpContext dump;
  EXPECT_STREQ("", dump);
  dump << 7 << true << 'x' << "ab";
  EXPECT_STREQ("7truexab", dump);
  CStringDumpContext all;
  DumpAll(all);
  EXPECT_STREQ(kDumped, all);
  all << static_cast<const char*>(nullptr);
  EXPECT_STREQ(kDumped, all);
}

TEST(StringDump, GrowsBeyondItsFirstSize) {
  CStringDumpContext dump;
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    dump << i << ',';
    expected += std::to_string(i) + ",";
  }
  EXPECT_EQ(expected, static_cast<const char*>(dump));
}

TEST(FileDump, WritesThePieces) {
  const TempDirectory directory;
  const std::string name = directory / "dump";
  bix_test::WriteWholeFile(name, "what was there before, and longer than what comes");
  {
    CFileDumpContext dump(name.c_str());
    DumpAll(dump);
    dump << static_cast<const char*>(nullptr) << '\0';
  }
  EXPECT_EQ(kDumped + std::string(1, '\0'), ReadWholeFile(name));
}

}  // namespace
