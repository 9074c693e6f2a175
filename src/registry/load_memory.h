#ifndef BIX_SRC_REGISTRY_LOAD_MEMORY_H_
#define BIX_SRC_REGISTRY_LOAD_MEMORY_H_

/// Room for the many values that loading a settings file makes.
///
/// They stand side by side in shared blocks. Each value still is deleted on its own, in any thread
/// and at any time later; a block goes with the last value in it. Values that hosts make, and all
/// of derived classes, come from the ordinary heap.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "registry/block_memory.h"
#include "support/runtime_type.h"

namespace bix::impl {

class SettingsInput;

class LoadMemory {
 public:
  /// `input` is the file that is being loaded: how far it has been read tells what is still to
  /// come. Borrowed for the life of this object.
  explicit LoadMemory(const SettingsInput& input) noexcept;
  LoadMemory(const LoadMemory&) = delete;
  LoadMemory& operator=(const LoadMemory&) = delete;
  ~LoadMemory();

  /// The LoadMemory of the thread, or null.
  static LoadMemory* GetCurrent() noexcept;

 private:
  template <class Value>
  friend class InBlock;

  struct Block {
    // The objects that are alive, and one for each that the open block may still get.
    std::atomic<std::size_t> users;
    std::size_t size;

    void Leave(std::size_t count) noexcept {
      if (users.fetch_sub(count, std::memory_order_acq_rel) == count) ReleaseBlock(this, size);
    }
  };

  /// Room for an object of `size` bytes in the present block, aligned for pointers. It is the
  /// object's from Commit on.
  char* Reserve(std::size_t size) {
    if (size > static_cast<std::size_t>(m_end - m_cursor)) AddBlock(size);
    return m_cursor;
  }
  void Commit(std::size_t size) noexcept {
    m_cursor += size;
    ++m_taken;
  }

  void AddBlock(std::size_t size);
  char* TakeLargeBlock();
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

/// A `Value` that stands in a shared block. What tells the block stands behind the last member,
/// where most objects have a gap.
template <class Value>
class InBlock final : public Value {
 public:
  /// Owner: deleted as any other value is.
  /// Errors: std::bad_alloc, and what the constructor throws.
  template <class... Arguments>
  static Value* Make(LoadMemory& memory, Arguments&&... arguments) {
    static_assert(alignof(InBlock) <= kGrain);
    char* const room = memory.Reserve(sizeof(InBlock));
    auto* const value = ::new (room) InBlock(std::forward<Arguments>(arguments)...);
    value->m_place = static_cast<std::uint32_t>(
        static_cast<std::size_t>(room - reinterpret_cast<char*>(memory.m_block)) / kGrain);
    memory.Commit(sizeof(InBlock));
    return value;
  }

  static void operator delete(InBlock* value, std::destroying_delete_t) noexcept {
    char* const room = reinterpret_cast<char*>(value);
    auto* const block = reinterpret_cast<LoadMemory::Block*>(room - value->m_place * kGrain);
    value->~InBlock();
    block->Leave(1);
  }

 private:
  static constexpr std::size_t kGrain = alignof(void*);

  using Value::Value;

  std::uint32_t m_place : 24;  // from the start of the block, in grains
};

/// Makes a value: in a shared block while its thread loads a file, otherwise on the heap.
template <class Value, class... Arguments>
Value* NewValue(Arguments&&... arguments) {
  LoadMemory* const memory = LoadMemory::GetCurrent();
  return memory != nullptr ? InBlock<Value>::Make(*memory, std::forward<Arguments>(arguments)...)
                           : new Value(std::forward<Arguments>(arguments)...);
}

/// Whether an object is of that very class, wherever it stands, and of nothing that a host derived
/// from it.
template <class Value, class Object>
bool IsExactlyValue(const Object& object) {
  return IsExactly<InBlock<Value>>(object) || IsExactly<Value>(object);
}

}  // namespace bix::impl

#endif  // BIX_SRC_REGISTRY_LOAD_MEMORY_H_
