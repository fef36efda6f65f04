// What the printing of stacks asks the system: the module and the function of an address. Implemented in
// windows/symbol_lookup.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

namespace foundation::core::diag {

/// What is known of one frame.
struct frame_description {
  static constexpr std::size_t longest_file = 260;
  static constexpr std::size_t longest_symbol = 2000;

  const void* module = nullptr;         ///< The base of the frame's module; null if that is not known.
  const char* relative_path = nullptr;  ///< What the module exports to be shown instead of its file, or null.
  std::uint64_t displacement = 0;       ///< Bytes from the symbol's start to the frame.
  char file[longest_file];              ///< The module's file name; empty if the module is not known.
  char symbol[longest_symbol];          ///< Readable; empty if the symbol is not known.

  frame_description() noexcept { file[0] = symbol[0] = '\0'; }
};

/// Holds the system's symbol service for as long as the object lives, so that it is started once for a whole stack. If
/// it cannot be started, frames have modules but no symbols. Any number may live, on all threads; the constructor and
/// `describe` throw `std::system_error` in a thread that a fault has interrupted inside the service.
class symbol_lookup {
 public:
  symbol_lookup();
  symbol_lookup(const symbol_lookup&) = delete;
  symbol_lookup& operator=(const symbol_lookup&) = delete;
  ~symbol_lookup();

  /// Allocates nothing.
  frame_description describe(const void* frame) const;
};

}  // namespace foundation::core::diag
