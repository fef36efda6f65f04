// The stream over a pipe. Its one rule of its own is that closing flushes, whatever state the stream is in.
#include <fl/process/iopipe.hpp>

namespace foundation::core::process {

namespace detail {

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
  if (!written)
    setstate(std::ios_base::badbit);
}

void iopipe::close_for_read() {
  device_.close_for_read();
}

void iopipe::close_for_write() {
  if (!write_out_and_close())
    setstate(std::ios_base::badbit);
}

}  // namespace foundation::core::process
