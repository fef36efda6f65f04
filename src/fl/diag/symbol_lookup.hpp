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

  const void* code_begin = nullptr;     ///< Of pages that belong to the module, and so do the frames in them.
  const void* code_end = nullptr;       ///< One past them; null if the module is not known.
  const void* module = nullptr;         ///< The base of the frame's module; null if that is not known.
  const char* relative_path = nullptr;  ///< What the module exports to be shown instead of its file, or null.
  std::uint64_t displacement = 0;       ///< Bytes from the symbol's start to the frame.
  char file[longest_file];              ///< The module's file name; empty if the module is not known.
  char symbol[longest_symbol];          ///< Readable; empty if the symbol is not known.

  frame_description() noexcept { file[0] = symbol[0] = '\0'; }
};

/// Writes what is known of the frame's module to `known`, which may have what was found for another frame: most have
/// the module of the one before. Allocates nothing. Any thread.
void find_module(const void* frame, frame_description& known) noexcept;

/// Loads the system's symbol service, so that this need not be done when the process is about to end. Allocates nothing
/// itself; waits for another thread that loads a library, but not without end. Any thread.
void prepare_symbols() noexcept;

/// Until `let_symbols_go`, the symbol service, once somebody has started it, is not stopped: for those who come to
/// print a stack and wait for another who prints, since starting it, and reading the symbols of each module, takes far
/// longer than all the rest of a report. Starts nothing and waits for nobody. Any thread, any number of times.
void keep_symbols() noexcept;
/// The end of one `keep_symbols`: stops the service if it was the last and nobody holds it.
void let_symbols_go() noexcept;

/// Holds the system's symbol service for as long as the object lives, so that it is started once for a whole stack. If
/// it cannot be started, no symbol is known. Any number may live, on all threads.
class symbol_lookup {
 public:
  symbol_lookup() noexcept;
  symbol_lookup(const symbol_lookup&) = delete;
  symbol_lookup& operator=(const symbol_lookup&) = delete;
  ~symbol_lookup();

  /// Writes the frame's symbol to `known`, or none if it is not known. False if the service cannot be asked, because a
  /// thread was stopped in it, this one or another, or in the loader; then `find_module` would not return either.
  /// Allocates nothing; waits for another thread that is in the service, but not without end.
  bool find_symbol(const void* frame, frame_description& known) const noexcept;

 private:
  bool holding_;  ///< The service and the loader were free, and the service has a holder more.
};

}  // namespace foundation::core::diag
