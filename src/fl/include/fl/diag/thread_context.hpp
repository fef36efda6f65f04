// The registers of a thread at one moment.
//
//     foundation::core::diag::thread_context here;          // this function, now
//     foundation::core::diag::thread_context fault(info);   // in a fault handler: where the fault was
//     std::cerr << fault << foundation::core::diag::stacktrace<64>(fault);
//
// Allocates nothing, so that it can be used on the stack of a failing thread. Thread safety: a plain value.
#pragma once

#include <fl/diag/context_base.hpp>
#include <fl/export.hpp>

#include <iosfwd>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace foundation::core::diag {

/// An empty context was used where a real one is needed.
class FL_API bad_thread_context : public std::invalid_argument {
 public:
  /// `text` is what `what()` says.
  explicit bad_thread_context(const std::string& text);
  bad_thread_context(const bad_thread_context& other) noexcept;
  bad_thread_context(bad_thread_context&& other) noexcept;
  bad_thread_context& operator=(const bad_thread_context& other) noexcept;
  bad_thread_context& operator=(bad_thread_context&& other) noexcept;
  ~bad_thread_context() override;
};

/// The processor state of a thread, or nothing.
class FL_API thread_context : public windows::context_base {
  /// What `if (context)` tests. A pointer to member, so that a context is not taken for a number.
  using unspecified_bool_type = void (thread_context::*)() const;

  template <class Scalar, class Pointee = std::remove_cv_t<std::remove_pointer_t<Scalar>>>
  static constexpr bool is_mistaken =
      std::is_scalar_v<Scalar> && !std::is_same_v<Scalar, bool> &&
      !(std::is_pointer_v<Scalar> && (std::is_void_v<Pointee> || std::is_same_v<Pointee, _EXCEPTION_POINTERS>));

 public:
  /// The state of the calling function, as if this call had just returned; empty if `capture` is false.
  // NOLINTNEXTLINE(google-explicit-constructor): implicit, as the two below, so that each serves as an argument
  thread_context(bool capture = true) noexcept;
  /// The state in which the fault occurred; empty if `pointers` or its record is null.
  // NOLINTNEXTLINE(google-explicit-constructor)
  thread_context(const _EXCEPTION_POINTERS* pointers) noexcept;
  /// The same, for a caller that holds the pointer untyped.
  // NOLINTNEXTLINE(google-explicit-constructor)
  thread_context(const void* pointers) noexcept;
  /// Neither a number nor another pointer, such as that to the record alone, is taken for one of these.
  template <class Scalar, std::enable_if_t<is_mistaken<Scalar>, int> = 0>
  thread_context(Scalar) = delete;  // NOLINT(google-explicit-constructor)

  /// Captures the state of the calling function, as the constructor does.
  void capture() noexcept;
  /// Copies the state in which the fault occurred; empty if `pointers` or its record is null.
  void reset(const _EXCEPTION_POINTERS* pointers) noexcept;

  /// Two empty contexts are equal, an empty and a real one are not, two real ones are if their whole records are.
  bool compare(const thread_context& other) const noexcept;

  /// Writes the register block, or "(empty)" on a line. A register block leaves the stream in decimal and with a blank
  /// as its fill character. Returns `os`.
  std::ostream& format(std::ostream& os) const;
  /// The same as `format`.
  friend std::ostream& operator<<(std::ostream& os, const thread_context& context) { return context.format(os); }

  /// True if the context holds a state.
  // NOLINTNEXTLINE(google-explicit-constructor)
  operator unspecified_bool_type() const noexcept { return valid_ ? &thread_context::unspecified_bool : nullptr; }

 private:
  void unspecified_bool() const;

  bool valid_;  ///< The record holds a real state.
};

}  // namespace foundation::core::diag
