#ifndef BIX_STYLES_H_
#define BIX_STYLES_H_

/// Styles: named sets of option values of one kind that inherit from the style they are based on.
///
///   const bix::COption kOptions[] = {{"LineColor", 1, "black"}, {"LineWidth", 2, "1"}};
///   bix::CStyleKind kind("Class", kOptions, 2);
///   bix::CStyle base("Default", &kind, "Diagrams", 0, nullptr);
///   bix::CStyle bold("Bold", &kind, "Diagrams", 1, &base);
///
///   base.SetValue(base.GetCategoryPath(), "LineColor", "blue");
///   bold.SetValue(bold.GetCategoryPath(), "LineWidth", "3");
///   bold.GetValue(bold.GetCategoryPath(), "LineColor");  // "blue", from Default
///
/// A style is an option manager. Its options stand in a category of its own, whose path is
///
///   <root name>/Styles/<name of the kind>/<name of the style>
///
/// and besides those of its kind there is "BasedOn", the name of the style that it is based on. What
/// a style redefines is kept in its first option file, which it makes when it needs one; everything
/// else is read from its parent. bix/stylefile.h loads and saves styles.
///
/// Names and texts compare byte by byte. A null text counts as "".
///
/// Encoding: bytes in the process's multibyte encoding, kept as they are.
/// Owner: nobody but their maker owns styles and kinds: lists, kinds, parents and keys only point at
///   them, and forget a style when it is destroyed. Texts that a look-up returns are owned by the
///   option file or the declaration they come from, valid until the option changes.
/// Errors: nothing here writes messages.
/// Threads: no lock; all styles of a process are used from one thread.

#include "bix/hostmacros_off.h"

#include <cstddef>
#include <cstdint>

#include "bix/containers.h"
#include "bix/export.h"
#include "bix/options.h"
#include "bix/text.h"

namespace bix {

class CStyRgKey;
class CStyle;
class CStyleFile;
class CStyleKind;

/// A list of styles, in order. It does not own them.
class BIX_EXPORT CStyleList : public MList<CStyle*> {
 public:
  explicit CStyleList(CStyleKind* kind = nullptr) : m_kind(kind) {}

  /// The first style of that name, or null.
  CStyle* FindStyle(const char* name) const;
  /// The kind whose list this is; null for a list of a file or of children.
  CStyleKind* GetStyleKind() const { return m_kind; }

 private:
  CStyleKind* m_kind;
};

/// A kind of styles: the options that its styles have, and the styles themselves.
///
/// A kind is found by its name as long as a style of it exists: a host makes the first one with the
/// kind itself in its hands, before it reads styles from files.
class BIX_EXPORT CStyleKind {
 public:
  /// A kind without name and options.
  CStyleKind();
  /// Owner: `options`, `count` of them, is borrowed for the life of the kind and of its styles. It
  ///   may be null when there are none.
  CStyleKind(const char* name, const COption* options, int count);
  CStyleKind(const CStyleKind&) = delete;
  CStyleKind& operator=(const CStyleKind&) = delete;
  /// Leaves the styles of the kind without one: they go on with the values that they have.
  virtual ~CStyleKind();  // slot 1

  /// Appends a style to the list. Styles do so themselves.
  void AddStyle(CStyle* style) { m_styles.AddTail(style); }
  /// Removes the first entry of a style from the list, if there is one.
  void RemoveStyle(CStyle* style) { (void)m_styles.Remove(style); }
  /// Owner: owned by the kind, valid as long as it.
  CStyleList* GetStyleList() { return &m_styles; }
  const CStyleList* GetStyleList() const { return &m_styles; }
  const char* GetName() const { return m_name.c_str(); }
  int GetOptionsCount() const { return m_optionsCount; }
  /// A word that hosts use as they like; 0 at first. Nothing here depends on it.
  unsigned long GetMode() const { return m_mode; }
  void SetMode(unsigned long mode) { m_mode = mode; }
  /// Does nothing: the options of a kind are those it was made with.
  void AddOptionSet(const char* name, const COption* options, int count);

