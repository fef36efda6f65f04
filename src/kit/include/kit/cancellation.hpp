// A request to stop that any number of threads can make and see. Works in every language version; where the standard
// has stop tokens, `run` and `run_all` take these as well.
#pragma once

#include <kit/export.hpp>

#include <memory>

namespace foundation::kit {

/// Copies share one request, which is never taken back. All operations may be called from any thread at once.
class KIT_API cancellation {
 public:
  /// Throws boost::system::system_error.
  cancellation();
  cancellation(const cancellation& other) noexcept;
  cancellation& operator=(const cancellation& other) noexcept;
  ~cancellation();

  /// Also from a handler of console events.
  void request() const noexcept;
  /// Whether anybody has made the request.
  bool requested() const noexcept;

  /// The system's event behind it, for other waits; it stays this object's.
  void* native_handle() const noexcept;

 private:
  std::shared_ptr<void> event_;  // never null
};

}  // namespace foundation::kit
