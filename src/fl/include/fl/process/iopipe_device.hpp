// A pipe as a shared object: all copies of a device are one pipe, a close through one is a close for all, and the ends
// that are still open are closed when the last copy goes.
//
// Threads: copies may be made and dropped on any thread. The pipe itself has no lock: one thread may read while another
// one writes, but two threads must not read, and nobody may close or release an end that another thread is using. No
// buffering here: each call is at least one system call. `iopipe` is the buffered stream.
#pragma once

#include <fl/export.hpp>
#include <fl/process/iopipe_descriptor.hpp>
#include <fl/process/iopipe_handles.hpp>
#include <fl/process/open_mode.hpp>

#include <boost/iostreams/categories.hpp>
#include <boost/shared_ptr.hpp>

#include <ios>
#include <iosfwd>

namespace foundation::core::sysdep::windows {
class iopipe_device_impl;
}

namespace foundation::core::process {

namespace detail {

/// What every platform's pipe state begins with. An end is open; or closed (flag false, the stale handle kept for
/// printing); or released (flag false, handle null). Nothing reopens an end.
class FL_API iopipe_device_impl_base {
 public:
  iopipe_device_impl_base(const iopipe_device_impl_base&) = delete;
  iopipe_device_impl_base& operator=(const iopipe_device_impl_base&) = delete;

  const iopipe_handles& handles() const noexcept { return handles_; }
  bool is_open_for_read() const noexcept { return open_for_read_; }
  bool is_open_for_write() const noexcept { return open_for_write_; }

  /// Lets go of the handle without closing it: it belongs to someone else now. Unconditional.
  void release_read_handle() noexcept;
  void release_write_handle() noexcept;

 protected:
  iopipe_device_impl_base() noexcept = default;
  iopipe_device_impl_base(const iopipe_handles& handles, bool open_for_read, bool open_for_write) noexcept
      : handles_(handles), open_for_read_(open_for_read), open_for_write_(open_for_write) {}
  ~iopipe_device_impl_base() = default;

  iopipe_handles handles_;
  bool open_for_read_ = false;
  bool open_for_write_ = false;
};

}  // namespace detail

/// The reference to the shared state, and nothing else.
class FL_API iopipe_device_base {
 public:
  ~iopipe_device_base();

 protected:
  /// A pipe over the descriptor's handles, which belong to the device from now on; an end is open if its handle is not
  /// null.
  explicit iopipe_device_base(const iopipe_descriptor& descriptor);
  /// A new pipe. @throws boost::system::system_error "CreatePipe" if the system refuses.
  explicit iopipe_device_base(int mode);
  iopipe_device_base(const iopipe_device_base&);
  iopipe_device_base& operator=(const iopipe_device_base&);

  /// The shared state.
  sysdep::windows::iopipe_device_impl& impl() const noexcept;

 private:
  boost::shared_ptr<sysdep::windows::iopipe_device_impl> impl_;  // never null
};

/// The read-only view of a pipe: looks, but does not transfer, close or release.
class FL_API const_iopipe_device : public iopipe_device_base {
 public:
  /// The handles as they stand. A closed end still shows its stale handle; a released end shows null.
  const iopipe_handles& handles() const noexcept;
  /// Whether the read end is open.
  bool is_open_for_read() const noexcept;
  /// Whether the write end is open.
  bool is_open_for_write() const noexcept;

  /// The pipe as a descriptor, with the ends that are both open and asked for in `mode` (`open_mode::read`,
  /// `open_mode::write`). The device keeps its handles; nothing is duplicated.
  iopipe_descriptor descriptor(const int& mode) const;
  template <class Mode, detail::standard_open_mode<Mode> = 0>
  iopipe_descriptor descriptor(Mode mode) const {
    return descriptor(detail::open_mode_of(mode));
  }

