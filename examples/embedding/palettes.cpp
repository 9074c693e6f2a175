// An add-in: it is linked against the library, and brings locations "palette:<name>" that every tool of
// the process can read.

#include <istream>
#include <sstream>
#include <string>

#include "bix/bix.h"

namespace {

/// Reads palettes; there is nothing to write, to choose or to exchange.
class PaletteScheme : public bix::SUriScheme {
 public:
  std::istream* OpenRead(bix::SVector<bix::SString>& errors, const bix::SString& uri) override {
    if (uri == "palette:warm")
      return new std::istringstream("red yellow");  // the caller deletes it
    errors.push_back("There is no '" + uri + "'.");
    return nullptr;
  }
  std::ostream* OpenWrite(bix::SVector<bix::SString>&, const bix::SString&) override {
    return nullptr;
  }
  int GetFormat(const bix::SString&) const override { return 0; }
  bool CanHandle(const bix::SString& uri) const override {
    return uri.compare(0, 8, "palette:") == 0;
  }
  void GetSchemeDescription(bix::SString& text) const override { text = "Palettes"; }
  bool IsReadOnly(const bix::SString&) override { return true; }
  int GetCapabilities() const override { return eRead; }
  int OpenDialog(bix::SVector<bix::SString>&, const bix::SString&, bix::SString&,
                 const bix::SString&) override {
    return 2;
  }
  int SaveDialog(bix::SVector<bix::SString>&, const bix::SString&, bix::SString&,
                 const bix::SString&) override {
    return 2;
  }
  int DirDialog(bix::SVector<bix::SString>&, const bix::SString&, bix::SString&) override {
    return 2;
  }
  int DirectRead(bix::SVector<bix::SString>&, const bix::SString&, bix::SVector<void*>&,
                 const void*) override {
    return 2;
  }
  int DirectWrite(bix::SVector<bix::SString>&, const bix::SString&, const bix::SVector<void*>&,
                  const void*) override {
    return 2;
  }
};

/// There as long as the add-in is loaded.
class RegisteredPalettes {
 public:
  RegisteredPalettes() { bix::SUriSchemeManager::Register(m_scheme); }
  RegisteredPalettes(const RegisteredPalettes&) = delete;
  RegisteredPalettes& operator=(const RegisteredPalettes&) = delete;
  ~RegisteredPalettes() { bix::SUriSchemeManager::UnRegister(m_scheme); }

 private:
  PaletteScheme m_scheme;
};

// The library is loaded before the add-in and goes after it, so both calls find it alive.
RegisteredPalettes s_palettes;

}  // namespace

/// Reads a location into a buffer of the host; false with the reason in it when it cannot be read.
extern "C" __attribute__((visibility("default"))) bool ReadLocation(const char* uri, char* buffer,
                                                                    std::size_t size) {
  bix::SVector<bix::SString> errors;
  std::istream* const in = bix::SUri.OpenRead(errors, uri);
  std::ostringstream text;
  if (in != nullptr)
    text << in->rdbuf();
  else if (!errors.empty())
    text << errors.front();
  delete in;
  text.str().copy(buffer, size - 1);
  buffer[text.str().size() < size ? text.str().size() : size - 1] = '\0';
  return in != nullptr;
}
