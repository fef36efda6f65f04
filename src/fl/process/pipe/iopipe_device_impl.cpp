// Reading and writing a pipe: the text behaviour and the pending character. Not synchronised; see the header.
//
// A character is pending when it has left the pipe but not reached the caller: a carriage return whose successor has
// not arrived, or the second byte of a one-byte read (which needs two, as one byte alone could not show a line end).
// Every read begins with it, and it leaves the state only once that read cannot fail any more.
#include "process/pipe/iopipe_device_impl.hpp"

#include <fl/process/iopipe_descriptor_impl.hpp>
#include <fl/process/iopipe_error.hpp>
#include <fl/process/open_mode.hpp>

#include "process/pipe/crlf.hpp"
#include "process/pipe/pipe_calls.hpp"

#include <boost/numeric/conversion/cast.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <boost/system/error_code.hpp>
#include <boost/system/system_error.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace foundation::core::sysdep::windows {
namespace {

constexpr char carriage_return = '\r';
constexpr char line_feed = '\n';
constexpr char line_end[] = {carriage_return, line_feed};

boost::system::system_error system_failure(const pipe_failure& failure) {
  return {static_cast<int>(failure.error), boost::system::system_category(), failure.call};
}

process::iopipe_handles new_pipe() {
  const pipe_creation created = create_pipe();
  if (created.failure) {
    throw system_failure(created.failure);
  }
  return created.handles;
}

bool is_end_of_file(const pipe_failure& failure) noexcept {
  return failure.error == error_broken_pipe || failure.error == error_handle_eof;
}

// What one system call can transfer at most. Throws boost::numeric::positive_overflow above that.
std::uint32_t call_size(std::streamsize n) {
  return boost::numeric_cast<std::uint32_t>(n);
}

}  // namespace

iopipe_device_impl::iopipe_device_impl(int mode)
    : iopipe_device_impl_base(new_pipe(), true, true), text_mode_((mode & process::open_mode::binary) == 0) {}

iopipe_device_impl::iopipe_device_impl(const iopipe_descriptor_impl& descriptor) noexcept
    : iopipe_device_impl_base(descriptor.handles(), descriptor.handles().read_handle() != nullptr,
                              descriptor.handles().write_handle() != nullptr),
      text_mode_(descriptor.text_mode()),
      has_pending_char_(descriptor.has_pending_char()),
      pending_char_(descriptor.pending_char()),
      overlapped_(descriptor.overlapped()) {}

iopipe_device_impl::~iopipe_device_impl() {
  close_for_read();
  close_for_write();
}

void iopipe_device_impl::close_for_read() noexcept {
  if (!open_for_read_) {
    return;
  }
  close_pipe_handle(handles_.read_handle());
  open_for_read_ = false;
}

void iopipe_device_impl::close_for_write() noexcept {
  if (!open_for_write_) {
    return;
  }
  close_pipe_handle(handles_.write_handle());
  open_for_write_ = false;
}

std::streamsize iopipe_device_impl::read(char* s, std::streamsize n) {
  if (!open_for_read_) {
    throw process::iopipe_error("read called after close_for_read");
  }
  if (n == 0) {
    return 0;
  }
  for (;;) {
    const std::streamsize delivered = n == 1 ? read_one(s) : read_some(s, n);
    // Nothing but a carriage return arrived, and 0 would mean the end of the file: its successor must be waited for.
    if (delivered != 0 || !has_pending_char_) {
      return delivered;
    }
  }
}

std::streamsize iopipe_device_impl::read_one(char* s) {
  char pair[2];
  std::streamsize length = read_some(pair, sizeof pair);
  if (length == 2) {
    has_pending_char_ = true;
    pending_char_ = pair[1];
    length = 1;
  }
  if (length == 1) {
    *s = pair[0];
  }
  return length;
}

