// Conversion of whole strings with the codecs. Thread safety: pure functions.
#include <i18n/encoding.hpp>

#include "text_encoding.hpp"

#include <i18n/convert.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace fl::i18n {
namespace {

template <class Out, class In>
using codec = detail::codec<Out, In>;

/// Appends `text`, converted, to `result`, of which the first `length` units are in use. The result is allocated once
/// if `guess` units are enough, and otherwise once more.
template <class Out, class In>
void append(std::basic_string_view<In> text, const codec<Out, In>& converter, std::size_t guess,
            std::basic_string<Out>& result) {
  std::size_t length = result.size();
  result.resize(length + guess);
  const In* from = text.data();
  const In* const end = from + text.size();
  for (;;) {
    Out* to = result.data() + length;
    const detail::stopped stop = converter.convert(from, end, to, result.data() + result.size(), true);
    length = static_cast<std::size_t>(to - result.data());
    const auto left = static_cast<std::size_t>(end - from);
    if (stop.why == detail::stop_reason::input_used) {
      break;
    }
    const std::basic_string_view<Out> replacement = converter.replacement();
    if (stop.why == detail::stop_reason::output_full || result.size() - length < replacement.size()) {
      // Enough for all that is left, so that this happens once.
      result.resize(length + left * codec<Out, In>::max_character);
    }
    if (stop.why == detail::stop_reason::ill_formed) {
      replacement.copy(result.data() + length, replacement.size());
      length += replacement.size();
      from += stop.ill_formed_length;
    }
  }
  result.resize(length);
}

std::string encode(const ustring& text, const detail::text_encoding& encoding) {
  std::string result;
  if (encoding.mark_count != 0) {
    result = encoding.marks[0].bytes;
  }
  // Exactly enough for US-ASCII in most encodings.
  append(std::u16string_view(text), *encoding.to_bytes, text.size(), result);
  return result;
}

}  // namespace

unknown_encoding::~unknown_encoding() = default;

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
  // No encoding gives more units than it has bytes.
  append(bytes, *converter, bytes.size(), result);
  return result;
}

std::string encode(const ustring& text, std::string_view encoding) {
  return encode(text, detail::find_encoding(encoding));
}

std::string to_string(const ustring& text) {
  return encode(text, detail::active_encoding());
}

}  // namespace fl::i18n
