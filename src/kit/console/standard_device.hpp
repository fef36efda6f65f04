// What a standard stream needs of the system, and what stands behind it. Implemented in windows/standard_device.cpp,
// and in tests.
#pragma once

#include <cstddef>

namespace foundation::kit {

enum class device_kind {
  none,     ///< no handle: nobody reads what is written, and there is nothing to read
  bytes,    ///< a file, a pipe or another device
  console,  ///< takes and gives UTF-16
};

/// One of the standard handles. The other functions are called according to the `kind` that was last asked for; they
/// throw boost::system::system_error. Counts are in bytes or UTF-16 units. Any thread.
class standard_device {
 public:
  virtual device_kind kind() = 0;

  /// Whether each line is to be written when it ends, as to a console. Is asked for each line, so it need not notice at
  /// once that a file has given way to a console.
  virtual bool wants_lines() = 0;

  /// Write at least one of `count`, which is not 0; how many.
  virtual std::size_t write_bytes(const char* bytes, std::size_t count) = 0;
  virtual std::size_t write_units(const char16_t* units, std::size_t count) = 0;

  /// Wait for something to read, `count` at most; 0 is the end.
  virtual std::size_t read_bytes(char* bytes, std::size_t count) = 0;
  virtual std::size_t read_units(char16_t* units, std::size_t count) = 0;

 protected:
  ~standard_device() = default;
};

}  // namespace foundation::kit
