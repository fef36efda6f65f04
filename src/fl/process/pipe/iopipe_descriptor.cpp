// The printing and parsing of descriptors begins here, with the handles; iopipe_descriptor_impl adds the rest. No
// state; the stream's own rules for numbers decide what is malformed.
#include <fl/process/iopipe_descriptor.hpp>
#include <fl/process/iopipe_descriptor_impl.hpp>

#include <boost/smart_ptr/make_shared.hpp>

#include <cstdint>
#include <istream>
#include <locale>
#include <ostream>
#include <sstream>
#include <stdexcept>

namespace foundation::core::process {
namespace {

static_assert(sizeof(void*) == sizeof(std::uint64_t));

std::uint64_t number_of(void* handle) noexcept {
  return reinterpret_cast<std::uintptr_t>(handle);
}

// Only `bad` is looked at behind the number: a failed extraction is found out by the next field that asks for a good
// stream.
void* parse_file_handle(std::istream& in) {
  constexpr auto message = "parse_file_handle: bad stream";
  if (!in.good()) {
    throw std::runtime_error(message);
  }
  std::uint64_t number = 0;
  in >> number;
  if (in.bad()) {
    throw std::runtime_error(message);
  }
  // A failed extraction may leave a number too (the largest one, if it overflowed); that is no handle.
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a number is what a handle is to another process
  return in.fail() ? nullptr : reinterpret_cast<void*>(static_cast<std::uintptr_t>(number));
}

}  // namespace

namespace detail {

void iopipe_descriptor_impl_base::serialize(std::ostream& out) const {
  out << number_of(handles_.read_handle()) << ' ' << number_of(handles_.write_handle());
}

void iopipe_descriptor_impl_base::parse(std::istream& in) {
  void* const read = parse_file_handle(in);
  void* const write = parse_file_handle(in);
  handles_ = {read, write};
}

}  // namespace detail

using sysdep::windows::iopipe_descriptor_impl;

iopipe_descriptor::iopipe_descriptor() : impl_(boost::make_shared<const iopipe_descriptor_impl>()) {}

iopipe_descriptor::iopipe_descriptor(const std::string& text)
    : impl_(boost::make_shared<const iopipe_descriptor_impl>(text)) {}

iopipe_descriptor::iopipe_descriptor(const char* text) : iopipe_descriptor(std::string(text)) {}

iopipe_descriptor::iopipe_descriptor(const boost::shared_ptr<const iopipe_descriptor_impl>& impl) : impl_(impl) {}

iopipe_descriptor::iopipe_descriptor(const iopipe_descriptor&) = default;
// NOLINTNEXTLINE(performance-move-constructor-init): shares on purpose
iopipe_descriptor::iopipe_descriptor(iopipe_descriptor&& other) noexcept : impl_(other.impl_) {}
iopipe_descriptor& iopipe_descriptor::operator=(const iopipe_descriptor&) = default;
iopipe_descriptor& iopipe_descriptor::operator=(iopipe_descriptor&& other) noexcept {
  impl_ = other.impl_;
  return *this;
}
iopipe_descriptor::~iopipe_descriptor() = default;

iopipe_descriptor::operator std::string() const {
  std::ostringstream out;
  out.exceptions(std::ios_base::badbit);  // Or it would swallow the std::bad_alloc of its buffer.
  // Another process reads this, whose locale may group digits differently.
  out.imbue(std::locale::classic());
  impl_->serialize(out);
  return out.str();
}

const iopipe_descriptor_impl& iopipe_descriptor::impl() const noexcept {
  return *impl_;
}

}  // namespace foundation::core::process