 private:
  friend class CStyle;

  /// A style of the kind begins and ceases to exist.
  void Enter(CStyle* style);
  void Leave(CStyle* style) noexcept;

  const COption* m_options = nullptr;
  SString m_name;
  unsigned long m_mode = 0;
  int m_optionsCount = 0;
  CStyleList m_styles;
  // Behind the fields that add-ins know: the styles that were made of this kind, and where the kind
  // stands in the list of all, once for each of them.
  MList<CStyle*> m_members;
  SVector<void*> m_entries;
};

/// Where the value of a style's option comes from; see CStyle::Explain.
struct CStyleExplanation {
  /// What a style of the chain has to do with the value.
  enum Verdict {
    NotRedefined,  // passes on what its parent says
    Gives,         // redefines the option: the nearest one gives the value
    Hidden,        // redefines it too, but behind the one that gives the value
    GivesDefault,  // nobody redefines the option, and this one's declared default shows
  };

  struct Level {
    const CStyle* style = nullptr;  // owned by the host
    SString name;
    bool isRedefined = false;
    SString text;  // "" unless it is redefined
    Verdict verdict = NotRedefined;
  };

  SString value;                  // what GetValue returns; "" when that is null
  bool isKnown = false;           // false when it is null
  const CStyle* style = nullptr;  // who gave it; null when it is null
  bool isCycle = false;           // the chain comes back to a style that it has passed
  SVector<Level> chain;           // the style itself, its parent, and so on; each style once

  /// A verdict in words, such as "redefines the option and gives the value".
  ///
  /// Owner: process lifetime.
  static BIX_EXPORT const char* GetText(Verdict verdict);
};

/// A named set of option values of one kind.
///
/// A style whose kind is not known when it is made is inert: it has no name, no kind and no options,
/// and every operation on it does nothing.
class BIX_EXPORT CStyle : public COptionManager {
 public:
  /// What OnUpdate is told.
  enum : int { ParentGoes = 1, ValueChanged = 2 };

  /// The name of the option that holds the parent's name, "BasedOn"; "none" without a parent.
  static const char* const InheritString;
  /// The kinds of all live styles, one entry for each style.
  static const MList<CStyleKind*>& m_listStyleKind;

  /// A style that is read from a file. Inert when no style of a kind of that name exists.
  ///
  /// Owner: `key`, the section of the file, is borrowed and may go first; null is allowed.
  CStyle(const char* name, const char* kindName, const char* rootName, CStyRgKey* key);
  /// A style that a host makes. Inert without a kind.
  ///
  /// Owner: `kind` and `parent` are borrowed and may go first; `parent` may be null.
  CStyle(const char* name, CStyleKind* kind, const char* rootName, unsigned long mode,
         CStyle* parent);
  /// Its children become styles without a parent.
  ~CStyle() override;  // slot 1

  /// Redefines an option of the style, or takes a redefinition back.
  ///
  ///   the option is not editable                       nothing happens
  ///   a text that shows without a redefinition         is not stored
  ///   the text that the parent gives                   takes a redefinition back
  ///   "BasedOn" of a style with a parent               stays the parent's name
  ///   a text stored before, in a style without parent  is replaced, also by the default
  ///
  /// The styles based on this one are told.
  /// Errors: false when the option is not editable and when it cannot be stored: it is not
  ///   declared, or the style's name does not fit into a path.
  bool SetValue(const char* category, const char* option, const char* value) override;  // slot 5
  /// The value of an option.
  ///
  ///   the style's own category                  its redefinition, else what the parent says, else
  ///                                             the declared default
  ///   another category that the style declares  the declared default
  ///   an option that is not declared            null
  const char* GetValue(const char* category, const char* option) const override;  // slot 6

