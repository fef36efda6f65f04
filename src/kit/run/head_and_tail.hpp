// The beginning and the end of output that may be longer than what is to be kept. Belongs to one thread.
#pragma once

#include <kit/run_output.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace foundation::kit::detail {

/// Keeps everything up to the limit. Beyond that its first half and the last bytes that fit into the other half.
class head_and_tail {
 public:
  /// `limit` in bytes; without one everything is kept.
  explicit head_and_tail(std::optional<std::size_t> limit) noexcept;

  /// Throws std::bad_alloc; what came before is still there then.
  void append(std::string_view piece);

  /// What was kept, in order. The object is spent.
  run_output take() &&;

 private:
  std::size_t fill(std::string_view piece);
  void go_round(std::string_view piece) noexcept;

  std::string kept_;
  std::uint64_t total_ = 0;  // bytes seen
  std::size_t limit_;
  std::size_t head_;      // bytes at the start of `kept_` that stay; behind them is a ring once it is full
  std::size_t next_ = 0;  // where in the ring the next byte goes, which is the oldest that is there
};

}  // namespace foundation::kit::detail
