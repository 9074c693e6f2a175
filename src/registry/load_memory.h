#ifndef BIX_SRC_REGISTRY_LOAD_MEMORY_H_
#define BIX_SRC_REGISTRY_LOAD_MEMORY_H_

/// Room for the many small objects that loading a settings file makes.
///
/// While a LoadMemory exists, the keys and values that its thread makes stand side by side in
/// shared blocks. Each object still is released on its own, in any thread and at any time later; a
/// block goes with the last object in it. Without a LoadMemory objects come from the ordinary heap.

#include <chrono>
#include <cstddef>

namespace bix::impl {

class SettingsInput;

/// A block of memory of at least `size` bytes. Large ones ask the system for large pages, which
/// cost a fraction of the many small ones that they replace.
///
/// Owner: new; released with ReleaseBlock and the same size.
/// Errors: std::bad_alloc.
void* AllocateBlock(std::size_t size);
void ReleaseBlock(void* block, std::size_t size) noexcept;

class LoadMemory {
 public:
  /// `input` is the file that is being loaded: how far it has been read tells what is still to
  /// come. Borrowed for the life of this object.
  explicit LoadMemory(const SettingsInput& input) noexcept;
  LoadMemory(const LoadMemory&) = delete;
  LoadMemory& operator=(const LoadMemory&) = delete;
  ~LoadMemory();

  /// Room for an object of `size` bytes, aligned for pointers; from the thread's LoadMemory if
  /// there is one.
  static void* Allocate(std::size_t size);
  /// Takes back room from Allocate; null is allowed.
  static void Release(void* room) noexcept;

 private:
  struct Block;
  struct Mark;

  void* Take(std::size_t size);
  void AddBlock(std::size_t size);
  bool AreLargePagesWorthIt() const;
  std::size_t GuessRest() const;
  void CloseBlock() noexcept;

  const SettingsInput& m_input;
  Block* m_block = nullptr;
  char* m_cursor = nullptr;
  char* m_end = nullptr;
  std::size_t m_taken = 0;     // objects in the present block
  std::size_t m_usedSize = 0;  // by all objects in closed blocks
  std::size_t m_largePages = 0;
  std::chrono::steady_clock::duration m_largePageCost{};
  LoadMemory* m_outer;
};

}  // namespace bix::impl

#endif  // BIX_SRC_REGISTRY_LOAD_MEMORY_H_
