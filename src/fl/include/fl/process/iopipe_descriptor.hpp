// The text form in which one process hands a pipe to another: six numbers that say which handles the pipe has, how it
// translates line ends, and which character it has read but not yet delivered.
//
// Threads: descriptors are immutable and share their content; copies may be used on any thread.
// A descriptor owns nothing: neither making nor destroying one duplicates or closes a handle.
#pragma once

#include <fl/export.hpp>
#include <fl/process/iopipe_handles.hpp>

#include <boost/shared_ptr.hpp>

#include <iosfwd>
#include <string>

namespace foundation::core::sysdep::windows {
class iopipe_descriptor_impl;
}

namespace foundation::core::process {

namespace detail {

/// The part of a descriptor that every platform has: the handles.
class FL_API iopipe_descriptor_impl_base {
 public:
  const iopipe_handles& handles() const noexcept { return handles_; }

 protected:
  iopipe_descriptor_impl_base() noexcept = default;
  explicit iopipe_descriptor_impl_base(const iopipe_handles& handles) noexcept : handles_(handles) {}

  /// Writes the read handle, a blank and the write handle, as unsigned decimals.
  void serialize(std::ostream& out) const;
  /// Reads both handles. A number that cannot be read is 0 and leaves `in` failed.
  /// @throws std::runtime_error "parse_file_handle: bad stream" if `in` is not good before a number or bad after it;
  ///         hence a malformed first number is found out at the second.
  void parse(std::istream& in);

 private:
  iopipe_handles handles_;
};

}  // namespace detail

/// A pipe as text that can cross a process boundary, for instance in an argument or an environment variable.
class FL_API iopipe_descriptor {
 public:
  /// Null handles, all other fields zero.
  iopipe_descriptor();
  /// Parses six numbers separated by blanks: read handle, write handle, text mode (0 or 1), whether a character is
  /// pending (0 or 1), that character (-128 to 127), overlapped (0 or 1). Behind the handles, what is missing or
  /// malformed is zero, and so is all behind it; but another number in the place of a 0 or 1 counts as 1.
  /// @throws std::runtime_error "parse_file_handle: bad stream" if the first number is malformed or there is no second.
  /// @throws boost::numeric::negative_overflow, boost::numeric::positive_overflow if the character is out of its range.
  // NOLINTBEGIN(google-explicit-constructor): text, content and descriptor stand for each other in calls
  iopipe_descriptor(const std::string& text);
  iopipe_descriptor(const char* text);
  /// Shares `impl`, which must not be null.
  iopipe_descriptor(const boost::shared_ptr<const sysdep::windows::iopipe_descriptor_impl>& impl);
  // NOLINTEND(google-explicit-constructor)

  // A moved-from descriptor still has its content: moves share, as copies do.
  iopipe_descriptor(const iopipe_descriptor&);
  iopipe_descriptor(iopipe_descriptor&&) noexcept;
  iopipe_descriptor& operator=(const iopipe_descriptor&);
  iopipe_descriptor& operator=(iopipe_descriptor&&) noexcept;
  ~iopipe_descriptor();

  /// The text form, such as "0 0 0 0 0 0" for a default descriptor; the parsing constructors read it back.
  operator std::string() const;  // NOLINT(google-explicit-constructor)

  /// The fields, in the platform's own class; lives as long as any copy of this descriptor.
  const sysdep::windows::iopipe_descriptor_impl& impl() const noexcept;

 private:
  boost::shared_ptr<const sysdep::windows::iopipe_descriptor_impl> impl_;  // never null
};

}  // namespace foundation::core::process
