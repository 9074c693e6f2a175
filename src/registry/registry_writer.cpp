// The writer of the settings text format: Dump of keys and values. See docs/settings-format.md.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "bix/registry.h"

#include "support/text_view.h"

namespace bix {

using impl::View;

namespace {

/// Collects one piece of the file and writes it with one call; short pieces stay on the stack.
class LineWriter {
 public:
  explicit LineWriter(std::FILE* file) : m_file(file) { m_buffer[0] = 0; }
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;
  ~LineWriter() { Flush(); }

  void Add(std::string_view text) {
    if (text.size() > sizeof m_buffer - m_length) {
      Flush();
      if (text.size() > sizeof m_buffer) {
        // A failure stays in the stream, where who opened it asks for it.
        (void)std::fwrite(text.data(), 1, text.size(), m_file);
        return;
      }
    }
    std::memcpy(m_buffer + m_length, text.data(), text.size());
    m_length += text.size();
  }

 private:
  void Flush() {
    if (m_length != 0) (void)std::fwrite(m_buffer, 1, m_length, m_file);
    m_length = 0;
  }

  std::FILE* m_file;
  std::size_t m_length = 0;
  char m_buffer[512];
};

/// One `"name"=text ` with its trailing blank.
void AddPair(LineWriter& line, std::string_view name, std::string_view quote,
             std::string_view text) {
  // COMPAT(writer-escapes-nothing): a quote or line break in a name or text is written as it is.
  // Test: SettingsWriterCompat.NothingIsEscaped
  line.Add("\"");
  line.Add(name);
  line.Add("\"=");
  line.Add(quote);
  line.Add(text);
  line.Add(quote);
  line.Add(" ");
}

/// The path of the key being written, growing and shrinking at its end. A text once handed out as a
/// parent path stays where it is until the whole tree has been written.
class PathText {
 public:
  struct Mark {
    char* text;
    std::size_t size;
    std::size_t length;
  };

  const char* GetText() const { return m_mark.text; }
  std::size_t GetLength() const { return m_mark.length; }
  const Mark& GetMark() const { return m_mark; }

  /// Goes back to the path that had `mark`.
  void Return(const Mark& mark) {
    m_mark = mark;
    m_mark.text[m_mark.length] = 0;
  }

  void Add(std::string_view text) {
    const std::size_t needed = m_mark.length + text.size() + 1;
    if (needed > m_mark.size) Grow(needed);
    std::memcpy(m_mark.text + m_mark.length, text.data(), text.size());
    m_mark.length += text.size();
    m_mark.text[m_mark.length] = 0;
  }

 private:
  struct Block {
    std::unique_ptr<char[]> text;
    std::size_t size;
  };

  /// Moves on to a larger block. Blocks beyond the present one hold no path that is still needed:
  /// what waits to be written has a parent path no longer than the present path.
  void Grow(std::size_t needed) {
    std::size_t i = 0;
    while (i < m_blocks.size() && m_blocks[i].size < needed) ++i;
    if (i == m_blocks.size())
      m_blocks.push_back({std::make_unique<char[]>(2 * needed), 2 * needed});
    std::memcpy(m_blocks[i].text.get(), m_mark.text, m_mark.length + 1);
    m_mark.text = m_blocks[i].text.get();
    m_mark.size = m_blocks[i].size;
  }

  char m_first[256] = "";
  Mark m_mark{m_first, sizeof m_first, 0};
  std::vector<Block> m_blocks;
};

/// Down to this depth, as in CRgKey::Empty, a key's Dump calls the Dump of its sub-keys from
/// inside. Deeper ones are set aside and called, in the same order, by the key at the bound, so
/// that the stack stays bounded.
constexpr int kMaxNestedDump = 64;

/// The writing of one tree, shared by the nested Dump calls of a thread.
struct TreeDump {
  /// A sub-key that waits for its turn, and its parent's path. Leaving the parent cut that path
  /// short by setting the byte at `cutPlace` to 0.
  struct Waiting {
    const CRgKey* key;
    PathText::Mark parent;
    std::size_t cutPlace;
    char cutByte;
  };

  explicit TreeDump(std::FILE* target);
  ~TreeDump();
  TreeDump(const TreeDump&) = delete;
  TreeDump& operator=(const TreeDump&) = delete;

