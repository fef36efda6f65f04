// The shared pipe object: forwards to the state that all copies share. What reading and writing do is in the transport.
#include <fl/process/iopipe_descriptor_impl.hpp>
#include <fl/process/iopipe_device.hpp>

#include "process/pipe/iopipe_device_impl.hpp"

#include <boost/smart_ptr/make_shared.hpp>

#include <functional>
#include <ostream>

namespace foundation::core::process {

using sysdep::windows::iopipe_descriptor_impl;
using sysdep::windows::iopipe_device_impl;

namespace detail {

void iopipe_device_impl_base::release_read_handle() noexcept {
  handles_.read_ = nullptr;
  open_for_read_ = false;
}

void iopipe_device_impl_base::release_write_handle() noexcept {
  handles_.write_ = nullptr;
  open_for_write_ = false;
}

}  // namespace detail

iopipe_device_base::iopipe_device_base(const iopipe_descriptor& descriptor)
    : impl_(boost::make_shared<iopipe_device_impl>(descriptor.impl())) {}
iopipe_device_base::iopipe_device_base(int mode) : impl_(boost::make_shared<iopipe_device_impl>(mode)) {}
iopipe_device_base::iopipe_device_base(const iopipe_device_base&) = default;
iopipe_device_base& iopipe_device_base::operator=(const iopipe_device_base&) = default;
iopipe_device_base::~iopipe_device_base() = default;

iopipe_device_impl& iopipe_device_base::impl() const noexcept {
  return *impl_;
}

const_iopipe_device::const_iopipe_device(const iopipe_descriptor& descriptor) : iopipe_device_base(descriptor) {}
const_iopipe_device::const_iopipe_device(int mode) : iopipe_device_base(mode) {}

const iopipe_handles& const_iopipe_device::handles() const noexcept {
  return impl().handles();
}
bool const_iopipe_device::is_open_for_read() const noexcept {
  return impl().is_open_for_read();
}
bool const_iopipe_device::is_open_for_write() const noexcept {
  return impl().is_open_for_write();
}
iopipe_descriptor const_iopipe_device::descriptor(const int& mode) const {
  return impl().descriptor(mode);
}

bool const_iopipe_device::operator==(const const_iopipe_device& other) const noexcept {
  return &impl() == &other.impl();
}
bool const_iopipe_device::operator!=(const const_iopipe_device& other) const noexcept {
  return !(*this == other);
}
bool const_iopipe_device::operator<(const const_iopipe_device& other) const noexcept {
  return std::less<>()(&impl(), &other.impl());
}

std::ostream& operator<<(std::ostream& out, const const_iopipe_device& device) {
  const void* const source = device.handles().read_handle();
  const void* const sink = device.handles().write_handle();
  return out << "pipe { source : " << source << ", sink : " << sink << " }";
}

iopipe_device::iopipe_device(int mode) : const_iopipe_device(mode) {}

iopipe_device::iopipe_device(const iopipe_descriptor& descriptor) : const_iopipe_device(descriptor) {}

iopipe_device::iopipe_device(const iopipe_handles& handles, bool overlapped, int mode)
    : iopipe_device(iopipe_descriptor(boost::make_shared<const iopipe_descriptor_impl>(
          handles, (mode & open_mode::binary) == 0, false, char(), overlapped))) {}

std::streamsize iopipe_device::read(char* s, std::streamsize n) const {
  return impl().read(s, n);
}
std::streamsize iopipe_device::write(const char* s, std::streamsize n) const {
  return impl().write(s, n);
}
void iopipe_device::close_for_read() const noexcept {
  impl().close_for_read();
}
void iopipe_device::close_for_write() const noexcept {
  impl().close_for_write();
}
void iopipe_device::release_read_handle() const noexcept {
  impl().release_read_handle();
}
void iopipe_device::release_write_handle() const noexcept {
  impl().release_write_handle();
}

}  // namespace foundation::core::process
