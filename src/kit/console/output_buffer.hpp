// The buffers behind the streams of output: one of UTF-8 for each device, and those of UTF-16 that write to it.
//
// They have no put area, so that several threads may write: each write takes the lock. Where a write fails it throws
// what the device threw, and a flush returns -1, since streams flush in destructors; what was not written is kept.
#pragma once

#include <fl/io/uostream.hpp>

#include "console/standard_device.hpp"

#include <mutex>
#include <streambuf>
#include <string>
#include <string_view>

namespace foundation::kit {

/// How many bytes of `utf8` stand in front of the beginning of a character whose rest may still come.
std::size_t without_incomplete_end(std::string_view utf8) noexcept;

enum class buffering {
  none,   ///< each write goes to the device
  lines,  ///< for a console until a line has ended, and else until the buffer is full
};

class output_buffer : public std::streambuf {
 public:
  static constexpr std::size_t limit = 16384;  ///< bytes that it holds at most after a write

  /// The device must outlive the buffer.
  output_buffer(standard_device& device, buffering how) : device_(device), buffering_(how) {}

  /// Writes all that is held, a character without its rest as U+FFFD. Gives up if another thread is writing, which need
  /// not be running any more, and if the device refuses.
  void finish() noexcept;

 protected:
  int_type overflow(int_type byte) override;
  std::streamsize xsputn(const char* bytes, std::streamsize count) override;
  int sync() override;

 private:
  void write_held(bool to_the_end);
  void write_to_console(bool to_the_end);

  standard_device& device_;
  const buffering buffering_;
  std::mutex mutex_;   // guards what follows
  std::string bytes_;  // accepted, and not yet handed on
  fl::ustring units_;  // made of bytes in front of these, and not yet taken by the console
};

/// UTF-16 to a buffer of UTF-8. A high surrogate waits for its low one; alone it becomes U+FFFD.
class utf16_output_buffer : public std::basic_streambuf<char16_t> {
 public:
  /// `target` must outlive the buffer.
  explicit utf16_output_buffer(std::streambuf& target) : target_(target) {}

 protected:
  int_type overflow(int_type unit) override;
  std::streamsize xsputn(const char16_t* units, std::streamsize count) override;
  int sync() override;

 private:
  std::streambuf& target_;
  std::mutex mutex_;       // guards what follows
  fl::ustring high_half_;  // empty, or a high surrogate
};

}  // namespace foundation::kit
