// The scheme of plain files by itself: callers only meet it behind the composite.

#include "uri/file_scheme.h"

#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/temp_directory.h"

namespace {

using bix::SString;
using bix::impl::SDefaultFileScheme;

using Errors = bix::SVector<SString>;
using Items = bix::SVector<void*>;

TEST(FileSchemeObject, TellsWhatItIs) {
  const SDefaultFileScheme scheme;
  SString text("before");
  scheme.GetSchemeDescription(text);
  EXPECT_EQ("The default file scheme", text);
  EXPECT_EQ(3, scheme.GetCapabilities());
  EXPECT_EQ(0, scheme.GetFormat("/a.txt"));
}

TEST(FileSchemeObject, TakesPlainPathsOnly) {
  const SDefaultFileScheme scheme;
  for (const char* path : {"/a", "a", "", "./C:/x"}) EXPECT_TRUE(scheme.CanHandle(path)) << path;
  for (const char* uri : {"urn:qvuser:a", "halder:a", "ox:a", "C:/x", "http://host/a"})
    EXPECT_FALSE(scheme.CanHandle(uri)) << uri;
}

TEST(FileSchemeObject, OpensWhatItIsGiven) {
  const bix_test::TempDirectory directory;
  SDefaultFileScheme scheme;
  Errors errors;
  const std::string file = directory / "urn:x:y";
  std::unique_ptr<std::ostream> out(scheme.OpenWrite(errors, file));
  ASSERT_NE(nullptr, out);
  *out << "text";
  out.reset();
  const std::unique_ptr<std::istream> in(scheme.OpenRead(errors, file));
  ASSERT_NE(nullptr, in);
  std::ostringstream text;
  text << in->rdbuf();
  EXPECT_EQ("text", text.str());
  EXPECT_EQ(Errors(), errors);
}

TEST(FileSchemeCompat, DialogsAndDirectAccessDoNothingAndSucceed) {
  const bix_test::TempDirectory directory;
  SDefaultFileScheme scheme;
  Errors errors;
  SString chosen("unchanged");
  EXPECT_EQ(0, scheme.OpenDialog(errors, directory.Path(), chosen, "*"));
  EXPECT_EQ(0, scheme.SaveDialog(errors, directory.Path(), chosen, "*"));
  EXPECT_EQ(0, scheme.DirDialog(errors, directory.Path(), chosen));
  EXPECT_EQ("unchanged", chosen);
  int item = 0;
  Items items{&item};
  EXPECT_EQ(0, scheme.DirectRead(errors, directory / "missing", items, nullptr));
  EXPECT_EQ(0, scheme.DirectWrite(errors, directory / "missing", items, nullptr));
  EXPECT_EQ(Items{&item}, items);
  EXPECT_EQ(Errors(), errors);
  EXPECT_FALSE(bix_test::Exists(directory / "missing"));
}

}  // namespace
