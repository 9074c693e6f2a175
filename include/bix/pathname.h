#ifndef BIX_PATHNAME_H_
#define BIX_PATHNAME_H_

/// File paths, normalised on every assignment from text, and plain path functions.

#include "bix/export.h"
#include "bix/text.h"

namespace bix {

class BIX_EXPORT SPathName : public SString {
 public:
  SPathName() = default;
  SPathName(const char* text);
  SPathName(const SString& text);
  SPathName(const SPathName&) = default;
  SPathName(SPathName&&) noexcept = default;
  ~SPathName() override;

  SPathName& operator=(const char* text);
  SPathName& operator=(const SString& text);
  SPathName& operator=(const SPathName&) = default;
  SPathName& operator=(SPathName&&) noexcept = default;

  const char* GetTail() const;
  const char* GetSuffix() const;
  char* GetBaseName() const;
  SString GetDirectory() const;
  char* GetWinPath() const;
  char* GetUnixPath() const;
  bool IsAbsolutePath() const;

  void AddPathElement(const char* element);
  void AddPathElement(const SString& element);
  void AddSuffix(const char* suffix);
  void AddSuffix(const SString& suffix);
  void SubSuffix();
  void MakeExpandPath();
  void MakeAbsolutePath();
  void MakeAbsolutePath(const SPathName& base);
  void MakeRelativePath(const SPathName& base);
  bool CreateDirectoryA();
};

BIX_EXPORT bool operator==(const SPathName& left, const SPathName& right);
BIX_EXPORT bool operator!=(const SPathName& left, const SPathName& right);
BIX_EXPORT bool operator==(const SPathName& left, const SString& right);
BIX_EXPORT bool operator!=(const SPathName& left, const SString& right);
BIX_EXPORT bool operator==(const SPathName& left, const char* right);
BIX_EXPORT bool operator!=(const SPathName& left, const char* right);

BIX_EXPORT bool BixIsAUri(const char* text);

}  // namespace bix

BIX_EXPORT char* filename_expand(const char* path);
BIX_EXPORT char* full_path_name(const char* path);
BIX_EXPORT char* get_rel_path(const char* target, const char* base);
BIX_EXPORT char* name_unsuffix(char* name);
BIX_EXPORT char* name_base(char* name);
BIX_EXPORT const char* name_suffix(const char* name);

#endif  // BIX_PATHNAME_H_