  /// Identity: two devices are equal if they are copies of one device, whatever their handles.
  bool operator==(const const_iopipe_device& other) const noexcept;
  bool operator!=(const const_iopipe_device& other) const noexcept;
  /// An arbitrary but strict order of pipes, for use as a key.
  bool operator<(const const_iopipe_device& other) const noexcept;

 protected:
  /// As that of `iopipe_device`.
  explicit const_iopipe_device(const iopipe_descriptor& descriptor);
  /// As that of `iopipe_device`.
  explicit const_iopipe_device(int mode);
};

/// Prints "pipe { source : READ, sink : WRITE }" with the handles as `const void*`.
FL_API std::ostream& operator<<(std::ostream& out, const const_iopipe_device& device);

/// The operating view of a pipe. The operations are const because they act on the shared state. It models a
/// bidirectional device of `char` of Boost.Iostreams.
class FL_API iopipe_device : public const_iopipe_device {
 public:
  /// What is transferred, as Boost.Iostreams asks for it.
  using char_type = char;
  /// What kind of device it is, as Boost.Iostreams asks for it.
  struct category : boost::iostreams::bidirectional, boost::iostreams::device_tag {};

  /// A new pipe with both ends open, not inheritable; of `mode` only `open_mode::binary` matters.
  /// @throws boost::system::system_error with the text "CreatePipe" if the system refuses.
  explicit iopipe_device(int mode = open_mode::binary);
  template <class Mode, detail::standard_open_mode<Mode> = 0>
  explicit iopipe_device(Mode mode) : iopipe_device(detail::open_mode_of(mode)) {}
  /// A new device over the descriptor's handles, which belong to it from now on: when it goes, they are closed.
  explicit iopipe_device(const iopipe_descriptor& descriptor);
  /// A new device over existing handles, which belong to it from now on; an end is open if its handle is not null.
  /// `overlapped` says whether the read handle was opened for overlapped use; of `mode` only `open_mode::binary`
  /// matters.
  iopipe_device(const iopipe_handles& handles, bool overlapped, int mode);
  template <class Mode, detail::standard_open_mode<Mode> = 0>
  iopipe_device(const iopipe_handles& handles, bool overlapped, Mode mode)
      : iopipe_device(handles, overlapped, detail::open_mode_of(mode)) {}

  /// Reads at least one and at most `n` characters to `s`, blocking until there are some. In text mode a carriage
  /// return that a line feed follows is left out. @return the count, 0 at end of file: every write end is closed. On
  /// Windows a read also gives 0 where the other side has written no bytes, as `write` does in text mode; the next read
  /// goes on.
  /// @throws iopipe_error if the end is not open.
  /// @throws iopipe_read_error if the system refuses; the device stays open, and no character that was read before is
  /// lost.
  /// @throws boost::numeric::positive_overflow if `n` is too large for one system call (32 bits).
  std::streamsize read(char* s, std::streamsize n) const;

  /// Writes `n` characters, blocking until the pipe has room. In text mode each line feed goes out as carriage return
  /// and line feed, in a call of its own, and the text before it in another one, also where that is empty: a reader
  /// that waits can see such a call as a read of no bytes. For a reader that takes this for the end, write in binary
  /// mode.
  /// @return how many of the `n` characters, from the first on, the system took. In binary mode there is one call of
  /// the system, so that fewer than `n` are possible; in text mode fewer than `n` mean that it would take nothing more.
  /// The rest can be written again.
  /// @throws iopipe_error if the end is not open.
  /// @throws iopipe_write_error if the system refuses; how much was written before is not known then.
  /// @throws boost::numeric::positive_overflow if more than 32 bits of characters would go to one system call.
  std::streamsize write(const char* s, std::streamsize n) const;

  /// Closes the end for all copies; closing twice is harmless, errors are ignored.
  void close_for_read() const noexcept;
  /// The same for the other end.
  void close_for_write() const noexcept;

  /// Lets go of the handle without closing it: it belongs to someone else now.
  void release_read_handle() const noexcept;
  /// The same for the other end.
  void release_write_handle() const noexcept;
};

}  // namespace foundation::core::process
