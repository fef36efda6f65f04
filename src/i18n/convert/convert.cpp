// UTF-8 to UTF-16 and back, whole strings. Thread safety: pure functions.
//
// Memory is taken once, of the size that the result has if the text is well-formed, and the kernel writes there. From
// the first ill-formed place on, the text goes piece by piece, and the string grows as it always does.
#include <i18n/convert.hpp>

#include "codec/utf8_decode.hpp"
#include "codec/utf8_encode.hpp"
#include "convert/append_converted.hpp"

namespace fl::i18n {
namespace {

/// Makes `result` the conversion of the start of `text`, as far as it is well-formed, and returns the length of that
/// start in units of `text`.
template <auto Length, auto Convert, class Out, class In>
std::size_t convert_well_formed(std::basic_string<Out>& result, std::basic_string_view<In> text) {
  std::size_t used = 0;
  // The string does not fill its memory first, which would take as long as to convert ASCII.
  result.resize_and_overwrite(Length(text.data(), text.size()), [&](Out* to, std::size_t) {
    const detail::kernel::outcome done = Convert(text.data(), text.size(), to);
    used = done.used;
    return done.written;
  });
  return used;
}

template <auto Convert, auto Resume, class Out, class In>
[[gnu::noinline]] void append_rest(std::basic_string<Out>& result, std::basic_string_view<In> text,
                                   std::basic_string_view<Out> replacement) {
  const auto convert = [](bool is_behind_error, const In*& from, const In* end, Out*& to, Out* to_end) {
    return is_behind_error ? Resume(from, end, to, to_end, true) : Convert(from, end, to, to_end, true);
  };
  detail::append_converted(result, text, replacement, convert, [](std::size_t, std::size_t) {});
}

}  // namespace

std::string ustring_to_utf8(std::u16string_view text) {
  std::string result;
  if (text.size() >= detail::kernel::least) {
    text.remove_prefix(convert_well_formed<detail::kernel::utf8_length, detail::kernel::utf16_to_utf8>(result, text));
  }
  if (!text.empty()) {
    append_rest<detail::encode_utf8, detail::encode_by_steps>(result, text, std::string_view("\xEF\xBF\xBD"));
  }
  return result;
}

ustring utf8_to_ustring(std::string_view bytes) {
  ustring result;
  if (bytes.size() >= detail::kernel::least) {
    bytes.remove_prefix(
        convert_well_formed<detail::kernel::utf16_length, detail::kernel::utf8_to_utf16>(result, bytes));
  }
  if (!bytes.empty()) {
    append_rest<detail::decode_utf8, detail::decode_by_steps>(result, bytes, std::u16string_view(u"\uFFFD"));
  }
  return result;
}

}  // namespace fl::i18n
