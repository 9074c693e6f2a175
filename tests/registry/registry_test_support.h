#ifndef BIX_TESTS_REGISTRY_REGISTRY_TEST_SUPPORT_H_
#define BIX_TESTS_REGISTRY_REGISTRY_TEST_SUPPORT_H_

/// What the tests of settings trees and files share: a directory of their own, whole files as
/// texts, and a tree as a text that shows everything in it.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bix/registry.h"

namespace bix_test {

/// A fresh directory, removed with its contents.
class Directory {
 public:
  Directory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "bix-registry-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp " + pattern);
    m_path = pattern;
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  std::string GetPath(const std::string& name) const { return m_path + "/" + name; }
  std::string Write(const std::string& name, std::string_view text) const {
    const std::string path = GetPath(name);
    std::ofstream(path, std::ios::binary)
        .write(text.data(), static_cast<std::streamsize>(text.size()));
    return path;
  }

 private:
  std::string m_path;
};

inline std::string ReadWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

inline std::string DescribeAttributes(const bix::MList<bix::CRgAttribute*>& attributes) {
  if (attributes.IsEmpty()) return "";
  std::string text = "(";
  for (void* position = attributes.GetHeadPosition(); position != nullptr;) {
    const bix::CRgAttribute* attribute = attributes.GetNext(position);
    text += std::string(attribute->GetName()) + "=" + attribute->GetValue();
    text += position != nullptr ? "," : ")";
  }
  return text;
}

/// One line for each key, with its attributes, and one for each value, indented by depth:
///
///   A(k=v)
///    x=1:0(p=q)     name, text, type, attributes
///    B
///
/// The root is not named.
inline std::string Describe(bix::CRgKey* key, const std::string& indent = "") {
  std::string text;
  for (void* position = key->GetFirstValuePosition(); position != nullptr;) {
    bix::CRgValue* value = key->GetNextValue(position);
    text += indent + value->GetName() + "=" + value->GetValue() + ":" +
            std::to_string(value->GetType()) + DescribeAttributes(*value->GetAttributeList()) +
            "\n";
  }
  for (void* position = key->GetFirstKeyPosition(); position != nullptr;) {
    bix::CRgKey* subKey = key->GetNextKey(position);
    text += indent + subKey->GetName() + DescribeAttributes(*subKey->GetAttributeList()) + "\n";
    text += Describe(subKey, indent + " ");
  }
  return text;
}

/// What Dump writes for `key` below `parentPath`.
inline std::string Dumped(const bix::CRgKey& key, const char* parentPath) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* file = open_memstream(&text, &size);
  key.Dump(file, parentPath);
  std::fclose(file);
  std::string result(text, size);
  std::free(text);
  return result;
}

}  // namespace bix_test

#endif  // BIX_TESTS_REGISTRY_REGISTRY_TEST_SUPPORT_H_
