// Conversion of whole strings with the codecs; also `to_string` of i18n/convert.hpp. Thread safety: pure functions.
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>

#include "codec/find_encoding.hpp"
#include "convert/append_converted.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace fl::i18n {
namespace {

template <class Out, class In>
using codec = detail::codec<Out, In>;

template <class Out, class In>
void append(std::basic_string<Out>& result, std::basic_string_view<In> text, const codec<Out, In>& converter) {
  const std::size_t mark_size = result.size();
  const auto convert = [&](bool is_behind_error, const In*& from, const In* end, Out*& to, Out* to_end) {
    return is_behind_error ? converter.resume(from, end, to, to_end, true)
                           : converter.convert(from, end, to, to_end, true);
  };
  // Room for what is left of the text, too: as much as the beginning of the text lets expect, and if that was not
  // enough, as much as it can be at most. So the text is allocated once or twice.
  const auto reserve = [&](std::size_t done, std::size_t count) {
    const std::size_t needed = result.size() + count;
    if (result.capacity() < needed) {
      const std::size_t left = text.size() - done;
      const std::size_t expected = left * count / done;
      const bool is_first = result.size() == mark_size;
      result.reserve(needed + (is_first ? expected + expected / 16 : left * codec<Out, In>::max_character));
    }
  };
  detail::append_converted(result, text, converter.replacement(), convert, reserve);
}

std::string encode(const ustring& text, const detail::text_encoding& encoding) {
  std::string result;
  if (encoding.mark_count != 0) {
    result = encoding.marks[0].bytes;
  }
  append(result, std::u16string_view(text), *encoding.to_bytes);
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
  append(result, bytes, *converter);
  return result;
}

std::string encode(const ustring& text, std::string_view encoding) {
  return encode(text, detail::find_encoding(encoding));
}

std::string to_string(const ustring& text) {
  return encode(text, detail::active_encoding());
}

}  // namespace fl::i18n