std::streamsize iopipe_device_impl::read_some(char* buffer, std::streamsize n) {
  const std::streamsize carried = has_pending_char_ ? 1 : 0;
  const std::uint32_t count = call_size(n - carried);
  if (has_pending_char_) {
    buffer[0] = pending_char_;
  }

  char* const fresh = buffer + carried;
  const pipe_transfer got = overlapped_ ? read_pipe_overlapped(handles_.read_handle(), fresh, count)
                                        : read_pipe(handles_.read_handle(), fresh, count);
  if (got.failure && !is_end_of_file(got.failure)) {
    throw process::iopipe_read_error(system_failure(got.failure).what());
  }

  has_pending_char_ = false;
  // At the end of the file a carried carriage return is data: no line feed can follow it any more.
  if (got.failure) {
    return carried;
  }
  const std::streamsize total = carried + got.bytes;
  return text_mode_ ? translate(buffer, total) : total;
}

std::streamsize iopipe_device_impl::translate(char* buffer, std::streamsize length) {
  const auto text = process::detail::translate_crlf(buffer, static_cast<std::size_t>(length));
  if (text.ends_in_carriage_return) {
    has_pending_char_ = true;
    pending_char_ = carriage_return;
  }
  return boost::numeric_cast<std::uint32_t>(text.length);
}

std::streamsize iopipe_device_impl::write(const char* s, std::streamsize n) {
  if (!open_for_write_) {
    throw process::iopipe_error("write called after close_for_write");
  }
  return text_mode_ ? write_text(s, n) : write_bytes(s, call_size(n));
}

std::uint32_t iopipe_device_impl::write_bytes(const char* s, std::uint32_t n) {
  const pipe_transfer put = write_pipe(handles_.write_handle(), s, n);
  if (put.failure) {
    throw process::iopipe_write_error(system_failure(put.failure).what());
  }
  return put.bytes;
}

// What the system accepts in parts is offered again until it accepts nothing: a count of the caller's characters could
// not show where a line end was cut.
std::uint32_t iopipe_device_impl::write_piece(const char* s, std::uint32_t n) {
  std::uint32_t total = 0;
  for (;;) {
    const std::uint32_t written = write_bytes(s + total, n - total);
    total += written;
    if (written == 0 || total == n) {
      return total;
    }
  }
}

bool iopipe_device_impl::write_line_end() {
  constexpr std::uint32_t whole = sizeof line_end;
  const std::uint32_t before = half_line_end_ ? 1 : 0;
  const std::uint32_t sent = before + write_piece(line_end + before, whole - before);
  half_line_end_ = sent == 1;
  return sent == whole;
}

// Line by line and without a copy: the text before each line feed as it stands, also if it is empty, then the line end.
// An empty write is a call like any other; its documentation lets a reader see it as a read of no bytes. Wine's readers
// do not see it.
std::streamsize iopipe_device_impl::write_text(const char* s, std::streamsize n) {
  const char* const end = s + n;
  std::streamsize total = 0;
  for (;;) {
    const char* const found = s < end ? std::find(s, end, line_feed) : end;
    const std::uint32_t written = write_piece(s, call_size(found - s));
    total += written;
    if (written != 0) {
      half_line_end_ = false;
    }
    if (found == end || written != found - s || !write_line_end()) {
      return total;
    }
    ++total;
    s = found + 1;
  }
}

process::iopipe_descriptor iopipe_device_impl::descriptor(int mode) const {
  const bool with_read = open_for_read_ && (mode & process::open_mode::read) != 0;
  const bool with_write = open_for_write_ && (mode & process::open_mode::write) != 0;
  const process::iopipe_handles handles(with_read ? handles_.read_handle() : nullptr,
                                        with_write ? handles_.write_handle() : nullptr);
  return process::iopipe_descriptor(boost::make_shared<const iopipe_descriptor_impl>(
      handles, text_mode_, has_pending_char_, pending_char_, overlapped_));
}

}  // namespace foundation::core::sysdep::windows
