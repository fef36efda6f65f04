// The buffer behind the stream of input: what a console gives, in UTF-8 and with "\n" at the ends of lines, or the
// bytes of a file or pipe. Thread safety: none.
#pragma once

#include <i18n/ustring.hpp>

#include "console/standard_device.hpp"

#include <streambuf>
#include <string>

namespace foundation::kit {

class input_buffer : public std::streambuf {
 public:
  /// The device must outlive the buffer.
  explicit input_buffer(standard_device& device) : device_(device) {}

 protected:
  /// Waits for the device. Throws what that throws.
  int_type underflow() override;

 private:
  std::string read_bytes();
  std::string read_text();
  std::string text_of(fl::ustring read);

  standard_device& device_;
  std::string area_;           // what can be read, behind one byte that can be put back
  fl::ustring held_;           // of a console: empty, or a unit that is told by what follows: "\r" or a high surrogate
  bool begins_a_line_ = true;  // the next that a console gives
};

}  // namespace foundation::kit
