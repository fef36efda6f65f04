// UTF-16, UTF-32 and US-ASCII as bytes. Thread safety: pure functions.
#include "utf_bytes.hpp"

#include "utf_step.hpp"

#include <iterator>

namespace fl::i18n::detail {
namespace {

constexpr std::size_t utf16_unit = 2;  // Bytes.
constexpr std::size_t utf32_unit = 4;
constexpr code_point byte_order_mark = 0xFEFF;

/// The unit of `size` bytes at `bytes`.
code_point load(const char* bytes, std::size_t size, byte_order order) {
  code_point value = 0;
  for (std::size_t i = 0; i != size; ++i) {
    const std::size_t place = order == byte_order::big ? i : size - 1 - i;
    value = value << 8 | static_cast<unsigned char>(bytes[place]);
  }
  return value;
}

void store(code_point value, std::size_t size, byte_order order, std::string& result) {
  for (std::size_t i = 0; i != size; ++i) {
    const std::size_t place = order == byte_order::little ? i : size - 1 - i;
    result += static_cast<char>(value >> (8 * place) & 0xFF);
  }
}

void append(code_point value, ustring& result) {
  utf16_traits::encode(value, std::back_inserter(result));
}

/// Calls `use` with each code point of the text.
template <class Use>
void for_each_code_point(const ustring& text, Use use) {
  const char16_t* from = text.data();
  const char16_t* const end = from + text.size();
  while (from != end) {
    use(take(from, end));
  }
}

template <class Decode>
ustring decode_by_mark(std::string_view bytes, std::size_t unit, Decode decode) {
  if (bytes.size() >= unit) {
    for (const byte_order order : {byte_order::little, byte_order::big}) {
      if (load(bytes.data(), unit, order) == byte_order_mark) {
        return decode(bytes.substr(unit), order);
      }
    }
  }
  return decode(bytes, byte_order::big);
}

}  // namespace

void encode_utf16(const ustring& text, byte_order order, std::string& result) {
  result.reserve(result.size() + text.size() * utf16_unit);
  for_each_code_point(text, [&](code_point value) {
    ustring units;
    append(value, units);
    for (const char16_t unit : units) {
      store(unit, utf16_unit, order, result);
    }
  });
}

void encode_utf32(const ustring& text, byte_order order, std::string& result) {
  result.reserve(result.size() + text.size() * utf32_unit);
  for_each_code_point(text, [&](code_point value) { store(value, utf32_unit, order, result); });
}

ustring decode_utf16(std::string_view bytes, byte_order order) {
  ustring units;
  units.reserve(bytes.size() / utf16_unit + 1);
  for (; bytes.size() >= utf16_unit; bytes.remove_prefix(utf16_unit)) {
    units += static_cast<char16_t>(load(bytes.data(), utf16_unit, order));
  }
  ustring result;
  result.reserve(units.size() + 1);
  for_each_code_point(units, [&](code_point value) { append(value, result); });
  if (!bytes.empty()) {
    append(replacement_character, result);
  }
  return result;
}

ustring decode_utf32(std::string_view bytes, byte_order order) {
  ustring result;
  result.reserve(bytes.size() / utf32_unit + 1);
  for (; bytes.size() >= utf32_unit; bytes.remove_prefix(utf32_unit)) {
    const code_point value = load(bytes.data(), utf32_unit, order);
    append(boost::locale::utf::is_valid_codepoint(value) ? value : replacement_character, result);
  }
  if (!bytes.empty()) {
    append(replacement_character, result);
  }
  return result;
}

ustring decode_utf16_by_mark(std::string_view bytes) {
  return decode_by_mark(bytes, utf16_unit, decode_utf16);
}

ustring decode_utf32_by_mark(std::string_view bytes) {
  return decode_by_mark(bytes, utf32_unit, decode_utf32);
}

ustring decode_ascii(std::string_view bytes) {
  ustring result;
  result.reserve(bytes.size());
  for (const char c : bytes) {
    const auto value = static_cast<unsigned char>(c);
    result += static_cast<char16_t>(value < 0x80 ? value : replacement_character);
  }
  return result;
}

std::string encode_ascii(const ustring& text) {
  std::string result;
  result.reserve(text.size());
  for (const char16_t unit : text) {
    result += unit < 0x80 ? static_cast<char>(unit) : '?';
  }
  return result;
}

}  // namespace fl::i18n::detail
