#ifndef BIX_OPTIONDESCRIPTION_H_
#define BIX_OPTIONDESCRIPTION_H_

/// Options by name alone, without kind or default: what a component cares about, to be compared with
/// what a manager declares.
///
///   bix::COptionDescriptionList wanted;
///   wanted.AddTail(new bix::COptionDescription("Editor/Display", "Font"));
///   wanted.AddTail(new bix::COptionDescription("Editor", "Theme"));
///   if (wanted.IsCompatibleWith(&manager)) Offer(manager);     // it declares one of them at least
///   wanted.FindOption("Editor/Theme");                         // true
///
/// The path of a description is the names of the categories on the way to the option and the name of
/// the option, joined by "/". Paths compare byte by byte.
///
/// Encoding: bytes, kept as they are.
/// Errors: nothing here writes messages or fails.
/// Threads: no lock; a list belongs to one thread at a time.

#include "bix/hostmacros_off.h"

#include "bix/containers.h"
#include "bix/export.h"
#include "bix/text.h"

namespace bix {

class COptionManager;

/// Names one option. A host may derive from it; a list deletes it through its destructor.
class BIX_EXPORT COptionDescription {
 public:
  /// Copies both texts. The path of the category comes first.
  COptionDescription(const SString& categoryPath, const SString& optionName);
  COptionDescription(const COptionDescription&) = default;
  COptionDescription& operator=(const COptionDescription&) = default;
  virtual ~COptionDescription();  // slot 1

  /// The name of the option, without its category.
  const SString& GetOptionName() const { return m_optionName; }
  /// The path of its category; "" when there is none.
  const SString& GetCategoryPath() const { return m_categoryPath; }
  /// The path of the option, always with a "/":
  ///
  ///   "Editor/Display", "Font" => "Editor/Display/Font"
  ///   "", "Font"               => "/Font"
  SString GetPath() const;

 private:
  // Hosts are compiled against the order of these members; new ones go to the end.
  SString m_optionName;
  SString m_categoryPath;
};

/// Descriptions in the order in which they were added, see MList.
///
/// Owner: descriptions are adopted when they are added; the list deletes them with Empty() and when
///   it ends. RemoveAt(), Remove() and RemoveAll() hand them back to the caller.
class BIX_EXPORT COptionDescriptionList : public MList<COptionDescription*> {
 public:
  /// An empty list.
  COptionDescriptionList() = default;
  ~COptionDescriptionList();

  /// Whether a description has this path, in the same letters. Null is "".
  bool FindOption(const char* path) const;
  /// Whether the list is empty or `manager` declares one of the options at least.
  ///
  /// `manager` is borrowed for the call. Null declares nothing.
  bool IsCompatibleWith(COptionManager* manager) const;
  /// Deletes all descriptions.
  void Empty();
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_OPTIONDESCRIPTION_H_
