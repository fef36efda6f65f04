// The platform's side of thread_context: one processor state of this system, and what can be done with it.
#pragma once

#include <fl/export.hpp>

#include <cstddef>
#include <iosfwd>

// NOLINTBEGIN(bugprone-reserved-identifier): names of the system
struct _CONTEXT;             // The record of a thread's registers (CONTEXT in the system's own headers).
struct _EXCEPTION_POINTERS;  // What a fault handler is handed (EXCEPTION_POINTERS).
// NOLINTEND(bugprone-reserved-identifier)

namespace foundation::core::diag::windows {

/// The registers of a thread, by value. Allocates nothing. Thread safety: a plain value.
class FL_API context_base {
 public:
  /// The system's record; undefined until it was filled. Lives as long as the object.
  const _CONTEXT* get_data() const noexcept { return reinterpret_cast<const _CONTEXT*>(data_); }

 protected:
  /// Leaves the record undefined.
  context_base() noexcept {}  // NOLINT(modernize-use-equals-default): the record is to stay as it is

  /// Fills the record with the present state of the calling thread, returns true. The state is that behind the return
  /// to `return_address`, from a function that calls this one, so that it describes frames that go on living; null, or
  /// an address that the caller does not return to: the state within this function.
  bool capture_data(const void* return_address = nullptr) noexcept;

  /// Copies the record that `pointers`, which is not null, refers to. Returns false if it has none.
  bool set_data(const _EXCEPTION_POINTERS* pointers) noexcept;

  /// Whether both records are the same, byte for byte.
  bool compare_data(const context_base& other) const noexcept;

  /// Writes the register block.
  std::ostream& format_data(std::ostream& os) const;

 private:
  _CONTEXT* record() noexcept { return reinterpret_cast<_CONTEXT*>(data_); }

  static constexpr std::size_t record_size = 1232;
  alignas(16) unsigned char data_[record_size];  ///< a _CONTEXT, whose definition this header does not need
};

}  // namespace foundation::core::diag::windows
