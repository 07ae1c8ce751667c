#include "cli/arena.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace mar::cli {

namespace {

// A multiple of `step_bytes`, a power of two.
constexpr size_t round_up(size_t size_bytes, size_t step_bytes) {
  return (size_bytes + step_bytes - 1) & ~(step_bytes - 1);
}

}  // namespace

void* Arena::allocate_zeroed(size_t count, size_t size_bytes) {
  size_t total_bytes;
  if (__builtin_mul_overflow(count, size_bytes, &total_bytes)) total_bytes = SIZE_MAX;
  const Room room = find_room(total_bytes);
  // Not all of it: a page that is fresh stays so until the caller needs it.
  if (room.used_bytes > 0) std::memset(room.content, 0, std::min(total_bytes, room.used_bytes));
  return room.content;
}

void* Arena::resize(void* content, size_t size_bytes) {
  void* const moved = allocate(size_bytes);
  if (content == nullptr || moved == nullptr) return moved;
  const Block* const block = static_cast<Block*>(content) - 1;
  std::memcpy(moved, content, std::min(size_bytes, block->size_bytes - sizeof(Block)));
  free(content);
  return moved;
}

void Arena::free(void* content) {
  if (content == nullptr) return;
  Block* const block = static_cast<Block*>(content) - 1;
  if (block->is_mapped) {
    munmap(block, block->size_bytes);
    return;
  }
  const StaticMutexHold hold(mutex_);
  block->is_free = true;
  while (last_bytes_ > 0) {
    const auto* const last = reinterpret_cast<Block*>(memory_ + used_bytes_ - last_bytes_);
    if (!last->is_free) return;
    used_bytes_ -= last_bytes_;
    last_bytes_ = last->below_bytes;
  }
}

Arena::Room Arena::find_room(size_t size_bytes) {
  if (size_bytes > PTRDIFF_MAX - 4096) {
    errno = ENOMEM;
    return {};
  }
  const size_t block_bytes = round_up(size_bytes, alignof(Block)) + sizeof(Block);
  const Room room = place(block_bytes);
  return room.content != nullptr ? room : map(block_bytes);
}

// Nothing if it does not fit.
Arena::Room Arena::place(size_t block_bytes) {
  const StaticMutexHold hold(mutex_);
  if (block_bytes > kSizeBytes - used_bytes_) return {};
  const uint32_t content_begins = used_bytes_ + sizeof(Block);
  auto* const block = reinterpret_cast<Block*>(memory_ + used_bytes_);
  *block = {block_bytes, last_bytes_, false, false};
  last_bytes_ = static_cast<uint32_t>(block_bytes);
  used_bytes_ += last_bytes_;
  const uint32_t once_used = std::max(dirty_bytes_, content_begins) - content_begins;
  dirty_bytes_ = std::max(dirty_bytes_, used_bytes_);
  return {block + 1, once_used};
}

Arena::Room Arena::map(size_t block_bytes) {
  const size_t mapped_bytes = round_up(block_bytes, 4096);
  void* const at = mmap(nullptr, mapped_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (at == MAP_FAILED) return {};
  auto* const block = static_cast<Block*>(at);
  *block = {mapped_bytes, 0, true, false};
  return {block + 1};
}

}  // namespace mar::cli
