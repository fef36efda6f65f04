// Testing that a fatal path is reached, without ending the process:
//
//     foundation::core::test::terminate_handler expected;
//     try {
//       free_twice();
//       FAIL();
//     } catch (...) {
//       EXPECT_TRUE(foundation::core::test::terminate_handled("the block is free already"));
//     }
//
// While a handler lives, `diag::terminate` throws on its thread instead of ending the process, and neither an observer
// is called nor a report written. During stack unwinding a throw would be fatal, so there `terminate` is real.
#pragma once

#include <fl/export.hpp>

#include <string>

namespace foundation::core::test {

/// Concerns the thread that creates it, and is destroyed on that thread. Two on one thread end the process by
/// `abort()`.
class FL_API terminate_handler {
 public:
  /// Throws `std::bad_alloc` if the system has no room for the thread's mark.
  terminate_handler();
  terminate_handler(const terminate_handler&) = delete;
  terminate_handler& operator=(const terminate_handler&) = delete;
  ~terminate_handler();
};

/// To be called in a catch-all handler: whether the exception being handled comes from `diag::terminate`. Any other
/// exception goes on from here. Without an exception being handled it ends in `std::terminate`.
FL_API bool terminate_handled();
/// The same, and whether the message was `expected`.
FL_API bool terminate_handled(const std::string& expected);

}  // namespace foundation::core::test
