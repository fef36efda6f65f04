// A pipe as a standard stream.
//
// How to use it. An `iopipe` is both ends of one pipe: what is written to it can be read from it. Usually one end goes
// to somebody else, a child process above all, and this process keeps the other one:
//
//     iopipe pipe(0);                                    // no `open_mode::binary`: text mode
//     ...                                                // give the write end away, then close ours
//     pipe.close_for_write();
//     for (std::string line; std::getline(pipe, line);)
//       ...
//
// In text mode a line end is "\n" for this program and carriage return and line feed in the pipe. The default, `iopipe
// pipe;`, is binary mode, where nothing is translated: lines of a program that writes text end in "\r" there.
//
// Let two pipes of this library talk in binary mode. A writer in text mode also writes nothing at all, behind each line
// end, and on Windows a reader that meets such a write takes it for the end of the file, though more is to come.
//
// What deadlocks.
//  - Waiting for end of file while a write end is open somewhere. A reader sees the end only when every write handle is
//    closed: close your own (`close_for_write`) before reading to the end.
//  - Filling the pipe with nobody reading. The system's buffer is small (some thousand bytes), and a write blocks until
//    there is room: one thread must not write more than that before it reads. With a child that both reads and writes,
//    let one thread write and another one read.
//  - Waiting for an answer to a question that is still in this stream's buffer: flush first.
//
// Text in an encoding. `io::make_uistream_adaptor` reads the lines of a dialogue as UTF-16: it takes what has arrived
// and waits only for the rest of a character, but what it has read ahead is gone from the pipe. Or take lines of bytes
// by `std::getline`, and `fl::i18n::decode` each.
//
// What fails how. With `exceptions(badbit)` an operation that moves characters throws what the device threw (`get`,
// `read`, `getline`: iopipe_error and what derives from it), while one that flushes (`flush`, std::endl, `close`)
// throws std::ios_base::failure, which does not tell the system's reason. Catch std::ios_base::failure for both.
//
// Output that the system takes in parts is offered again until all of it went out or nothing more is taken. The rest
// stays in the buffer: once the stream's state is cleared, the next flush goes on where this one stopped. Only where a
// write of text mode was refused half-way it is not known how far that had come: a next flush may repeat some of it.
//
// What is thread-safe. The stream is not: its state, its locale and its formatting are shared by both directions. To
// read and write at once, let each thread have its own `iopipe` over the same device; then one of them may read while
// the other one writes. Two readers must not run together. `iopipe_device`, of which all streams over one pipe hold a
// copy, may be copied on any thread.
//
// When it closes. An open end is closed when the last holder of the device goes. Destroying an `iopipe` writes out what
// is still buffered and swallows the errors of that: who must know calls `flush` or `close_for_write` and looks at the
// state.
#pragma once

#include <fl/export.hpp>
#include <fl/process/iopipe_descriptor.hpp>
#include <fl/process/iopipe_device.hpp>
#include <fl/process/iopipe_error.hpp>
#include <fl/process/open_mode.hpp>

#include <boost/core/noncopyable.hpp>
#include <boost/iostreams/stream_buffer.hpp>

#include <istream>
#include <memory>
#include <string>

namespace foundation::core::process {

namespace detail {

/// The buffer of the stream: 4096 bytes for each direction, 4 of them can be put back. Its base alone would report
/// output as written of which the system took only a part.
class FL_API iopipe_buffer
    : public boost::iostreams::stream_buffer<iopipe_device, std::char_traits<char>, std::allocator<char>,
                                             boost::iostreams::bidirectional> {
 public:
  explicit iopipe_buffer(const iopipe_device& device);
  /// Writes out what it holds, swallowing errors.
  ~iopipe_buffer() override;

 protected:
  int_type overflow(int_type c) override;
  /// 0 exactly when nothing is left to be written. Does not throw.
  int sync() override;
  /// A pipe has no positions: both fail, and nothing else happens. The base would throw away what has been read.
  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override;
  pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

 private:
  bool write_out();
};

/// The device and its stream buffer, in a base of their own: they must exist before the stream that is built over them.
class FL_API iopipe_components {
 public:
  iopipe_components(const iopipe_components&) = delete;
  iopipe_components& operator=(const iopipe_components&) = delete;

 protected:
  explicit iopipe_components(const iopipe_device& device);
  ~iopipe_components();

  iopipe_device device_;
  iopipe_buffer buffer_;  // over a copy of `device_`
};

}  // namespace detail

/// A buffered stream over a pipe; see the top of this file.
class FL_API iopipe : private boost::noncopyable, private detail::iopipe_components, public std::iostream {
 public:
  /// A new pipe. Without `open_mode::binary` it is in text mode. `open_mode::read` and `open_mode::write` do nothing
  /// here: both ends are open always.
  /// @throws boost::system::system_error with the text "CreatePipe" if the system refuses.
  explicit iopipe(int mode = open_mode::binary);
  template <class Mode, detail::standard_open_mode<Mode> = 0>
  explicit iopipe(Mode mode) : iopipe(detail::open_mode_of(mode)) {}
  /// A stream over an existing pipe, which it shares with every other holder of the device.
  explicit iopipe(const iopipe_device& device);
  /// A stream over the descriptor's handles, which belong to it from now on.
  explicit iopipe(const iopipe_descriptor& descriptor);
  /// Writes out what is buffered, swallowing errors; the ends close only if no other copy of the device lives.
  ~iopipe() override;

  /// The pipe itself, shared with this stream and past its buffer.
  iopipe_device device();
  const_iopipe_device device() const;

  /// Whether this process can still read from the pipe.
  bool is_open_for_read() const noexcept;
  /// Whether this process can still write to the pipe.
  bool is_open_for_write() const noexcept;

  /// Flushes and closes the write end if it is open, then closes the read end if it is open. Output that cannot be
  /// written sets the stream's badbit, which throws if `exceptions()` says so; the ends are closed nevertheless.
  void close();
  /// Closes the read end. What the stream has already buffered can still be read.
  void close_for_read();
  /// Flushes, also when the stream's state is not good (such as after reading to the end), and closes the write end.
  /// Output that cannot be written sets the badbit, which throws if `exceptions()` says so; the end is closed
  /// nevertheless.
  void close_for_write();

 private:
  bool write_out_and_close();
};

}  // namespace foundation::core::process
