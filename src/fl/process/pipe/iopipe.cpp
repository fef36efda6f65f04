// The stream over a pipe. Its rules of its own are that closing flushes, whatever state the stream is in, and that
// output counts as written when the system has accepted all of it.
#include <fl/process/iopipe.hpp>

#include <algorithm>

namespace foundation::core::process {

namespace detail {

iopipe_buffer::iopipe_buffer(const iopipe_device& device) : stream_buffer(device) {}

iopipe_buffer::~iopipe_buffer() {
  sync();
  setp(nullptr, nullptr);  // The base would try once more.
}

// Offers what is left again for as long as the system accepts some of it. That moves to the front, where the base has
// the beginning of its buffer and expects that of the output, too.
bool iopipe_buffer::write_out() {
  while (pptr() != pbase()) {
    const std::streamsize length = pptr() - pbase();
    const std::streamsize written = (*this)->write(pbase(), length);
    if (written == 0) {
      return false;
    }
    std::copy(pbase() + written, pptr(), pbase());
    setp(pbase(), epptr());
    pbump(static_cast<int>(length - written));
  }
  return true;
}

iopipe_buffer::int_type iopipe_buffer::overflow(int_type c) {
  if (pptr() == epptr() && !write_out()) {
    return traits_type::eof();
  }
  return stream_buffer::overflow(c);
}

int iopipe_buffer::sync() {
  try {
    return write_out() ? 0 : -1;
  } catch (...) {
    return -1;  // The stream turns it into its badbit; a flush throws no other exception than that of its state.
  }
}

iopipe_buffer::pos_type iopipe_buffer::seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) {
  return pos_type(off_type(-1));
}

iopipe_buffer::pos_type iopipe_buffer::seekpos(pos_type, std::ios_base::openmode) {
  return pos_type(off_type(-1));
}

iopipe_components::iopipe_components(const iopipe_device& device) : device_(device), buffer_(device_) {}
iopipe_components::~iopipe_components() = default;

}  // namespace detail

iopipe::iopipe(int mode) : iopipe(iopipe_device(mode)) {}
iopipe::iopipe(const iopipe_device& device) : detail::iopipe_components(device), std::iostream(&buffer_) {}
iopipe::iopipe(const iopipe_descriptor& descriptor) : iopipe(iopipe_device(descriptor)) {}
iopipe::~iopipe() = default;

iopipe_device iopipe::device() {
  return device_;
}
const_iopipe_device iopipe::device() const {
  return device_;
}

bool iopipe::is_open_for_read() const noexcept {
  return device_.is_open_for_read();
}
bool iopipe::is_open_for_write() const noexcept {
  return device_.is_open_for_write();
}

// Asks the buffer and not the stream: `flush` does nothing on a stream that is not good, which this one is not any more
// after its reader has met the end of the file, and the output would be lost.
bool iopipe::write_out_and_close() {
  const bool written = buffer_.pubsync() == 0;
  device_.close_for_write();
  return written;
}

void iopipe::close() {
  const bool written = !device_.is_open_for_write() || write_out_and_close();
  device_.close_for_read();
  if (!written) {
    setstate(std::ios_base::badbit);
  }
}

void iopipe::close_for_read() {
  device_.close_for_read();
}

void iopipe::close_for_write() {
  if (!write_out_and_close()) {
    setstate(std::ios_base::badbit);
  }
}

}  // namespace foundation::core::process
