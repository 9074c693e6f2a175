// An add-in that was compiled elsewhere: it knows the slots of the interface by their order only, and
// calls and implements them under names of its own. It comes and goes with its file.

#include <iosfwd>
#include <sstream>
#include <string>

#include "bix/containers.h"
#include "bix/text.h"

namespace bix {

using Texts = SVector<SString>;

class SUriScheme {
 public:
  virtual std::istream* Slot1(Texts& errors, const SString& uri) = 0;
  virtual std::ostream* Slot2(Texts& errors, const SString& uri) = 0;
  virtual int Slot3(const SString& uri) const = 0;
  virtual bool Slot4(const SString& uri) const = 0;
  virtual void Slot5(SString& text) const = 0;
  virtual bool Slot6(const SString& uri) = 0;
  virtual int Slot7() const = 0;
  virtual int Slot8(Texts& errors, const SString& start, SString& chosen,
                    const SString& filter) = 0;
  virtual int Slot9(Texts& errors, const SString& start, SString& chosen,
                    const SString& filter) = 0;
  virtual int Slot10(Texts& errors, const SString& start, SString& chosen) = 0;
  virtual int Slot11(Texts& errors, const SString& uri, SVector<void*>& items,
                     const void* context) = 0;
  virtual int Slot12(Texts& errors, const SString& uri, const SVector<void*>& items,
                     const void* context) = 0;

 protected:
  ~SUriScheme() = default;
};

class SUriSchemeManager {
 public:
  static void Register(SUriScheme& scheme);
  static void UnRegister(SUriScheme& scheme);
};

extern SUriScheme& SUri;

}  // namespace bix

namespace {

using bix::SString;
using bix::Texts;

std::string s_log;

/// Notes the number of each slot that is called, and the location it is given.
class SlotScheme final : public bix::SUriScheme {
 public:
  SlotScheme() { bix::SUriSchemeManager::Register(*this); }
  SlotScheme(const SlotScheme&) = delete;
  SlotScheme& operator=(const SlotScheme&) = delete;
  ~SlotScheme() { bix::SUriSchemeManager::UnRegister(*this); }

  std::istream* Slot1(Texts&, const SString& uri) override {
    Note(1, uri);
    return new std::istringstream("slot 1");
  }
  std::ostream* Slot2(Texts&, const SString& uri) override {
    Note(2, uri);
    return new std::ostringstream("slot 2");
  }
  int Slot3(const SString& uri) const override { return Note(3, uri); }
  bool Slot4(const SString& uri) const override { return uri.compare(0, 5, "slot:") == 0; }
  void Slot5(SString& text) const override { text = "slot 5"; }
  bool Slot6(const SString& uri) override { return Note(6, uri) != 0; }
  int Slot7() const override { return 1 + 2 + 4 + 8 + 16 + 32; }
  int Slot8(Texts&, const SString& start, SString&, const SString&) override {
    return Note(8, start);
  }
  int Slot9(Texts&, const SString& start, SString&, const SString&) override {
    return Note(9, start);
  }
  int Slot10(Texts&, const SString& start, SString&) override { return Note(10, start); }
  int Slot11(Texts&, const SString& uri, bix::SVector<void*>&, const void*) override {
    return Note(11, uri);
  }
  int Slot12(Texts&, const SString& uri, const bix::SVector<void*>&, const void*) override {
    return Note(12, uri);
  }

 private:
  static int Note(int slot, const SString& text) {
    s_log += std::to_string(slot) + "(" + text + ")";
    return slot;
  }
};

SlotScheme s_scheme;

}  // namespace

/// Which slots were called.
extern "C" __attribute__((visibility("default"))) const char* SlotLog() { return s_log.c_str(); }

/// Calls every slot of the library's composite by its number, with a location of the file scheme;
/// returns the results.
extern "C" __attribute__((visibility("default"))) const char* CallSlots(const char* file) {
  static std::string s_results;
  bix::SUriScheme& composite = bix::SUri;
  Texts errors;
  SString text;
  bix::SVector<void*> items;
  std::ostringstream results;
  {
    std::ostream* const out = composite.Slot2(errors, file);
    *out << "through slot 2";
    delete out;
  }
  {
    std::istream* const in = composite.Slot1(errors, file);
    results << in->rdbuf();
    delete in;
  }
  composite.Slot5(text);
  results << "," << composite.Slot3(file) << "," << composite.Slot4(file) << "," << text << ","
          << composite.Slot6("nobody:location") << "," << composite.Slot7() << ","
          << composite.Slot11(errors, file, items, nullptr) << ","
          << composite.Slot12(errors, file, items, nullptr) << "," << errors.size();
  s_results = results.str();
  return s_results.c_str();
}
