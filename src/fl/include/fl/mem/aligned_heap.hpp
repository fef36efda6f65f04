// Memory that starts on a fixed boundary, 32 bytes unless QX_ALIGNED_HEAP_ALIGNMENT says otherwise. Implemented in
// src/fl/mem/alignment.cpp and the heaps that it chooses from.
//
//     float* const lanes = static_cast<float*>(foundation::core::mem::vector_malloc(1024 * sizeof(float)));
//     if (lanes == nullptr) …
//     foundation::core::mem::vector_free(lanes);
//
// Which of four heaps stands behind these functions is settled when the memory manager is made, for the whole process:
//
//     QX_ALIGNED_HEAP_ALIGNMENT            heap
//     unset, 32 to 32768 (a power of two)  the run-time's, with a header of 16 bytes in front of each block
//     16                                   the run-time's as it is, whose blocks have that alignment
//     dlmalloc                             a private arena with blocks of 32-byte alignment and no headers
//
// Any other number counts as 32; a text that is no number throws `boost::bad_lexical_cast` from the first use of the
// manager. With the option "aligncheck" (manager.hpp) the heap has headers and each pointer is checked on its way in
// and out; then `vector_malloc` or `vector_calloc` of 0 bytes, which otherwise gives a block, is fatal.
//
// Blocks of this heap go back to this heap, and no others do. A pointer that a check finds bad (freed already, foreign,
// or with its header overwritten) ends the process with a report by `diag::terminate`.
//
// Exhausted memory is a null pointer: nothing here throws, except that the first call makes the manager, and the new
// handler is not called.
//
// Thread safety: any thread, at any time.
#pragma once

#include <fl/export.hpp>
#include <fl/mem/manager.hpp>

#include <boost/core/noncopyable.hpp>

#include <cstddef>

namespace foundation::core::mem {

/// What stands behind the functions below. There is at most one at any time.
class aligned_heap : boost::noncopyable {
 public:
  virtual ~aligned_heap();
  /// As `vector_check`.
  virtual void check(const void* p) const = 0;
  /// As `vector_malloc`.
  virtual void* malloc(std::size_t size) = 0;
  /// As `vector_calloc`.
  virtual void* calloc(std::size_t count, std::size_t size) = 0;
  /// As `vector_realloc`.
  virtual void* realloc(void* p, std::size_t size) = 0;
  /// As `vector_free`.
  virtual void free(void* p) = 0;
  /// As `vector_alignment`.
  virtual std::size_t alignment() const = 0;

 protected:
  /// Becomes the instance.
  aligned_heap();

 private:
  friend class aligned_heap_access;

  FL_API static aligned_heap* instance;  ///< Null until the manager is made.
};

/// Not for clients: how the functions below reach the heap.
class aligned_heap_access {
 public:
  /// Makes the manager first if need be. Afterwards it costs one load and one test.
  static aligned_heap& heap() {
    // The pointer alone would not do: it is set while another thread is still making the heap.
    static const bool manager_is_made = (manager::initialize(), true);
    static_cast<void>(manager_is_made);
    return made_heap();
  }
  /// For the manager, once it has made the heap.
  static aligned_heap& made_heap() { return *aligned_heap::instance; }
};

/// `size` in bytes.
inline void* vector_malloc(std::size_t size) {
  return aligned_heap_access::heap().malloc(size);
}

/// A block of zeros for `count` elements of `size` bytes. A product beyond the largest number gives null with the
/// alignment 16 and from the arena. The heaps with headers do not test it: there the block has what is left of the
/// product, far too little: test a count that comes from outside before.
inline void* vector_calloc(std::size_t count, std::size_t size) {
  return aligned_heap_access::heap().calloc(count, size);
}

/// Gives the block another size, perhaps in another place, and keeps its content up to the smaller of both. On failure
/// the old block stays as it is. With 0 bytes there is still a block, to be freed. `p` is a block of this heap: not
/// null, which only some of the heaps would accept.
inline void* vector_realloc(void* p, std::size_t size) {
  return aligned_heap_access::heap().realloc(p, size);
}

/// `p` is a block of this heap: not null. With the alignment 16 and in the arena null does nothing; the heaps with
/// headers, checked ones too, look for a header below it, which is an access violation.
inline void vector_free(void* p) {
  aligned_heap_access::heap().free(p);
}

/// Returns only if `p` looks like a block of this heap. Without headers only its alignment can be tested.
inline void vector_check(const void* p) {
  aligned_heap_access::heap().check(p);
}

/// The alignment of all blocks, in bytes.
inline std::size_t vector_alignment() {
  return aligned_heap_access::heap().alignment();
}

}  // namespace foundation::core::mem
