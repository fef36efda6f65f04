// Input from a string. The stream's buffer is a member, so the base holds none.
#include <fl/io/uistringstream.hpp>

#include "io/move_out.hpp"

#include <utility>

namespace foundation::core::io {
namespace {

std::ios_base::openmode with_in(int mode) {
  return static_cast<std::ios_base::openmode>(mode) | std::ios_base::in;
}

}  // namespace

uistringstream::uistringstream() : uistringstream(std::ios_base::in) {}

uistringstream::uistringstream(int mode) : uistream({}), buffer_(with_in(mode)) {
  rdbuf(&buffer_);
}

uistringstream::uistringstream(ustring initial, int mode) : uistream({}), buffer_(std::move(initial), with_in(mode)) {
  rdbuf(&buffer_);
}

uistringstream::uistringstream(uistringstream&& other) : uistream({}), buffer_(detail::move_out(other.buffer_)) {
  rdbuf(&buffer_);
}

uistringstream::~uistringstream() = default;

uistringstream& uistringstream::operator=(uistringstream&& other) {
  if (this == &other) {
    return *this;
  }
  buffer_ = detail::move_out(other.buffer_);
  rdbuf(&buffer_);
  return *this;
}

ustring uistringstream::str() const {
  return buffer_.str();
}

void uistringstream::str(const ustring& text) {
  buffer_.str(text);
}

}  // namespace foundation::core::io
