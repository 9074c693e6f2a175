// Prints what the library says about places, language and texts, one line for each argument.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>

#include "bix/directories.h"
#include "bix/library.h"
#include "bix/stringtable.h"
#include "bix/urn.h"

namespace {

const char* ArgumentState() {
  int argc = -1;
  const char* empty[] = {nullptr};
  const char** argv = empty;
  bix::BixSaveMainArguments(0, empty);
  bix::BixGetMainArguments(argc, argv);
  return argc == 0 && argv == nullptr && *bix::TMPBixGetAbsoluteArgv0() == 0 ? "none" : "some";
}

const char* OwnText() {
  static bix::SString s_text;
  return bix::BixLoadString(bix::BixhDllInstance, 8, s_text) != 0 ? s_text.c_str() : "<missing>";
}

const char* CurrentText() {
  static char s_text[100];
  return bix::BixLoadString(8, s_text, sizeof s_text) > 0 ? s_text : "<missing>";
}

const char* CurrentHandleState() {
  return bix::BixGetResourceHandle() == bix::BixhDllInstance ? "own" : "other";
}

const char* DefaultProjects() {
  static bix::SPathName s_path("<none>");
  bix::BixGetDefaultUserProjectPath(s_path);
  return s_path.c_str();
}

const char* ProjectsOfTheUrnMap() {
  static bix::SString s_path;
  bix::SUrnResolver::ResolveUrn("urn:qvvornprojects:", s_path);
  return s_path.c_str();
}

const char* ThreadCount() {
  static std::string s_count;
  const std::filesystem::directory_iterator threads("/proc/self/task");
  s_count = std::to_string(std::distance(begin(threads), end(threads)));
  return s_count.c_str();
}

const struct {
  const char* name;
  const char* (*function)();
} kQuestions[] = {
    {"bin", &bix::BixGetInstallationBin},
    {"directory", &bix::BixGetInstallationDirectory},
    {"root", &bix::BixGetInstallationRoot},
    {"include", &bix::BixGetInstallationInclude},
    {"lib", &bix::BixGetInstallationLib},
    {"etc", &bix::BixGetInstallationEtc},
    {"default-locale", &bix::BixGetDefaultLocaleDir},
    {"locale", &bix::BixGetLocaleDir},
    {"language", &bix::BixGetLocale},
    {"user", &bix::BixGetUserDir},
    {"user-addins", &bix::BixGetUserAddinsDir},
    {"company-addins", &bix::BixGetCompanyAddinsDir},
    {"team-addins", &bix::BixGetTeamAddinsDir},
    {"arguments", &ArgumentState},
    {"own-text", &OwnText},
    {"current-text", &CurrentText},
    {"current-handle", &CurrentHandleState},
    {"default-projects", &DefaultProjects},
    {"projects-of-the-urn-map", &ProjectsOfTheUrnMap},
    {"threads", &ThreadCount},
};

bool Answer(const char* name) {
  for (const auto& question : kQuestions) {
    if (std::strcmp(question.name, name) != 0) continue;
    std::printf("%s\n", question.function());
    return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strchr(argv[i], '=') != nullptr)
      putenv(argv[i]);
    else if (!Answer(argv[i]))
      return 2;
  }
  return 0;
}
