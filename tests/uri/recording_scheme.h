#ifndef TESTS_URI_RECORDING_SCHEME_H_
#define TESTS_URI_RECORDING_SCHEME_H_

/// Schemes that remember what they are asked.

#include <sstream>
#include <string>
#include <vector>

#include "bix/urischeme.h"

namespace bix_test {

/// Takes the locations that begin with a prefix, and answers with numbers and texts of its own.
/// Registered as long as it lives, unless told otherwise.
class RecordingScheme : public bix::SUriScheme {
 public:
  enum Registration { kRegistered, kNotRegistered };

  RecordingScheme(std::string name, std::string prefix, int capabilities,
                  Registration registration = kRegistered)
      : m_name(std::move(name)), m_prefix(std::move(prefix)), m_capabilities(capabilities) {
    if (registration == kRegistered) bix::SUriSchemeManager::Register(*this);
  }
  RecordingScheme(const RecordingScheme&) = delete;
  RecordingScheme& operator=(const RecordingScheme&) = delete;
  ~RecordingScheme() { bix::SUriSchemeManager::UnRegister(*this); }

  std::istream* OpenRead(bix::SVector<bix::SString>& errors, const bix::SString& uri) override {
    Note("OpenRead", uri);
    errors.push_back(m_name + " reads");
    return new std::istringstream("from " + m_name);
  }
  std::ostream* OpenWrite(bix::SVector<bix::SString>& errors, const bix::SString& uri) override {
    Note("OpenWrite", uri);
    errors.push_back(m_name + " writes");
    return new std::ostringstream("to " + m_name);
  }
  int GetFormat(const bix::SString& uri) const override {
    Note("GetFormat", uri);
    return m_answer;
  }
  bool CanHandle(const bix::SString& uri) const override {
    Note("CanHandle", uri);
    return uri.compare(0, m_prefix.size(), m_prefix) == 0;
  }
  void GetSchemeDescription(bix::SString& text) const override { text = m_name; }
  bool IsReadOnly(const bix::SString& uri) override {
    Note("IsReadOnly", uri);
    return m_isReadOnly;
  }
  int GetCapabilities() const override { return m_capabilities; }
  int OpenDialog(bix::SVector<bix::SString>& errors, const bix::SString& start,
                 bix::SString& chosen, const bix::SString& filter) override {
    return Dialog("OpenDialog", errors, start + "," + filter, chosen);
  }
  int SaveDialog(bix::SVector<bix::SString>& errors, const bix::SString& start,
                 bix::SString& chosen, const bix::SString& filter) override {
    return Dialog("SaveDialog", errors, start + "," + filter, chosen);
  }
  int DirDialog(bix::SVector<bix::SString>& errors, const bix::SString& start,
                bix::SString& chosen) override {
    return Dialog("DirDialog", errors, start, chosen);
  }
  int DirectRead(bix::SVector<bix::SString>& errors, const bix::SString& uri,
                 bix::SVector<void*>& items, const void* context) override {
    Note("DirectRead", uri);
    errors.push_back(m_name + " reads directly");
    items.push_back(const_cast<void*>(context));
    return m_answer;
  }
  int DirectWrite(bix::SVector<bix::SString>& errors, const bix::SString& uri,
                  const bix::SVector<void*>& items, const void* context) override {
    Note("DirectWrite", uri);
    errors.push_back(m_name + " writes directly");
    return items == bix::SVector<void*>{const_cast<void*>(context)} ? m_answer : -1;
  }

  /// What the scheme was asked since the last time, but for its capabilities and its description.
  std::string TakeCalls() {
    std::string calls;
    calls.swap(m_calls);
    return calls;
  }

  int m_answer = 7;
  bool m_isReadOnly = false;

 private:
  void Note(const char* operation, const std::string& text) const {
    if (!m_calls.empty()) m_calls += " ";
    m_calls += operation + ("(" + text + ")");
  }
  int Dialog(const char* operation, bix::SVector<bix::SString>& errors, const std::string& asked,
             bix::SString& chosen) {
    Note(operation, asked);
    errors.push_back(m_name + " asks");
    chosen = m_name + " chose";
    return m_answer;
  }

  std::string m_name;
  std::string m_prefix;
  int m_capabilities;
  mutable std::string m_calls;
};

}  // namespace bix_test

#endif  // TESTS_URI_RECORDING_SCHEME_H_
