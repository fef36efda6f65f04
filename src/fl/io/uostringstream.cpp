// Output into a string. The stream's buffer is a member, so the base holds none.
#include <fl/io/uostringstream.hpp>

#include "io/move_out.hpp"

#include <utility>

namespace foundation::core::io {
namespace {

std::ios_base::openmode with_out(int mode) {
  return static_cast<std::ios_base::openmode>(mode) | std::ios_base::out;
}

}  // namespace

uostringstream::uostringstream() : uostringstream(std::ios_base::out) {}

uostringstream::uostringstream(int mode) : uostream({}), buffer_(with_out(mode)) {
  rdbuf(&buffer_);
}

uostringstream::uostringstream(ustring initial, int mode) : uostream({}), buffer_(std::move(initial), with_out(mode)) {
  rdbuf(&buffer_);
}

uostringstream::uostringstream(uostringstream&& other) : uostream({}), buffer_(detail::move_out(other.buffer_)) {
  rdbuf(&buffer_);
}

uostringstream::~uostringstream() = default;

uostringstream& uostringstream::operator=(uostringstream&& other) {
  if (this == &other) {
    return *this;
  }
  buffer_ = detail::move_out(other.buffer_);
  rdbuf(&buffer_);
  return *this;
}

ustring uostringstream::str() const {
  return buffer_.str();
}

void uostringstream::str(const ustring& text) {
  buffer_.str(text);
}

}  // namespace foundation::core::io
