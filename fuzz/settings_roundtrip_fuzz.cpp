// Load, save, load: a tree that was loaded and saved, and whose file can be read, is the same tree;
// and saving it again gives the same bytes.
//
// The format cannot carry everything: a value with more than one attribute does not read back, and
// neither do attributes of keys and keys without values. The input's tree is reduced to what it can
// carry; then nothing may get lost.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "bix/registry.h"
#include "bix/settingsfile.h"

namespace {

using Attributes = bix::MList<bix::CRgAttribute*>;

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

void KeepOneAttribute(Attributes& attributes) {
  while (attributes.GetCount() > 1) {
    void* position = attributes.GetHeadPosition();
    delete attributes.GetAt(position);
    attributes.RemoveAt(position);
  }
}

/// What a file can carry of the tree below `key`; false when nothing is left of it.
bool Reduce(bix::CRgKey& key) {
  key.SetAttributes(nullptr);
  for (void* position = key.GetFirstValuePosition(); position != nullptr;)
    KeepOneAttribute(*key.GetNextValue(position)->GetAttributeList());
  bool isCarried = key.GetValueCount() != 0;
  for (void* position = key.GetFirstKeyPosition(); position != nullptr;) {
    bix::CRgKey* subKey = key.GetNextKey(position);
    if (Reduce(*subKey)) {
      isCarried = true;
    } else {
      key.RemoveKey(subKey);
      delete subKey;
    }
  }
  return isCarried;
}

void Compare(bix::CRgKey& left, bix::CRgKey& right) {
  const auto same = [](const char* a, const char* b) { return std::string(a) == b; };
  Expect(same(left.GetName(), right.GetName()), "the name of a key differs");
  Expect(left.GetValueCount() == right.GetValueCount(), "the number of values differs");
  void* other = right.GetFirstValuePosition();
  for (void* position = left.GetFirstValuePosition(); position != nullptr;) {
    bix::CRgValue* a = left.GetNextValue(position);
    bix::CRgValue* b = right.GetNextValue(other);
    Expect(same(a->GetName(), b->GetName()), "the name of a value differs");
    Expect(same(a->GetValue(), b->GetValue()), "the text of a value differs");
    Expect(a->GetAttributeCount() == b->GetAttributeCount(), "the number of attributes differs");
    if (a->GetAttributeCount() == 0) continue;
    void* first = a->GetFirstAttributePosition();
    void* second = b->GetFirstAttributePosition();
    const bix::CRgAttribute* p = a->GetNextAttribute(first);
    const bix::CRgAttribute* q = b->GetNextAttribute(second);
    Expect(same(p->GetName(), q->GetName()), "the name of an attribute differs");
    Expect(same(p->GetValue(), q->GetValue()), "the value of an attribute differs");
  }
  Expect(left.GetKeyCount() == right.GetKeyCount(), "the number of keys differs");
  other = right.GetFirstKeyPosition();
  for (void* position = left.GetFirstKeyPosition(); position != nullptr;)
    Compare(*left.GetNextKey(position), *right.GetNextKey(other));
}

/// A file in memory with a name.
class MemoryFile {
 public:
  MemoryFile() : m_fd(memfd_create("settings", MFD_CLOEXEC)) { Expect(m_fd >= 0, "memfd_create"); }
  ~MemoryFile() { close(m_fd); }
  std::string GetName() const { return "/proc/self/fd/" + std::to_string(m_fd); }
  void Write(const std::string& text) const {
    Expect(write(m_fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "write");
  }

 private:
  int m_fd;
};

std::string Dumped(const bix::CRgKey& root) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* file = open_memstream(&text, &size);
  root.Dump(file, nullptr);
  std::fclose(file);
  std::string result(text, size);
  std::free(text);
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::size_t slashes = 0;
  for (std::size_t i = 0; i < size; ++i) slashes += data[i] == '/' ? 1 : 0;
  if (slashes > 2000) return 0;  // the comparison walks the tree by recursion
  const MemoryFile input;
  input.Write(std::string(reinterpret_cast<const char*>(data), size));
  bix::CRgFile first(nullptr);
  if (first.Load(input.GetName().c_str()) != 0) return 0;
  (void)Reduce(*first.GetKeyRoot());

  const std::string saved = Dumped(*first.GetKeyRoot());
  const MemoryFile copy;
  copy.Write(saved);
  bix::CRgFile second(nullptr);
  Expect(second.Load(copy.GetName().c_str()) == 0, "what was saved cannot be read");
  Compare(*first.GetKeyRoot(), *second.GetKeyRoot());
  Expect(Dumped(*second.GetKeyRoot()) == saved, "saving again gives another file");
  return 0;
}
