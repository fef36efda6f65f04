// The two native handles of a pipe as a plain value. It owns nothing, and closes nothing.
#pragma once

namespace foundation::core::process {

namespace detail {
class iopipe_device_impl_base;
}

/// A read handle and a write handle; null means that the end is absent.
class iopipe_handles {
 public:
  /// Both ends absent.
  iopipe_handles() noexcept = default;
  /// Either may be null.
  iopipe_handles(void* const& read, void* const& write) noexcept : read_(read), write_(write) {}

  /// Null if the end is absent.
  void* read_handle() const noexcept { return read_; }
  /// Null if the end is absent.
  void* write_handle() const noexcept { return write_; }

 private:
  // Lets go of one handle without touching the other, which another thread may be using.
  friend class detail::iopipe_device_impl_base;

  void* read_ = nullptr;
  void* write_ = nullptr;
};

}  // namespace foundation::core::process
