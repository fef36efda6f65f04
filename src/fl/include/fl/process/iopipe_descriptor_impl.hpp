// The content of an `iopipe_descriptor`, for whoever asks it for `impl()` or makes one from parts: a handle opened for
// overlapped use, say. Immutable, hence usable on any thread; owns no handle.
#pragma once

#include <fl/export.hpp>
#include <fl/process/iopipe_descriptor.hpp>

#include <iosfwd>
#include <string>

namespace foundation::core::sysdep::windows {

/// The six fields of a descriptor.
class FL_API iopipe_descriptor_impl : public process::detail::iopipe_descriptor_impl_base {
 public:
  /// Null handles and zeros.
  iopipe_descriptor_impl() noexcept = default;
  /// The fields as given.
  iopipe_descriptor_impl(const process::iopipe_handles& handles, bool text_mode, bool has_pending_char,
                         char pending_char, bool overlapped) noexcept;
  /// Parses the text form; see `iopipe_descriptor` for the form and for what is thrown.
  explicit iopipe_descriptor_impl(const std::string& text);

  /// Whether line ends are translated.
  bool text_mode() const noexcept { return text_mode_; }
  /// Whether `pending_char` was read from the pipe but not delivered yet.
  bool has_pending_char() const noexcept { return has_pending_char_; }
  /// That character; means nothing without `has_pending_char`.
  char pending_char() const noexcept { return pending_char_; }
  /// Whether the read handle was opened for overlapped use.
  bool overlapped() const noexcept { return overlapped_; }

  /// Writes all six fields, with one blank between them.
  void serialize(std::ostream& out) const;

 private:
  void parse(std::istream& in);

  bool text_mode_ = false;
  bool has_pending_char_ = false;
  char pending_char_ = 0;
  bool overlapped_ = false;
};

}  // namespace foundation::core::sysdep::windows
