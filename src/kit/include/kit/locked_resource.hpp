// Lets several threads share a memory resource that serves one at a time:
//
//   kit::pool_resource nodes(64);
//   kit::locked_resource shared(&nodes);   // any thread may use this one, and none the other
//
// Thread safety: any thread, at any time.
#pragma once

#include <memory_resource>
#include <mutex>

namespace foundation::kit {

/// Equal to itself only: a block goes back under the lock under which it came.
class locked_resource final : public std::pmr::memory_resource {
 public:
  /// `upstream` is not null and outlives this.
  explicit locked_resource(std::pmr::memory_resource* upstream) noexcept : upstream_(upstream) {}
  locked_resource(const locked_resource&) = delete;
  locked_resource& operator=(const locked_resource&) = delete;

  /// The resource that is shared; it stays whose it was.
  std::pmr::memory_resource* upstream_resource() const noexcept { return upstream_; }

 private:
  /// Throws what `upstream` throws.
  void* do_allocate(std::size_t size, std::size_t alignment) override {
    const std::lock_guard lock(guard_);
    return upstream_->allocate(size, alignment);
  }
  void do_deallocate(void* block, std::size_t size, std::size_t alignment) override {
    const std::lock_guard lock(guard_);
    upstream_->deallocate(block, size, alignment);
  }
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }

  std::pmr::memory_resource* upstream_;
  std::mutex guard_;
};

}  // namespace foundation::kit
