// What a stream buffer beneath an adaptor may offer: its own put area, so that a conversion ends there and nothing is
// copied once more. Thread safety: none.
#pragma once

#include <cstddef>

namespace foundation::core::io {

/// For units of `Unit`; implemented by stream buffers beside their base class.
template <class Unit>
class put_area {
 public:
  struct space {
    Unit* begin;       ///< where the next unit goes; null if the buffer is not being written
    std::size_t size;  ///< how many units fit there
  };

  virtual space free_space() noexcept = 0;
  /// So many units have been written into the free space. What was written behind them does not count.
  virtual void advance(std::size_t count) noexcept = 0;

 protected:
  put_area() = default;
  put_area(const put_area&) = default;
  put_area& operator=(const put_area&) = default;
  ~put_area() = default;
};

}  // namespace foundation::core::io
