// The variant of the aligned heap that stands on the private arena (dlmalloc/malloc.hpp), whose blocks all have the
// default alignment and no headers. Any thread may call it.
#pragma once

#include "mem/aligned_heap_base.hpp"
#include "mem/aligned_heap_create.hpp"

namespace foundation::core::mem::detail {

/// There is one arena, however many of these there are.
class dlmalloc_ops final : public aligned_heap_base {
 public:
  dlmalloc_ops() : aligned_heap_base(default_alignment) {}

  void check(const void* p) const override;
  void* malloc(std::size_t size) override;
  void* calloc(std::size_t count, std::size_t size) override;
  void* realloc(void* p, std::size_t size) override;
  void free(void* p) override;
};

}  // namespace foundation::core::mem::detail
