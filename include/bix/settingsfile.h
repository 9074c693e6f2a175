#ifndef BIX_SETTINGSFILE_H_
#define BIX_SETTINGSFILE_H_

/// The reader of the settings text format.

#include <cstdio>

#include "bix/export.h"
#include "bix/registry.h"

namespace bix {

class BIX_EXPORT CRgLoader {
 public:
  explicit CRgLoader(CRgKey& root);
  CRgLoader(const CRgLoader&) = delete;
  CRgLoader& operator=(const CRgLoader&) = delete;
  ~CRgLoader();

  int Load(const char* fileName);

  /// Where reading stopped after a failed Load; 0 and "" after a successful one.
  int GetErrorLine() const;
  int GetErrorColumn() const;
  const char* GetErrorExpected() const;

 private:
  CRgKey& m_root;
  std::FILE* m_stream = nullptr;
  int m_current = ' ';
  SString m_text;
  int m_kind = 0;
};

}  // namespace bix

#endif  // BIX_SETTINGSFILE_H_