  std::FILE* file;
  PathText path;
  int depth = 0;
  std::vector<Waiting> waiting;
  TreeDump* outer;
};

// Static storage, one per thread: the tree being written, null between calls.
constinit thread_local TreeDump* s_treeDump = nullptr;

TreeDump::TreeDump(std::FILE* target) : file(target), outer(s_treeDump) { s_treeDump = this; }

TreeDump::~TreeDump() { s_treeDump = outer; }

void WriteHeader(std::FILE* file, const PathText& path) {
  LineWriter line(file);
  line.Add("\n[");
  line.Add({path.GetText(), path.GetLength()});
  line.Add("]\n\n");
}

void SetSubKeysAside(const CRgKey& key, TreeDump& tree, std::size_t cutPlace) {
  const std::size_t first = tree.waiting.size();
  const PathText::Mark& path = tree.path.GetMark();
  for (void* position = key.GetFirstKeyPosition(); position != nullptr;)
    tree.waiting.push_back({key.GetNextKey(position), path, cutPlace, path.text[cutPlace]});
  std::reverse(tree.waiting.begin() + static_cast<std::ptrdiff_t>(first), tree.waiting.end());
}

void WriteWaitingKeys(TreeDump& tree) {
  while (!tree.waiting.empty()) {
    const TreeDump::Waiting next = tree.waiting.back();
    tree.waiting.pop_back();
    next.parent.text[next.cutPlace] = next.cutByte;
    tree.path.Return(next.parent);
    next.key->Dump(tree.file, tree.path.GetText());
  }
}

/// Writes the values of `key`, whose path is the tree's path, and then its sub-keys.
void WriteContents(const CRgKey& key, TreeDump& tree, std::size_t parentLength) {
  for (void* position = key.GetFirstValuePosition(); position != nullptr;)
    key.GetNextValue(position)->Dump(tree.file);
  if (tree.depth > kMaxNestedDump) return SetSubKeysAside(key, tree, parentLength);

  const PathText::Mark path = tree.path.GetMark();
  ++tree.depth;
  for (void* position = key.GetFirstKeyPosition(); position != nullptr;) {
    key.GetNextKey(position)->Dump(tree.file, tree.path.GetText());
    if (tree.depth <= kMaxNestedDump) continue;
    WriteWaitingKeys(tree);
    tree.path.Return(path);
  }
  --tree.depth;
}

/// Writes a key below the root; the tree's path is that of its parent.
void WriteKey(const CRgKey& key, TreeDump& tree) {
  const PathText::Mark parent = tree.path.GetMark();
  if (parent.length != 0) tree.path.Add("/");
  tree.path.Add(View(key.GetName()));
  // COMPAT(writer-empty-key-vanishes): without values there is no header, so a key without contents
  // is not in the file at all. Test: SettingsWriterCompat.KeyWithoutValuesHasNoHeader
  if (key.GetValueCount() != 0) WriteHeader(tree.file, tree.path);
  WriteContents(key, tree, parent.length);
  tree.path.Return(parent);
}

}  // namespace

bool CRgValue::Dump(std::FILE* file) {
  return Dump(file, GetName(), GetType(), GetValue(), &m_attributes);
}

bool CRgValue::Dump(std::FILE* file, const char* name, RvType type, const char* value,
                    MList<CRgAttribute*>* attributes) {
  const std::string_view quote = type == 0 ? "\"" : "";
  LineWriter line(file);
  AddPair(line, View(name), quote, View(value));
  if (attributes != nullptr && !attributes->IsEmpty()) {
    // COMPAT(writer-attribute-blank): attributes are separated by the blank that ends each pair and
    // by no comma, though the reader wants one: two or more attributes do not read back.
    // Test: SettingsWriterCompat.TwoAttributesDoNotReadBack
    line.Add("(");
    for (void* position = attributes->GetHeadPosition(); position != nullptr;) {
      const CRgAttribute* attribute = attributes->GetNext(position);
      AddPair(line, attribute->GetName(), quote, attribute->GetValue());
    }
    line.Add(")");
  }
  line.Add("\n");
  return true;
}

void CRgKey::Dump(std::FILE* file, const char* parentPath) const {
  TreeDump* tree = s_treeDump;
  if (tree != nullptr && tree->file == file && tree->path.GetText() == parentPath)
    return WriteKey(*this, *tree);

  TreeDump whole(file);
  if (parentPath == nullptr) {
    // COMPAT(writer-root-values-first): values of the root stand before the first header, where the
    // reader accepts none. Test: SettingsWriterCompat.RootValuesDoNotReadBack
    WriteContents(*this, whole, 0);
  } else {
    whole.path.Add(parentPath);
    WriteKey(*this, whole);
  }
}

}  // namespace bix
