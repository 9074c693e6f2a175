#ifndef BIX_SRC_REGISTRY_BLOCK_MEMORY_H_
#define BIX_SRC_REGISTRY_BLOCK_MEMORY_H_

/// Memory for many objects at once.
///
/// Threads: every operation may be called in several threads at once.

#include <cstddef>

namespace bix::impl {

/// The large page of this processor: what a map of large pages is made of.
inline constexpr std::size_t kLargePage = std::size_t{2} << 20;
/// From here on a large page is cheaper than the small ones, and its rounding not much.
inline constexpr std::size_t kWorthLargePage = std::size_t{1} << 20;

/// A block of memory of at least `size` bytes. Large ones ask the system for large pages, which
/// cost a fraction of the many small ones that they replace.
///
/// Owner: new; released with ReleaseBlock and the same size.
/// Errors: std::bad_alloc.
void* AllocateBlock(std::size_t size);
void ReleaseBlock(void* block, std::size_t size) noexcept;

/// A block of the size of a large page that was released and kept, or null.
///
/// Owner: as from AllocateBlock(kLargePage).
void* ReuseBlock() noexcept;
/// A new block of the size of a large page, made of such a page or of small ones.
///
/// Owner: as from AllocateBlock(kLargePage).
/// Errors: std::bad_alloc.
void* MapNewBlock(bool asLargePage);

/// Gives all kept blocks back to the system, and keeps none from now on.
void EndKeptBlocks() noexcept;

}  // namespace bix::impl

#endif  // BIX_SRC_REGISTRY_BLOCK_MEMORY_H_
