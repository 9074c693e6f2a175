#ifndef TESTS_OPTIONS_OPTION_TEST_SUPPORT_H_
#define TESTS_OPTIONS_OPTION_TEST_SUPPORT_H_

/// Declarations and files that the option tests share.

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "support/temp_directory.h"

namespace bix_test {

inline const bix::COption kDisplayOptions[] = {
    {"Font", 1, "Sans 10"}, {"TabWidth", 2, "8"}, {"ShowRuler", 3, "false"}, {}};
inline const bix::COptionSet kDisplaySet = {"Display", kDisplayOptions, 3};
inline const bix::CCategory kDisplay = {"Display", nullptr, 0, &kDisplaySet};
inline const bix::COption kBackupOptions[] = {{"Directory", 1, "backup"}, {"Keep", 2, "5"}, {}};
inline const bix::COptionSet kBackupSet = {"Backup", kBackupOptions, 2};
inline const bix::CCategory kBackup = {"Backup", nullptr, 0, &kBackupSet};
inline const bix::CCategory* const kEditorParts[] = {&kDisplay, &kBackup, nullptr};
inline const bix::COption kEditorOptions[] = {{"Theme", 1, "light"}, {}};
inline const bix::COptionSet kEditorSet = {"Editor", kEditorOptions, 1};
inline const bix::CCategory kEditor = {"Editor", kEditorParts, 2, &kEditorSet};

/// A manager that declares "Editor" (Theme), "Editor/Display" (Font, TabWidth, ShowRuler) and
/// "Editor/Backup" (Directory, Keep), and a directory for its files.
class OptionFixture : public testing::Test {
 protected:
  OptionFixture() { manager.AddCategory(&kEditor); }

  std::string Write(const std::string& name, std::string_view content) {
    WriteWholeFile(directory / name, content);
    return directory / name;
  }
  std::string Read(const std::string& name) const { return ReadWholeFile(directory / name); }
  /// Writes a file and puts it on the stack.
  bix::COptionFile* Add(const std::string& name, std::string_view content) {
    bix::COptionFile* file = manager.Load(Write(name, content).c_str());
    EXPECT_NE(nullptr, file) << name;
    return file;
  }

  TempDirectory directory;
  bix::COptionManager manager{"Test"};
};

}  // namespace bix_test

#endif  // TESTS_OPTIONS_OPTION_TEST_SUPPORT_H_
