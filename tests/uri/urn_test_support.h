#ifndef TESTS_URI_URN_TEST_SUPPORT_H_
#define TESTS_URI_URN_TEST_SUPPORT_H_

/// A home directory with a URN map, for one test.

#include <filesystem>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "bix/urn.h"
#include "support/recording_handler.h"
#include "support/scoped_environment.h"
#include "support/temp_directory.h"

namespace bix_test {

/// The map holds the predefined names of a fresh home directory; "urnmap.txt" is there and empty.
class UrnFixture : public testing::Test {
 protected:
  UrnFixture() {
    std::filesystem::create_directories(home / "Kestrane/Shared");
    WriteMapFile("");
    bix::SUrnResolver::RegisterURNsWithoutOptions();
  }

  std::string MapFile() const { return home / "Kestrane/Shared/urnmap.txt"; }
  void WriteMapFile(std::string_view text) { WriteWholeFile(MapFile(), text); }
  /// The map made of a file with this text, and the messages about it.
  std::string BuildFrom(std::string_view text) {
    WriteMapFile(text);
    const ScopedRecorder recorder;
    bix::SUrnResolver::RegisterURNsWithoutOptions();
    return recorder.Text();
  }
  /// The directory of a name, "<none>" when the map has none.
  static std::string DirectoryOf(const std::string& name) {
    if (!bix::SUrnResolver::IsUrnRegistered(name)) return "<none>";
    bix::SString path;
    EXPECT_TRUE(bix::SUrnResolver::ResolveUrn("urn:" + name + ":", path));
    return path;
  }
  static std::string Resolved(const std::string& urn) {
    bix::SString path;
    (void)bix::SUrnResolver::ResolveUrn(urn, path);
    return path;
  }
  static std::string UrnOf(const std::string& path) {
    bix::SString urn;
    bix::SUrnResolver::CreateUrn(path, urn);
    return urn;
  }

  const TempDirectory home;
  ScopedVariable homeVariable{"HOME", home.Path().c_str()};
  const ScopedVariable others[5] = {{"VORN_URN_MAP_FILE", nullptr},
                                    {"VORN_USER_ADDINS_DIR", nullptr},
                                    {"VORN_TEAM_ADDINS_DIR", nullptr},
                                    {"VORN_COMPANY_ADDINS_DIR", nullptr},
                                    {"KESTRANE_ATELAN_LANGUAGE", nullptr}};
};

inline std::string AlreadyDefined(const std::string& name, const std::string& directory) {
  return "The URN name '" + name + "' is already defined to '" + directory +
         "'. Please check environment variable VORN_URN_MAP_FILE and "
         "VORN->Options->General->URNMap.\n";
}

}  // namespace bix_test

#endif  // TESTS_URI_URN_TEST_SUPPORT_H_
