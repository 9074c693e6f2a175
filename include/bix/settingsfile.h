#ifndef BIX_SETTINGSFILE_H_
#define BIX_SETTINGSFILE_H_

/// The reader of settings files.
///
///   bix::CDefRgKey root("");
///   bix::CRgLoader loader(root);
///   if (loader.Load("editor.tot") != 0)
///     std::fprintf(stderr, "line %d, column %d: expected %s\n", loader.GetErrorLine(),
///                  loader.GetErrorColumn(), loader.GetErrorExpected());
///
/// Most hosts use bix::CRgFile instead. docs/settings-format.md describes the file.
///
/// Encoding: bytes, stored as read.
/// Threads: one loader, one thread.

#include "bix/hostmacros_off.h"

#include <cstddef>
#include <cstdio>
#include <string_view>

#include "bix/export.h"
#include "bix/registry.h"

namespace bix {

namespace impl {
class SettingsInput;
}

/// Turns settings files into calls of a root key and of the keys that these calls return: CreateKey
/// for every component of a section header, SetAttributes or UseAttributes for its attributes, and
/// CreateValue with type 0 for every value. The key layer decides what is kept.
///
/// What a file makes is added to what is there; one loader may read several files in turn.
class BIX_EXPORT CRgLoader {
 public:
  /// Owner: `root` is borrowed for the life of the loader.
  explicit CRgLoader(CRgKey& root);
  CRgLoader(const CRgLoader&) = delete;
  CRgLoader& operator=(const CRgLoader&) = delete;
  ~CRgLoader();

  /// Reads a whole file, which is open only meanwhile and never inherited by a child process.
  ///
  ///   [A/B]            => CreateKey("A"), CreateKey("B")
  ///   "x"="1"          => CreateValue("x", 0, "1")
  ///   "n"=007          => CreateValue("n", 0, "7")
  ///   [] or [A//B]     => failure
  ///   no closing quote => the text ends with the file, which is no failure
  ///
  /// Reading ends, with success, at the end of the file or at its first NUL byte.
  ///
  /// Errors: 1 for an empty name, for a file that cannot be opened or read, and where something
  /// stands that the grammar does not expect; what was made up to there stays.
  int Load(const char* fileName);

  /// Why the last Load failed. Owner: owned by the loader, valid until the next Load.
  const CRgLoadError& GetError() const { return m_error; }
  /// The parts of GetError: line and column (in bytes) from 1, and what should have stood there.
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
  impl::LoadMemory* m_memory = nullptr;
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

#include "bix/hostmacros_on.h"

#endif  // BIX_SETTINGSFILE_H_
