#ifndef BIX_STYLEFILE_H_
#define BIX_STYLEFILE_H_

/// Style files: settings files whose sections are styles, and the keys of their trees.
///
///   [Diagrams/Styles/Class/Bold] (Class=Bold)
///
///   "BasedOn"="Default"
///   "LineWidth"="3"
///
/// A section is a style when it has an attribute: the kind is the attribute's name, the style's name
/// its value. Loading makes the styles; the host then applies what was read, first to all, and bases
/// them on each other:
///
///   bix::CStyleFile file;
///   bix::CStyleList styles;
///   if (file.Load("house.sty", &styles) != 0) return;
///   for (bix::CStyle* style : ...) style->SetInitialValues();
///   for (bix::CStyle* style : ...)
///     if (bix::CStyleKind* kind = style->GetStyleKind())
///       style->SetParent(kind->GetStyleList()->FindStyle(
///           style->GetValue(style->GetCategoryPath(), bix::CStyle::InheritString)));
///   ...
///   file.Save("house.sty", &styles);
///
/// docs/styles.md has it in full, and docs/settings-format.md the format.
///
/// Encoding: bytes in the process's multibyte encoding, kept as they are.
/// Owner: the styles that loading makes are the caller's, who deletes them; the file and its keys
///   may go first, and so may the styles.
/// Errors: results only; nothing is written on a channel.
/// Threads: as for styles: one thread.

#include "bix/hostmacros_off.h"

#include "bix/containers.h"
#include "bix/export.h"
#include "bix/registry.h"
#include "bix/styles.h"
#include "bix/text.h"

namespace bix {

class COptRgKey;

/// A key of a style file. It keeps the values of declared options, and makes the style that its
/// attributes name.
class BIX_EXPORT CStyRgKey : public CRgKey {
 public:
  explicit CStyRgKey(const char* name);
  ~CStyRgKey() override;                 // slot 1
  const char* GetName() const override;  // slot 2
  /// The sub-key of that name, made where it is missing. It shows the sub-category of that name, if
  /// this key's category has one.
  ///
  /// Owner: `attributes` may be null; otherwise the key takes them. They make no style.
  CRgKey* CreateKey(const char* name, MList<CRgAttribute*>* attributes) override;  // slot 3
  CRgKey* FindKey(const char* name) const override;                                // slot 4
  bool AddKey(CRgKey* key) override;                                               // slot 5
  bool RemoveKey(CRgKey* key) override;                                            // slot 6
  /// A new value for an option that the key's category declares.
  ///
  /// Owner: `attributes` may be null. When the option is not declared the result is null and the
  ///   caller keeps the attributes; otherwise the value takes them.
  CRgValue* CreateValue(const char* name, CRgValue::RvType type, const char* value,
                        MList<CRgAttribute*>* attributes) override;  // slot 7
  CRgValue* FindValue(const char* name) const override;              // slot 8
  bool AddValue(CRgValue* value) override;                           // slot 9
  bool RemoveValue(CRgValue* value) override;                        // slot 10
  /// Takes the attributes and makes the style that they name.
  void SetAttributes(MList<CRgAttribute*>* attributes) override;  // slot 11
  /// Makes a style of a kind (an attribute's name) and a name (its value).
  ///
  ///   name null   from the first attribute, unless the key has a style; the key itself comes back
  ///   otherwise   from the attribute whose value is `name`; the key `name`/<kind> below this one
  ///               gets it and comes back, or null when there is no key `name`
  ///
  /// Owner: the style is new; the caller deletes it. It is the result's GetStyle, or stands in the
  ///   list of its kind.
  CRgKey* UseAttributes(MList<CRgAttribute*>* attributes, const char* name) override;  // slot 12
  void Empty() override;                                                               // slot 13

