#ifndef BIX_URISCHEME_H_
#define BIX_URISCHEME_H_

/// Opening files and other locations by name, whatever their kind.
///
///   bix::SVector<bix::SString> errors;
///   std::unique_ptr<std::istream> stream(bix::SUri.OpenRead(errors, "urn:qvuser:notes.txt"));
///   if (stream == nullptr) Show(errors);
///
/// Each kind of location has a scheme: plain files have the one that the library brings, others,
/// such as "halder:" or "ox:" locations, come with add-ins. Callers never pick a scheme. They ask
/// `SUri`, which resolves URNs and hands each request to the scheme that was registered last of
/// those that can take it.
///
/// A scheme of an add-in:
///
///   class ArchiveScheme final : public bix::SUriScheme { ... };
///   ArchiveScheme s_archive;
///   bix::SUriSchemeManager::Register(s_archive);      // when the add-in is loaded
///   bix::SUriSchemeManager::UnRegister(s_archive);    // before it is unloaded
///
/// Encoding: locations are bytes, handed to the system unchanged.
/// Errors: no operation throws because a location cannot be opened. Schemes append texts for the
///   user to a list of the caller.
/// Threads: no lock. Schemes are registered on the main thread, while the process starts and while
///   it loads add-ins. Each stream belongs to one thread.

#include "bix/hostmacros_off.h"

#include <iosfwd>
#include <list>

#include "bix/containers.h"
#include "bix/export.h"
#include "bix/text.h"

namespace bix {

/// Reads, writes and lets the user pick locations of one kind. Exactly twelve slots, in this order
/// and without data: add-ins are compiled against them.
///
/// Owner: a scheme is a static object or belongs to its add-in; the library never deletes one.
class BIX_EXPORT SUriScheme {
 public:
  /// What a scheme can do, see GetCapabilities.
  enum SCapability {
    eRead = 1,        ///< OpenRead works
    eWrite = 2,       ///< OpenWrite works
    eOpenDialog = 4,  ///< can show an open dialog
    eSaveDialog = 8,  ///< can show a save dialog
    eDirDialog = 16,  ///< can show a directory dialog
  };

  /// Opens a location for reading.
  ///
  /// Owner: new; the caller deletes it.
  /// Errors: null; texts for the user are appended to `errors`, which keeps what it holds.
  virtual std::istream* OpenRead(SVector<SString>& errors, const SString& uri) = 0;  // slot 1

  /// Opens a location for writing; what it held before is replaced.
  ///
  /// Owner: new; the caller deletes it. What is still to be written is written then.
  /// Errors: as OpenRead.
  virtual std::ostream* OpenWrite(SVector<SString>& errors, const SString& uri) = 0;  // slot 2

  /// The format of what lies at the location, a number that the scheme defines; 0 when unknown.
  virtual int GetFormat(const SString& uri) const = 0;  // slot 3

  /// Whether the scheme is one for this location.
  virtual bool CanHandle(const SString& uri) const = 0;  // slot 4

  /// Sets `text` to what users call the scheme.
  virtual void GetSchemeDescription(SString& text) const = 0;  // slot 5

  /// Whether the location cannot be written.
  virtual bool IsReadOnly(const SString& uri) = 0;  // slot 6

  /// The SCapability bits of what the scheme can do.
  virtual int GetCapabilities() const = 0;  // slot 7

  /// Lets the user pick a location to open. `start` is where the dialog starts, `filter` what it
  /// shows; `chosen` receives the location.
  ///
  /// Errors: 0 when the scheme did its work; its own numbers otherwise, of which 2 is taken, see
  ///   `SUri`.
  virtual int OpenDialog(SVector<SString>& errors, const SString& start, SString& chosen,
                         const SString& filter) = 0;  // slot 8

  /// Lets the user pick a location to save to, as OpenDialog.
  virtual int SaveDialog(SVector<SString>& errors, const SString& start, SString& chosen,
                         const SString& filter) = 0;  // slot 9

  /// Lets the user pick a directory, as OpenDialog.
  virtual int DirDialog(SVector<SString>& errors, const SString& start,
                        SString& chosen) = 0;  // slot 10

  /// Reads a location into objects that caller and scheme agree upon, without a stream.
  ///
  /// Owner: `context` is borrowed for the call; whose the items are the two agree upon.
  /// Errors: as OpenDialog.
  virtual int DirectRead(SVector<SString>& errors, const SString& uri, SVector<void*>& items,
                         const void* context) = 0;  // slot 11

  /// Writes objects that caller and scheme agree upon to a location, without a stream.
  ///
  /// Owner: items and `context` are borrowed for the call.
  /// Errors: as OpenDialog.
  virtual int DirectWrite(SVector<SString>& errors, const SString& uri, const SVector<void*>& items,
                          const void* context) = 0;  // slot 12

 protected:
  // COMPAT(scheme-twelve-slots): no virtual destructor, although the class is a base: it would be
  // two slots more than add-ins are compiled against. Test: UriSchemeCompat.HasExactlyTwelveSlots
  ~SUriScheme() = default;
};

/// The schemes of the process, in the order in which they were registered. The library's own scheme
/// for plain files is the first.
class BIX_EXPORT SUriSchemeManager {
 public:
  /// Picks the scheme whose dialog is shown when several have one; null for none. The candidates
  /// stand in the order in which they were registered.
  ///
  /// Owner: the list is borrowed for the call.
  using SSelectSchemeDialog = SUriScheme* (*)(const std::list<SUriScheme*>& candidates);

  /// Adds a scheme behind all others, so that it is asked before them. One that is registered
  /// already stays where it is, and `SUri` is not taken.
  ///
  /// Owner: the scheme is borrowed until UnRegister.
  static void Register(SUriScheme& scheme);

  /// Takes a scheme out; one that is not registered is ignored.
  static void UnRegister(SUriScheme& scheme);

  /// Sets who is asked when several schemes have a dialog; null when nobody is, as at first.
  ///
  /// Owner: the function is borrowed until another one is set.
  static void SetSelectSchemeDialog(SSelectSchemeDialog callback);
};

/// The one entry point for callers: the composite of all registered schemes. It is not itself
/// registered.
///
///   operation                            URNs          asks                              when none
///   OpenRead                             resolved      the latest with eRead             null
///   OpenWrite                            resolved      the latest with eWrite            null
///   CanHandle                            resolved      all                               false
///   IsReadOnly                           see below     the latest                        true
///   GetFormat                            as they are   the latest                        0
///   DirectRead, DirectWrite              as they are   the latest                        2
///   OpenDialog, SaveDialog, DirDialog    as they are   the one with such a dialog        2
///   GetCapabilities                                    all: every bit that one has
///   GetSchemeDescription                               "Composite Scheme"
///
/// "The latest" is the scheme registered last of those whose CanHandle takes the location. Of
/// several schemes with a dialog the callback picks one; without a callback there is none.
///
/// A URN that cannot be resolved is null for OpenRead and OpenWrite and false for CanHandle and
/// IsReadOnly: it was reported on `bixerr`, and nothing is appended to the errors.
///
/// IsReadOnly looks for the scheme by the resolved location, but hands it the location as given.
///
/// Owner: process lifetime.
extern BIX_EXPORT SUriScheme& SUri;

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_URISCHEME_H_
