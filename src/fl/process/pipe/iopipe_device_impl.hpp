// The state and the transport of a pipe: creates it, reads, writes, and gives it the text behaviour of a C stream. The
// line-end translation survives reads that end between carriage return and line feed, one-byte reads, and the hand-over
// of the pipe to another process. What it needs of the system is in pipe_calls.hpp. Not exported: clients know only its
// name, from the public header.
//
// Threads: no lock. Reading and writing touch different fields, so one reader and one writer may run at once.
#pragma once

#include <fl/process/iopipe_descriptor.hpp>
#include <fl/process/iopipe_device.hpp>

#include <cstdint>
#include <ios>

namespace foundation::core::sysdep::windows {

class iopipe_descriptor_impl;

/// What all copies of one `iopipe_device` share. Owns the handles whose ends are open.
class iopipe_device_impl : public process::detail::iopipe_device_impl_base {
 public:
  /// Creates a pipe. @throws boost::system::system_error with the text "CreatePipe".
  explicit iopipe_device_impl(int mode);
  /// Takes ownership of the descriptor's handles, and copies its state.
  explicit iopipe_device_impl(const iopipe_descriptor_impl& descriptor) noexcept;
  /// Closes the ends that are open, the read end first. Ignores errors and keeps the thread's last error.
  ~iopipe_device_impl();

  /// See `iopipe_device::read` and `iopipe_device::write`.
  std::streamsize read(char* s, std::streamsize n);
  std::streamsize write(const char* s, std::streamsize n);

  void close_for_read() noexcept;
  void close_for_write() noexcept;

  /// See `const_iopipe_device::descriptor`.
  process::iopipe_descriptor descriptor(int mode) const;

 private:
  std::streamsize read_some(char* buffer, std::streamsize n);
  std::streamsize read_one(char* s);
  std::streamsize translate(char* buffer, std::streamsize length);
  std::uint32_t write_bytes(const char* s, std::uint32_t n);
  std::uint32_t write_piece(const char* s, std::uint32_t n);
  bool write_line_end();
  std::streamsize write_text(const char* s, std::streamsize n);

  bool text_mode_ = false;         // whether line ends are translated
  bool has_pending_char_ = false;  // whether `pending_char_` was read but not delivered; the next read begins with it
  char pending_char_ = 0;
  bool overlapped_ = false;     // whether the read handle was opened for overlapped use
  bool half_line_end_ = false;  // text mode: of a line end only the "\r" went out, and its "\n" will come again
};

}  // namespace foundation::core::sysdep::windows
