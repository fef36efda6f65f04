#include "console/output_buffer.hpp"

#include <i18n/convert.hpp>

#include <algorithm>
#include <utility>

namespace foundation::kit {

namespace {

// Consoles had an area of 64 KiB for all that programs write to them at a time, and refused what did not fit.
constexpr std::size_t most_units_a_write = 8192;

bool is_high_surrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xD800;
}

/// How many units to write at a time: no pair is cut in two.
std::size_t piece_length(std::u16string_view text) {
  const bool cuts = text.size() > most_units_a_write && is_high_surrogate(text[most_units_a_write - 1]);
  return std::min(text.size(), most_units_a_write - (cuts ? 1 : 0));
}

/// Bytes of the character that begins with `lead`; 1 for what begins none.
std::size_t character_length(unsigned char lead) {
  return lead >= 0xC2 && lead <= 0xDF ? 2 : (lead & 0xF0) == 0xE0 ? 3 : lead >= 0xF0 && lead <= 0xF4 ? 4 : 1;
}

/// Whether a character goes on so: not all bytes of the form 10xxxxxx may follow all of these.
bool is_second_byte(unsigned char lead, unsigned char second) {
  const unsigned char least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  return second >= least && second <= most;
}

/// Lets `write` have `text` until nothing is left, and takes out of it what was written, also if that throws.
template <class Text, class Write>
void write_and_remove(Text& text, Write write) {
  struct remover {
    Text& text;
    std::size_t written = 0;
    ~remover() { text.erase(0, written); }
  } done{text};
  while (done.written != text.size()) {
    done.written += write(text.data() + done.written, text.size() - done.written);
  }
}

}  // namespace

std::size_t without_incomplete_end(std::string_view utf8) noexcept {
  const std::size_t most = std::min<std::size_t>(utf8.size(), 3);
  for (std::size_t length = 1; length <= most; ++length) {
    const char* const start = utf8.data() + utf8.size() - length;
    const auto lead = static_cast<unsigned char>(start[0]);
    if ((lead & 0xC0) == 0x80) {
      continue;
    }
    const bool is_beginning =
        character_length(lead) > length && (length == 1 || is_second_byte(lead, static_cast<unsigned char>(start[1])));
    return utf8.size() - (is_beginning ? length : 0);
  }
  return utf8.size();
}

output_buffer::int_type output_buffer::overflow(int_type byte) {
  if (traits_type::eq_int_type(byte, traits_type::eof())) {
    return traits_type::not_eof(byte);
  }
  const char single = traits_type::to_char_type(byte);
  return output_buffer::xsputn(&single, 1) == 1 ? byte : traits_type::eof();
}

std::streamsize output_buffer::xsputn(const char* bytes, std::streamsize count) {
  const std::string_view added(bytes, static_cast<std::size_t>(count));
  const std::lock_guard lock(mutex_);
  bytes_ += added;
  if (buffering_ == buffering::none || bytes_.size() > limit ||
      (added.find('\n') != std::string_view::npos && device_.wants_lines())) {
    write_held(false);
  }
  return count;
}

int output_buffer::sync() {
  try {
    const std::lock_guard lock(mutex_);
    write_held(false);
    return 0;
  } catch (...) {
    return -1;
  }
}

void output_buffer::finish() noexcept {
  try {
    if (const std::unique_lock lock(mutex_, std::try_to_lock); lock.owns_lock()) {
      write_held(true);
    }
  } catch (...) {  // Nobody is left who could be told.
  }
}

void output_buffer::write_held(bool to_the_end) {
  if (bytes_.empty() && units_.empty()) {
    return;
  }
  switch (device_.kind()) {
    case device_kind::none:
      units_.clear();
      bytes_.clear();
      break;
    case device_kind::console:
      write_to_console(to_the_end);
      break;
    case device_kind::bytes:
      bytes_.insert(0, fl::i18n::ustring_to_utf8(std::exchange(units_, {})));  // from when it was a console
      write_and_remove(bytes_,
                       [this](const char* bytes, std::size_t count) { return device_.write_bytes(bytes, count); });
      break;
  }
}

void output_buffer::write_to_console(bool to_the_end) {
  const std::size_t ready = to_the_end ? bytes_.size() : without_incomplete_end(bytes_);
  units_ += fl::i18n::utf8_to_ustring(std::string_view(bytes_).substr(0, ready));
  bytes_.erase(0, ready);
  write_and_remove(units_, [this](const char16_t* units, std::size_t count) {
    return device_.write_units(units, piece_length({units, count}));
  });
}

utf16_output_buffer::int_type utf16_output_buffer::overflow(int_type unit) {
  if (traits_type::eq_int_type(unit, traits_type::eof())) {
    return traits_type::not_eof(unit);
  }
  const char16_t single = traits_type::to_char_type(unit);
  return utf16_output_buffer::xsputn(&single, 1) == 1 ? unit : traits_type::eof();
}

std::streamsize utf16_output_buffer::xsputn(const char16_t* units, std::streamsize count) {
  const std::lock_guard lock(mutex_);
  fl::ustring text = std::exchange(high_half_, {});
  text.append(units, static_cast<std::size_t>(count));
  if (!text.empty() && is_high_surrogate(text.back())) {
    high_half_ = text.back();
    text.pop_back();
  }
  const std::string bytes = fl::i18n::ustring_to_utf8(text);
  target_.sputn(bytes.data(), static_cast<std::streamsize>(bytes.size()));  // All of it, or it throws.
  return count;
}

int utf16_output_buffer::sync() {
  return target_.pubsync();
}

}  // namespace foundation::kit
