// The variants of the aligned heap that stand on the run-time's heap. None has a state of its own: any thread may call
// them.
#pragma once

#include "mem/aligned_heap_base.hpp"

namespace foundation::core::mem::detail {

/// With headers (block_header.hpp); checks each pointer on its way in and out. A block of 0 bytes does not pass.
class debug_ops final : public aligned_heap_base {
 public:
  using aligned_heap_base::aligned_heap_base;

  void check(const void* p) const override;
  void* malloc(std::size_t size) override;
  void* calloc(std::size_t count, std::size_t size) override;
  void* realloc(void* p, std::size_t size) override;
  void free(void* p) override;
};

/// With headers, which only `check` looks at. The heap of production: beyond the run-time's call it costs a few stores.
class aligned_ops final : public aligned_heap_base {
 public:
  using aligned_heap_base::aligned_heap_base;

  void check(const void* p) const override;
  void* malloc(std::size_t size) override;
  void* calloc(std::size_t count, std::size_t size) override;
  void* realloc(void* p, std::size_t size) override;
  void free(void* p) override;
};

/// The run-time's heap as it is.
class os_ops final : public aligned_heap_base {
 public:
  using aligned_heap_base::aligned_heap_base;

  void check(const void* p) const override;
  void* malloc(std::size_t size) override;
  void* calloc(std::size_t count, std::size_t size) override;
  void* realloc(void* p, std::size_t size) override;
  void free(void* p) override;
};

}  // namespace foundation::core::mem::detail