  /// The name of the owner under which the style is found.
  const char* GetRootName() const { return m_rootName.c_str(); }
  const char* GetName() const { return m_name.c_str(); }
  /// The category of the style's options; null for an inert style.
  CMgrCategory* GetMgrCategory() const { return m_category; }
  /// Looks for it anew: from the first category down through the first of each.
  void SetMgrCategory();
  /// The path of that category, by which the style's options are read and changed.
  const char* GetCategoryPath() const { return m_path.c_str(); }
  /// The style that this one is based on, or null.
  CStyle* GetParent() const { return m_parent; }
  /// Null for an inert style, and once the kind is gone.
  CStyleKind* GetStyleKind() const { return m_kind; }
  /// The styles based on this one. Owner: owned by the style; null while there never was one.
  const CStyleList* GetChildren() const { return m_children; }
  CStyRgKey* GetKey() const { return m_key; }
  /// The section of a settings tree that holds the style, or null.
  ///
  /// Owner: borrowed; a key that goes takes itself away.
  void SetKey(CStyRgKey* key);

  /// Counts those who use the style. Nothing is deleted at 0.
  int AddRef() { return ++m_references; }
  int Release() { return --m_references; }
  int GetRef() const { return m_references; }

  /// Bits of the mode word.
  bool IsUser() const { return (GetMode() & 1) != 0; }
  bool IsContextual() const { return (GetMode() & 2) != 0; }

  /// The value that the parent gives, asked under the parent's own category; without a parent the
  /// style's own.
  const char* GetHeritedValue(const char* category, const char* option) const;
  /// Bases the style on another one and stores the name of that.
  ///
  ///   null, with a parent   the style goes from its parent, and its own children from it; the
  ///                         stored name stays
  ///   the style itself      as null
  ///
  /// A chain of parents that comes back to the style is the caller's mistake. It is not looked for;
  /// the styles on it read their own redefinitions and declared defaults.
  void SetParent(CStyle* parent);
  /// Lists a style among the children, once. SetParent does so.
  void AddChild(CStyle* child);
  void RemoveChild(CStyle* child);
  /// Tells every child, in order.
  void NotifyAllChildren(CStyle* source, int code);
  /// Told by `source`; of no effect unless that is the parent.
  ///
  ///   ParentGoes     the style is without a parent from now on; its children are not told
  ///   ValueChanged   its children are told, and all styles below
  void OnUpdate(CStyle* source, int code);
  /// How often OnUpdate had an effect. A host that keeps what it has read reads it again when this
  /// has grown.
  std::uint32_t GetUpdateCount() const { return m_updateCount; }

  /// Takes over every value that differs in another style, option by option; null changes nothing.
  void Copy(CStyle* from);
  /// Makes the values under the style's key its redefinitions. The host calls it once the file is
  /// loaded, and before it sets the parent.
  void SetInitialValues();

  using COptionManager::Explain;
  /// Tells which style of the chain gives the value of an option of the style's own category.
  CStyleExplanation Explain(const char* option) const;

 private:
  friend class CStyRgKey;
  friend class CStyleFile;
  friend class CStyleKind;

  void Describe(const char* name, const char* rootName, const CStyleKind& kind);
  void BindKey(CStyRgKey& key);
  void Leave() noexcept;
  void ForgetChildren() noexcept;
  bool IsOwnCategory(const char* category) const;
  const char* GetDefault(const char* option) const;
  const char* GetKindName() const;
  CRgKey* CreateSection(COptionFile& file, const char* category);
  COptionFile* GetOwnFile();
  void StoreParentName(COptionFile& file);
  void TellAllBelow();

  SString m_rootName;
  SString m_name;
  CMgrCategory* m_category = nullptr;
  CStyle* m_parent = nullptr;
  CStyleKind* m_kind = nullptr;
  CStyleList* m_children = nullptr;  // owned
  CStyRgKey* m_key = nullptr;
  int m_references = 0;
  // Behind the fields that add-ins know.
  SString m_path;             // of the category
  MList<CStyle*> m_listedBy;  // the styles that list this one among their children
  std::uint32_t m_updateCount = 0;
  bool m_hasInitialValues = false;  // those of the key were made redefinitions
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_STYLES_H_
