// The counters behind the plug-in: blocks and bytes by size class. They allocate nothing, since they are counted up
// within an allocation.
//
// Thread safety: any thread, at any time. Each figure is exact; those of one moment may be a few calls apart.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace mobservation {

/// More than the largest block that an address space of 47 bits can hold.
inline constexpr std::size_t size_classes = 48;

/// The class of a block: the least `k` for which it has no more than 2 to the power `k` bytes.
constexpr std::size_t size_class(std::size_t bytes) noexcept {
  const auto least = static_cast<std::size_t>(bytes > 1 ? std::bit_width(bytes - 1) : 0);
  return std::min(least, size_classes - 1);
}

struct figures {
  std::uint64_t allocations;  ///< blocks
  std::uint64_t allocated;    ///< bytes
  std::uint64_t frees;        ///< blocks
  std::int64_t live;          ///< bytes; below zero if older blocks were freed
  std::int64_t peak;          ///< bytes: the most that was ever live

  std::int64_t live_blocks() const noexcept { return static_cast<std::int64_t>(allocations - frees); }
};

class counter {
 public:
  void allocated(std::size_t bytes) noexcept {
    allocations_.fetch_add(1, std::memory_order_relaxed);
    allocated_.fetch_add(bytes, std::memory_order_relaxed);
    const auto added = static_cast<std::int64_t>(bytes);
    const std::int64_t live = live_.fetch_add(added, std::memory_order_relaxed) + added;
    for (std::int64_t peak = peak_.load(std::memory_order_relaxed);
         live > peak && !peak_.compare_exchange_weak(peak, live, std::memory_order_relaxed);) {
    }
  }
  void freed(std::size_t bytes) noexcept {
    frees_.fetch_add(1, std::memory_order_relaxed);
    live_.fetch_sub(static_cast<std::int64_t>(bytes), std::memory_order_relaxed);
  }
  figures read() const noexcept { return {allocations_, allocated_, frees_, live_, peak_}; }

 private:
  std::atomic<std::uint64_t> allocations_{0};
  std::atomic<std::uint64_t> allocated_{0};
  std::atomic<std::uint64_t> frees_{0};
  std::atomic<std::int64_t> live_{0};
  std::atomic<std::int64_t> peak_{0};
};

class counters {
 public:
  void allocated(std::size_t bytes) noexcept {
    by_class_[size_class(bytes)].allocated(bytes);
    total_.allocated(bytes);
  }
  void freed(std::size_t bytes) noexcept {
    by_class_[size_class(bytes)].freed(bytes);
    total_.freed(bytes);
  }
  figures of_class(std::size_t which) const noexcept { return by_class_[which].read(); }
  /// Its peak is not the sum of the classes' peaks, which were at different moments.
  figures total() const noexcept { return total_.read(); }

 private:
  std::array<counter, size_classes> by_class_;
  counter total_;
};

}  // namespace mobservation
