// What reading and writing a pipe can raise. All are `std::ios_base::failure` with the code `std::io_errc::stream`, so
// that code which knows streams only can catch them.
#pragma once

#include <fl/export.hpp>

#include <ios>
#include <string>

namespace foundation::core::process {

/// A pipe operation failed; thrown as itself by a read or a write on an end that is not open.
class FL_API iopipe_error : public std::ios_base::failure {
 public:
  /// `message` becomes the beginning of `what()`; the standard library adds the text of the error code to it.
  explicit iopipe_error(const std::string& message);
  iopipe_error(const iopipe_error&);
  iopipe_error(iopipe_error&&) noexcept;
  iopipe_error& operator=(const iopipe_error&);
  iopipe_error& operator=(iopipe_error&&) noexcept;
  ~iopipe_error() override;
};

/// The system refused a read. The message names the system call and says the system's reason.
class FL_API iopipe_read_error : public iopipe_error {
 public:
  /// As that of `iopipe_error`.
  explicit iopipe_read_error(const std::string& message);
  iopipe_read_error(const iopipe_read_error&);
  iopipe_read_error(iopipe_read_error&&) noexcept;
  iopipe_read_error& operator=(const iopipe_read_error&);
  iopipe_read_error& operator=(iopipe_read_error&&) noexcept;
  ~iopipe_read_error() override;
};

/// The system refused a write, for instance because nobody can read the pipe any more.
class FL_API iopipe_write_error : public iopipe_error {
 public:
  /// As that of `iopipe_error`.
  explicit iopipe_write_error(const std::string& message);
  iopipe_write_error(const iopipe_write_error&);
  iopipe_write_error(iopipe_write_error&&) noexcept;
  iopipe_write_error& operator=(const iopipe_write_error&);
  iopipe_write_error& operator=(iopipe_write_error&&) noexcept;
  ~iopipe_write_error() override;
};

/// For failures to close an end. Closing ignores the system's refusals at present, so nothing raises it.
class FL_API iopipe_close_error : public iopipe_error {
 public:
  /// As that of `iopipe_error`.
  explicit iopipe_close_error(const std::string& message);
  iopipe_close_error(const iopipe_close_error&);
  iopipe_close_error(iopipe_close_error&&) noexcept;
  iopipe_close_error& operator=(const iopipe_close_error&);
  iopipe_close_error& operator=(iopipe_close_error&&) noexcept;
  ~iopipe_close_error() override;
};

}  // namespace foundation::core::process
