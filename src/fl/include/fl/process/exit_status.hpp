// How a child ended. Plain values without any state elsewhere: free to copy and to hand between threads.
#pragma once

#include <cstdint>
#include <variant>

namespace foundation::core::process {

namespace detail {

/// No exit status is known: the child still runs, or its exit code is 259, which the system reports for a running one.
struct unknown {};

/// The child has ended. Both words hold the exit code that the system reports.
struct exited {
  std::uint32_t native_status;  ///< as the system has it
  std::uint32_t exit_code;      ///< the same
};

/// The child was ended by a signal. Never the case on Windows, but readers accept it.
struct signaled {
  std::uint32_t native_status;  ///< as the system has it
  std::uint32_t signal;         ///< its number
};

/// Always.
constexpr bool operator==(const unknown&, const unknown&) {
  return true;
}
constexpr bool operator!=(const unknown&, const unknown&) {
  return false;
}

/// Whether both words are the same.
constexpr bool operator==(const exited& left, const exited& right) {
  return left.native_status == right.native_status && left.exit_code == right.exit_code;
}
constexpr bool operator!=(const exited& left, const exited& right) {
  return !(left == right);
}

/// Whether both words are the same.
constexpr bool operator==(const signaled& left, const signaled& right) {
  return left.native_status == right.native_status && left.signal == right.signal;
}
constexpr bool operator!=(const signaled& left, const signaled& right) {
  return !(left == right);
}

/// The order of the alternatives is fixed: their index is part of the interface.
using exit_status_variant = std::variant<unknown, exited, signaled>;

}  // namespace detail

using detail::exit_status_variant;

// Its alternatives, to ask for: `if (const auto* end = std::get_if<process::exited>(&status))`.
using detail::exited;
using detail::signaled;
using detail::unknown;

}  // namespace foundation::core::process