  /// The style made for this key, or null.
  CStyle* GetStyle() const { return m_style; }
  /// The category whose options the key keeps, or null.
  CMgrCategory* GetCategory() const;
  /// Shows a category, or none (null), until that goes.
  void SetCategory(CMgrCategory* category);

 private:
  friend class CStyle;
  friend class CStyleFile;

  CStyle* MakeStyle(const CRgAttribute& attribute, const char* rootName);
  void TakeStyle(CStyle& style);
  const char* GetTopName() const;

  MMap<SString, CRgKey*> m_keyIndex;      // the first of each name
  MMap<SString, CRgValue*> m_valueIndex;  // the first of each name
  SString m_name;
  CStyle* m_style = nullptr;
  COptRgKey* m_categoryLink = nullptr;  // owned; shows the category, and is told when that goes
  // Behind the fields that add-ins know.
  MList<CStyle*> m_holders;         // the styles whose key this is
  bool m_hasForeignKeys = false;    // of other classes, which may change their names
  bool m_hasForeignValues = false;  // the same
};

/// The root of a style file's tree.
class BIX_EXPORT CStyRootRgKey : public CStyRgKey {
 public:
  /// Owner: `manager` is borrowed and may go first; null is allowed.
  explicit CStyRootRgKey(COptionManager* manager);
  ~CStyRootRgKey() override;
  CRgKey* CreateKey(const char* name, MList<CRgAttribute*>* attributes) override;

 private:
  friend class CStyRgKey;
  friend class CStyleFile;

  SVector<CStyle*>* m_made = nullptr;  // the styles made by the load that is under way
};

/// A settings file of styles.
class BIX_EXPORT CStyleFile : public CRgFile {
 public:
  /// Owner: `optionFile` is borrowed and may go first; null is allowed. What its manager declares
  ///   is kept in the tree, too.
  explicit CStyleFile(COptionFile* optionFile = nullptr);
  ~CStyleFile() override;

  COptionFile* GetOptionFile() const { return m_optionFile; }
  bool IsModified() const { return m_modified != 0; }
  void SetModifiedFlag(int modified = 1) { m_modified = modified; }

  /// Loads a file and appends the styles in it to `list`, which may be null. A section of a kind
  /// that is not known gives an inert style.
  ///
  /// Owner: the styles are new; the caller deletes them.
  /// Errors: 1 when the file cannot be read or parsed; the tree is empty then, and the styles made
  ///   up to there are deleted.
  int Load(const char* fileName, CStyleList* list);
  /// Appends the styles of a key and of all keys below it: a key's before those of its sub-keys.
  static void FillStyleList(CStyRgKey* key, CStyleList* list);

  /// Saves what the styles of a list redefine, or those of the tree when it is null, to `fileName`
  /// or, when that is null, to the name of the first load.
  ///
  ///   no name                                           => 1
  ///   two styles of one place, or a style whose names
  ///     or texts the format cannot carry                => 1, the target stays
  ///   the target may not be written                     => the error number, nothing is written
  ///   the target cannot be read or parsed               => 1, the target stays
  ///   a system call fails                               => its error number, the target stays
  ///   saved                                             => 0, the modified flag is cleared
  ///
  /// A style goes where it came from, and one that a host has made to its category path. What the
  /// target holds besides (other sections, values that the kind does not declare) stays. The target
  /// is replaced by one rename, after the new file has reached the disk and has been read back.
  int Save(const char* fileName, const CStyleList* list = nullptr);
  /// Takes a style out of the tree, and its section out of the target at the next Save, unless that
  /// saves the style again.
  ///
  /// Owner: the style stays the caller's.
  void RemoveStyle(CStyle* style);

 private:
  SString GetSectionPath(const CStyle& style) const;
  static bool AddSection(COptRgKey& root, const CStyle& style, const SString& path);

  COptionFile* m_optionFile;
  int m_modified = 0;
  // Behind the fields that add-ins know.
  SVector<SString> m_removedSections;
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_STYLEFILE_H_
