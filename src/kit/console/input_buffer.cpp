#include "console/input_buffer.hpp"

#include <i18n/convert.hpp>

#include <utility>

namespace foundation::kit {

namespace {

constexpr std::size_t most_units_read = 4096;  // of a console, at a time
constexpr std::size_t most_bytes_read = 16384;
constexpr char16_t end_of_input = u'\x1a';  // what Ctrl-Z gives

bool waits_for_more(char16_t unit) {
  return unit == u'\r' || (unit & 0xFC00) == 0xD800;
}

void remove_returns(fl::ustring& text) {
  for (std::size_t at = 0; (at = text.find(u"\r\n", at)) != fl::ustring::npos;) {
    text.erase(at, 1);
  }
}

}  // namespace

input_buffer::int_type input_buffer::underflow() {
  if (gptr() != egptr()) {
    return traits_type::to_int_type(*gptr());
  }
  std::string read;
  switch (device_.kind()) {
    case device_kind::none:
      break;
    case device_kind::bytes:
      read = read_bytes();
      break;
    case device_kind::console:
      read = read_text();
      break;
  }
  if (read.empty()) {
    return traits_type::eof();
  }
  area_.erase(0, area_.empty() ? 0 : area_.size() - 1);
  const std::size_t kept = area_.size();
  area_ += read;
  setg(area_.data(), area_.data() + kept, area_.data() + area_.size());
  return traits_type::to_int_type(*gptr());
}

std::string input_buffer::read_bytes() {
  std::string bytes = fl::i18n::ustring_to_utf8(std::exchange(held_, {}));  // from when it was a console
  const std::size_t kept = bytes.size();
  bytes.resize(kept + most_bytes_read);
  bytes.resize(kept + device_.read_bytes(bytes.data() + kept, most_bytes_read));
  return bytes;
}

std::string input_buffer::read_text() {
  for (;;) {
    fl::ustring units(most_units_read, u'\0');
    units.resize(device_.read_units(units.data(), units.size()));
    if (units.empty()) {
      return fl::i18n::ustring_to_utf8(std::exchange(held_, {}));
    }
    if (begins_a_line_ && units.front() == end_of_input) {
      return {};  // The rest of the line belongs to it.
    }
    begins_a_line_ = units.back() == u'\n';
    if (std::string text = text_of(std::move(units)); !text.empty()) {
      return text;
    }
  }
}

std::string input_buffer::text_of(fl::ustring read) {
  read.insert(0, std::exchange(held_, {}));
  if (waits_for_more(read.back())) {
    held_ = read.back();
    read.pop_back();
  }
  remove_returns(read);
  return fl::i18n::ustring_to_utf8(read);
}

}  // namespace foundation::kit
