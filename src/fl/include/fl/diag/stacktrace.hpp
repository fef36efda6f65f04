// Call stacks as plain arrays of return addresses, and their three printed forms.
//
//     foundation::core::diag::stacktrace<64> here;       // this thread's stack, innermost frame first
//     std::cerr << numeric << here;                      // or raw, or symbolic, which is the default
//
// A stack has a fixed capacity and no heap storage, so that one can be captured in a failing process. It stays an array
// of numbers until it is printed in the symbolic form:
//
//     [  3] 0x00000001400018f2          C:\planner\planner.exe+00006386 planner::solve+00000130
//
// that is the frame's number and address, its module and offset, its function and offset; both offsets are decimal.
//
// Skipping. `capture(0)` keeps the frame of `capture` itself. Called in `solve`, which `main` called, it gives
// capture, solve, main, …; `capture(1)` gives solve, main, …; a constructor of `stacktrace<N>` adds a frame of the
// library, and one of its own where it is not inlined. A skip count larger than the stack gives an empty stack.
//
// Thread safety: stacks are plain values. Capturing the calling thread's stack takes no lock and allocates nothing;
// capturing from a context and printing in the symbolic form take turns with all others at the system's symbol service.
// If a thread does not leave the service for 20 seconds, because it was stopped in it, the others go on without: a
// capture from a context goes by what the system unwinds exceptions with, and lines of the symbolic form have no
// function. The service learns which modules there are when the first of those that print at once begins: a module that
// is loaded while another thread prints has no functions in either's lines.
#pragma once

#include <fl/diag/thread_context.hpp>
#include <fl/export.hpp>

#include <algorithm>
#include <cstddef>
#include <iosfwd>
#include <iterator>

namespace foundation::core::diag {

/// A stack of any capacity. The frames stand directly behind it, in the derived class; it is never created alone.
class FL_API stacktrace_base {
 public:
  using iterator = const void**;
  using const_iterator = const void* const*;
  using reverse_iterator = std::reverse_iterator<iterator>;
  using const_reverse_iterator = std::reverse_iterator<const_iterator>;

  stacktrace_base(const stacktrace_base&) = delete;
  stacktrace_base& operator=(const stacktrace_base&) = delete;

  /// Replaces the contents by the calling thread's stack without its `skip` innermost frames. A hardware fault on the
  /// way, as a corrupt stack may cause, ends the capture and leaves the stack empty.
  void capture(std::size_t skip) noexcept;

  /// Replaces the contents by the stack that `context` describes, without its `skip` innermost frames. A hardware
  /// fault on the way leaves the stack empty, and so does a symbol service that cannot be initialised. Throws
  /// `bad_thread_context` if `context` is empty; then the stack is unchanged.
  void capture(const thread_context& context, std::size_t skip);

  std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - begin()); }
  bool empty() const noexcept { return size() == 0; }
  /// The capacity.
  std::size_t max_size() const noexcept { return capacity_; }

  /// The frames, innermost first.
  iterator begin() noexcept { return reinterpret_cast<iterator>(this + 1); }
  iterator end() noexcept { return end_; }
  const_iterator begin() const noexcept { return reinterpret_cast<const_iterator>(this + 1); }
  const_iterator end() const noexcept { return end_; }
  reverse_iterator rbegin() noexcept { return reverse_iterator(end()); }
  reverse_iterator rend() noexcept { return reverse_iterator(begin()); }
  const_reverse_iterator rbegin() const noexcept { return const_reverse_iterator(end()); }
  const_reverse_iterator rend() const noexcept { return const_reverse_iterator(begin()); }
  /// `index` is less than `size()`; that is not checked.
  const void*& operator[](std::size_t index) noexcept { return begin()[index]; }
  const void* const& operator[](std::size_t index) const noexcept { return begin()[index]; }

  /// Whether the innermost frames are the same, as many as the smaller stack has.
  bool compare_top(const stacktrace_base& other) const noexcept;
  /// Whether the innermost `n` frames are the same. If a stack has fewer, whether both are entirely the same.
  bool compare_top_n(std::size_t n, const stacktrace_base& other) const noexcept;
  /// The same two questions for the outermost frames.
  bool compare_bottom(const stacktrace_base& other) const noexcept;
  /// The same for the outermost `n` frames.
  bool compare_bottom_n(std::size_t n, const stacktrace_base& other) const noexcept;

  /// Prints one line a frame, in the form that the stream was set to, from the first frame equal to `start` on, or from
  /// the innermost one if `start` is null; nothing if no frame is equal. Numbers count from the first printed frame.
  /// The stream's flags, fill character and locale do not matter and are left alone. Returns `os`.
  std::ostream& format(std::ostream& os, const void* start) const;
  /// The same from the innermost frame on.
  friend std::ostream& operator<<(std::ostream& os, const stacktrace_base& stack) { return stack.format(os, nullptr); }

 protected:
  /// For a derived copy constructor, which fills the `size` frames itself.
  stacktrace_base(std::size_t capacity, std::size_t size) noexcept;
  /// Empty, or the calling thread's stack, as `capture(skip)` gives it.
  stacktrace_base(std::size_t capacity, std::size_t skip, bool capture) noexcept;
  /// The stack that `context` describes; throws as `capture(context, skip)` does.
  stacktrace_base(const thread_context& context, std::size_t capacity, std::size_t skip);
  ~stacktrace_base() = default;

  /// Drops all frames from `size` on; `size` is at most the capacity.
  void resize(std::size_t size) noexcept { end_ = begin() + size; }

 private:
  friend FL_API void swap(stacktrace_base& a, stacktrace_base& b) noexcept;

  std::size_t capacity_;  ///< How many frames there is room for.
  const void** end_;      ///< One past the last captured frame.
};

/// A stack of at most `N` frames; `N` is not 0.
template <std::size_t N>
class stacktrace : public stacktrace_base {
  static_assert(N > 0);

 public:
  /// The calling thread's stack.
  stacktrace() noexcept : stacktrace_base(N, 0, true) {}
  /// The calling thread's stack without its `skip` innermost frames; empty if `capture` is false.
  explicit stacktrace(std::size_t skip, bool capture = true) noexcept : stacktrace_base(N, skip, capture) {}
  /// The stack that `context` describes; throws as `capture(context, skip)` does.
  explicit stacktrace(const thread_context& context, std::size_t skip = 0) : stacktrace_base(context, N, skip) {}

  stacktrace(const stacktrace& other) noexcept : stacktrace_base(N, other.size()) {
    std::copy(other.begin(), other.end(), begin());
  }
  stacktrace& operator=(const stacktrace& other) noexcept {
    if (this != &other) {
      std::copy(other.begin(), other.end(), begin());
      resize(other.size());
    }
    return *this;
  }
  ~stacktrace() = default;

 private:
  const void* frames_[N];  ///< Reached through the base, behind which it stands.
};

static_assert(sizeof(stacktrace<3>) == sizeof(stacktrace_base) + 3 * sizeof(void*));

/// Exchanges the frames, as many as fit: the rest of the larger stack is lost if the other has no room for it.
FL_API void swap(stacktrace_base& a, stacktrace_base& b) noexcept;

/// Manipulators: the form in which stacks are printed to this stream from now on.
FL_API std::ostream& symbolic(std::ostream& os);  ///< address, module and function; how every stream begins
FL_API std::ostream& numeric(std::ostream& os);   ///< number and address
FL_API std::ostream& raw(std::ostream& os);       ///< address

}  // namespace foundation::core::diag
