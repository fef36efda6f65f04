// Conversion of whole strings with the codecs. Thread safety: pure functions.
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>

#include "codec/find_encoding.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace fl::i18n {
namespace {

template <class Out, class In>
using codec = detail::codec<Out, In>;

/// Makes room for `count` more units, and for what is left of the text: as much as the beginning of the text lets
/// expect, and if that was not enough, as much as it can be at most. So the text is allocated once or twice.
template <class Out, class In>
void reserve(std::basic_string<Out>& result, std::size_t count, std::size_t taken, std::size_t left) {
  const std::size_t needed = result.size() + count;
  if (result.capacity() < needed) {
    const bool is_first = result.size() <= detail::longest_mark;
    const std::size_t expected = left * count / taken;
    result.reserve(needed + (is_first ? expected + expected / 16 : left * codec<Out, In>::max_character));
  }
}

/// Appends `text`, converted, to `result`, which is empty or a byte order mark. By way of a small area, as in utf.cpp.
template <class Out, class In>
void append(std::basic_string_view<In> text, const codec<Out, In>& converter, std::basic_string<Out>& result) {
  constexpr std::size_t area_size = 4096 / sizeof(Out);
  // So that a replacement always fits.
  constexpr std::size_t filled = area_size - codec<Out, In>::max_character;
  Out area[area_size];
  Out* to = area;
  const In* from = text.data();
  const In* const end = from + text.size();
  for (;;) {
    const detail::stopped stop = converter.convert(from, end, to, area + filled, true);
    if (stop.why == detail::stop_reason::ill_formed) {
      const std::basic_string_view<Out> replacement = converter.replacement();
      to += replacement.copy(to, replacement.size());
      from += stop.ill_formed_length;
    }
    if (stop.why != detail::stop_reason::ill_formed || to >= area + filled) {
      const auto taken = static_cast<std::size_t>(from - text.data());
      reserve<Out, In>(result, static_cast<std::size_t>(to - area), taken, text.size() - taken);
      result.append(area, to);
      to = area;
    }
    if (stop.why == detail::stop_reason::input_used) {
      return;
    }
  }
}

std::string encode(const ustring& text, const detail::text_encoding& encoding) {
  std::string result;
  if (encoding.mark_count != 0) {
    result = encoding.marks[0].bytes;
  }
  append(std::u16string_view(text), *encoding.to_bytes, result);
  return result;
}

}  // namespace

ustring decode(std::string_view bytes, std::string_view encoding) {
  const detail::text_encoding found = detail::find_encoding(encoding);
  const detail::decoder* converter = found.from_bytes;
  for (const detail::byte_order_mark& mark : found) {
    if (bytes.substr(0, mark.bytes.size()) == mark.bytes) {
      bytes.remove_prefix(mark.bytes.size());
      converter = mark.rest;
      break;
    }
  }
  ustring result;
  append(bytes, *converter, result);
  return result;
}

std::string encode(const ustring& text, std::string_view encoding) {
  return encode(text, detail::find_encoding(encoding));
}

std::string to_string(const ustring& text) {
  return encode(text, detail::active_encoding());
}

}  // namespace fl::i18n
