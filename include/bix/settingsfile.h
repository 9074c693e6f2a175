#ifndef BIX_SETTINGSFILE_H_
#define BIX_SETTINGSFILE_H_

/// The reader of the settings text format.

#include <cstddef>
#include <cstdio>
#include <string_view>

#include "bix/export.h"
#include "bix/registry.h"

namespace bix {

namespace impl {
class SettingsInput;
}

class BIX_EXPORT CRgLoader {
 public:
  explicit CRgLoader(CRgKey& root);
  CRgLoader(const CRgLoader&) = delete;
  CRgLoader& operator=(const CRgLoader&) = delete;
  ~CRgLoader();

  int Load(const char* fileName);

  /// Where reading stopped after a failed Load; 0 and "" after a successful one.
  const CRgLoadError& GetError() const { return m_error; }
  int GetErrorLine() const { return m_error.line; }
  int GetErrorColumn() const { return m_error.column; }
  const char* GetErrorExpected() const { return m_error.expected; }

 private:
  class Reading;

  void NextToken();
  void NextKey();
  void NextAttribute();
  int Look();
  void KeepTexts();
  int SkipBlanks();
  void StartText();
  void EndText();
  void ReadQuotedText();
  bool ReadQuotedTextInPlace();
  void ReadQuotedRest();
  void ReadNumber();
  void ReadWord();
  template <class IsEnd>
  void ReadRawText(IsEnd isEnd);

  void ReadSections();
  bool ReadSection();
  bool ReadHeader();
  void ReadKeyAttributes();
  void HandOverKeyAttributes();
  void ReadValues();
  void ReadValueAttributes();
  bool ReadPlainValue();
  void TakeValueName();
  void MakeValue(std::string_view text);
  void AddAttribute(const char* name);
  void HandOverAttributes(CRgValue* value);
  void DeleteAttributes();
  void NoteDeviation(const char* expected);

  CRgKey& m_root;
  std::FILE* m_stream = nullptr;
  int m_current = ' ';
  SString m_text;
  int m_kind = 0;
  // Behind the fields that add-ins know.
  impl::SettingsInput* m_input = nullptr;
  CRgKey* m_key = nullptr;
  CRgKey* m_lastKey = nullptr;
  CDefRgKey* m_plainKey = nullptr;  // m_key, when it is one of the default layer itself
  SString m_component;
  // The text of the last token that carries text: in m_text, or ended in place in the block that is
  // being read. The same for the name of the value that is being read.
  const char* m_token = "";
  std::size_t m_tokenSize = 0;
  bool m_isTokenInBlock = false;
  const char* m_valueName = "";
  std::size_t m_valueNameSize = 0;
  bool m_isValueNameInBlock = false;
  SString m_valueNameText;
  MList<CRgAttribute*> m_attributes;
  const char* m_expected = "";
  CRgLoadError m_deviation;
  CRgLoadError m_error;
};

}  // namespace bix

#endif  // BIX_SETTINGSFILE_H_
