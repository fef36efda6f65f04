#include "mem/run_time_heap.hpp"

#include "mem/block_header.hpp"
#include "mem/pointer_check.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace foundation::core::mem::detail {

// ---- debug_ops ----

void debug_ops::check(const void* p) const {
  check_passed_pointer(alignment_, p, 0, "vector_check");
}

void* debug_ops::malloc(std::size_t size) {
  return check_returned_pointer(alignment_, header_allocate(alignment_, size), size, "vector_malloc");
}

void* debug_ops::calloc(std::size_t count, std::size_t size) {
  return check_returned_pointer(alignment_, header_allocate_zeroed(alignment_, count, size), count * size,
                                "vector_calloc");
}

void* debug_ops::realloc(void* p, std::size_t size) {
  header* const h = check_passed_pointer(alignment_, p, size, "vector_realloc");
  return check_returned_pointer(alignment_, header_resize(h, alignment_, p, size), size, "vector_realloc");
}

void debug_ops::free(void* p) {
  check_passed_pointer(alignment_, p, 0, "vector_free");
  header_free(p);
}

// ---- aligned_ops ----

void aligned_ops::check(const void* p) const {
  // By its bytes: a bad pointer may lie anywhere.
  std::uint16_t found;
  std::memcpy(&found, reinterpret_cast<const char*>(header_of(p)) + offsetof(header, alignment), sizeof found);
  if (found != alignment_) {
    check_passed_pointer(alignment_, p, 0, "vector_check");
  }
}

void* aligned_ops::malloc(std::size_t size) {
  return header_allocate(alignment_, size);
}

void* aligned_ops::calloc(std::size_t count, std::size_t size) {
  return header_allocate_zeroed(alignment_, count, size);
}

void* aligned_ops::realloc(void* p, std::size_t size) {
  return header_resize(header_of(p), alignment_, p, size);
}

void aligned_ops::free(void* p) {
  header_free(p);
}

// ---- os_ops ----

void os_ops::check(const void* p) const {
  check_bare_pointer(alignment_, p);
}

void* os_ops::malloc(std::size_t size) {
  return std::malloc(size);
}

void* os_ops::calloc(std::size_t count, std::size_t size) {
  return std::calloc(count, size);
}

void* os_ops::realloc(void* p, std::size_t size) {
  return std::realloc(p,
                      size != 0 ? size : 1);  // With 0 it frees the block and gives null, which means no memory here.
}

void os_ops::free(void* p) {
  std::free(p);
}

}  // namespace foundation::core::mem::detail
