#ifndef BIX_MODULEMANAGER_H_
#define BIX_MODULEMANAGER_H_

/// The message numbers that several modules share: ranges of numbers under short prefixes, and the
/// handlers that load the texts of their numbers.
///
///   bix::BixResourceHandler handler(100, 199);       // lives as long as the module
///
///   handler.SetInstance(module);                     // has a string table, see bix/stringtable.h
///   bix::BixModuleManager::RegisterRange("ABC", 100, 199);
///   bix::BixModuleManager::RegisterResourceHandler(handler);
///
///   bix::SString text;
///   bix::PvxGetPrefixedString(105, text);            // "ABC0005: No such node."
///
///   bix::BixModuleManager::UnregisterResourceHandler(handler);
///
/// Owner: handlers are borrowed until they are unregistered; a module does so before it destroys
///   its handler. Ranges stay until the process ends.
/// Errors: false or null, and nothing is printed here. A text that its module does not have is
///   reported by the loading itself, see BixLoadString.
/// Threads: no lock. Modules register while they are loaded; texts are asked for afterwards.

#include "bix/hostmacros_off.h"

#include <cstdint>

#include "bix/export.h"
#include "bix/hosttypes.h"
#include "bix/text.h"

namespace bix {

/// What loads the texts of a range of numbers. Hosts are compiled against the slots: nothing may be
/// added to them.
class BIX_EXPORT IBixResourceHandler {
 public:
  /// Loads text `id` into `out`.
  virtual bool GetString(unsigned int id, SString& out) const = 0;  // slot 1
  /// Loads text `id` into `out`, behind its prefix and number.
  virtual bool GetPrefixedString(unsigned int id, SString& out) const = 0;  // slot 2
  /// The first and the last number.
  virtual void GetHandledRange(unsigned int& low, unsigned int& high) const = 0;  // slot 3
  /// Whether the texts of `id` are the handler's.
  virtual bool IsHandled(unsigned int id) const = 0;  // slot 4

 protected:
  // Never deleted through the interface.
  ~IBixResourceHandler() = default;
};

/// A handler that loads from the string table of one module.
class BIX_EXPORT BixResourceHandler : public IBixResourceHandler {
 public:
  /// For the numbers from `low` to `high`, both included. It has no module yet and loads nothing.
  BixResourceHandler(unsigned int low, unsigned int high);

  /// The module whose texts are loaded; null for none.
  void SetInstance(HINSTANCE module);

  /// Loads text `id` of the module.
  ///
  /// Errors: false without a module, for a number outside of the range, and for a text that is
  ///   missing, which BixLoadString reports, or empty. `out` stays as it was, but for an empty
  ///   text. After a number outside of the range the handler's module stays the current resource
  ///   handle (see BixGetResourceHandle); in all other cases the handle is what it was.
  bool GetString(unsigned int id, SString& out) const override;  // slot 1

  /// Loads text `id`, behind the prefix of the first registered range that holds the whole range of
  /// this handler, and the place of the number in that range, in four digits or more:
  ///
  ///   range "ABC" 100-199, text 105    => "ABC0005: " and the text
  ///   range "XY" 0-99999, text 12345   => "XY12345: " and the text
  ///
  /// Errors: false without a module, without such a range, for a number in front of the range, and
  ///   when GetString fails, which is called as a virtual operation. `out` is as that left it.
  bool GetPrefixedString(unsigned int id, SString& out) const override;  // slot 2

  /// The two ends.
  void GetHandledRange(unsigned int& low, unsigned int& high) const override;  // slot 3

  /// Whether low <= id <= high.
  bool IsHandled(unsigned int id) const override;  // slot 4

  virtual ~BixResourceHandler();  // slot 5

 private:
  // Hosts are compiled against the order of these members; new ones go to the end.
  std::uint32_t m_low;
  std::uint32_t m_high;
  HINSTANCE m_instance = nullptr;
};

/// The ranges and handlers of the process.
class BIX_EXPORT BixModuleManager {
 public:
  BixModuleManager() = delete;

  /// Claims the numbers from `low` to `high`, both included, for `prefix`.
  ///
  ///   "ABC" 100-199                        => true
  ///   "XYZ" 199-299 behind that            => true       one end number may be shared
  ///   "XYZ" 150-160                        => false      overlaps
  ///   "ABC" 100-250 when it has 100-199    => true       one end is the same; nothing changes
  ///   "ABC" 101-250 when it has 100-199    => false
  ///   null, or low > high                  => false
  ///
  /// The ranges are asked in the order in which they were registered; the first that has this
  /// prefix or overlaps decides. Two ranges do not overlap when the last number of one is the first
  /// of the other.
  /// Owner: the prefix is copied.
  static bool RegisterRange(const char* prefix, unsigned int low, unsigned int high);

  /// Adds the handler behind the others.
  ///
  /// Errors: false when its range overlaps that of a registered handler, which is asked for it now,
  ///   or when such a one has its ends in the wrong order. So a handler cannot be registered twice.
  static bool RegisterResourceHandler(const IBixResourceHandler& handler);

  /// Takes the handler out. Nothing happens when it is not registered.
  static void UnregisterResourceHandler(const IBixResourceHandler& handler);

  /// The first registered handler whose IsHandled is true for `id`, or null.
  /// Owner: owned by the module that registered it, valid until it is unregistered.
  static const IBixResourceHandler* GetResourceHandler(unsigned int id);
};

/// Whether low <= id <= high.
BIX_EXPORT bool IsIDInRange(unsigned int id, unsigned int low, unsigned int high);

/// Whether an end of one range lies in the other, the ends included.
///
///   1-5, 5-9   => true
///   1-9, 3-4   => true
///   1-4, 5-9   => false
BIX_EXPORT bool DoRangesOverlap(unsigned int low1, unsigned int high1, unsigned int low2,
                                unsigned int high2);

/// The text of `id` behind its prefix and number, from the handler whose number it is; see
/// BixResourceHandler::GetPrefixedString.
///
/// Errors: false, when no handler has the number, or as that handler's GetPrefixedString.
BIX_EXPORT bool PvxGetPrefixedString(unsigned int id, SString& out);

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_MODULEMANAGER_H_
