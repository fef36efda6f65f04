// UTF-8 to UTF-16 and back, whole strings. Thread safety: pure functions.
//
// A text of no more than one piece of `append_converted` needs nothing else. For a longer one, memory is taken once, of
// the size that the result has if the text is well-formed, and the kernel writes there. From the first ill-formed place
// on, the text goes piece by piece, and the string grows as it always does.
#include <i18n/convert.hpp>

#include "codec/utf8_decode.hpp"
#include "codec/utf8_encode.hpp"
#include "convert/append_converted.hpp"

namespace fl::i18n {
namespace {

/// Makes `result` the conversion of the start of `text`, as far as it is well-formed, and returns the length of that
/// start in units of `text`. `size` of well-formed text converted, `convert` as the kernel has them.
template <class Out, class In, class Size, class Convert>
std::size_t convert_well_formed(std::basic_string<Out>& result, std::basic_string_view<In> text, Size size,
                                Convert convert) {
  std::size_t used = text.size();
  // The string does not fill its memory first, which would take as long as to convert ASCII.
  result.resize_and_overwrite(size(text.data(), text.size()), [&](Out* to, std::size_t) {
    const simdutf::result done = convert(text.data(), text.size(), to);
    if (done.error == simdutf::SUCCESS) {
      return done.count;
    }
    used = done.count;
    return size(text.data(), used);
  });
  return used;
}

template <auto Convert, auto Resume, class Out, class In>
void append_rest(std::basic_string<Out>& result, std::basic_string_view<In> text,
                 std::basic_string_view<Out> replacement) {
  const auto convert = [](bool is_behind_error, const In*& from, const In* end, Out*& to, Out* to_end) {
    return is_behind_error ? Resume(from, end, to, to_end, true) : Convert(from, end, to, to_end, true);
  };
  detail::append_converted(result, text, replacement, convert, [](std::size_t, std::size_t) {});
}

}  // namespace

std::string ustring_to_utf8(std::u16string_view text) {
  std::string result;
  std::size_t done = 0;
  if (text.size() > detail::converted_area<char> / 3) {
    const simdutf::implementation& kernel = *detail::kernel().functions;
    done = convert_well_formed(
        result, text,
        [&](const char16_t* units, std::size_t count) { return kernel.utf8_length_from_utf16le(units, count); },
        [&](const char16_t* units, std::size_t count, char* to) {
          return kernel.convert_utf16le_to_utf8_with_errors(units, count, to);
        });
  }
  append_rest<detail::encode_utf8, detail::encode_by_steps>(result, text.substr(done),
                                                            std::string_view("\xEF\xBF\xBD"));
  return result;
}

ustring utf8_to_ustring(std::string_view bytes) {
  ustring result;
  std::size_t done = 0;
  if (bytes.size() > detail::converted_area<char16_t>) {
    const simdutf::implementation& kernel = *detail::kernel().functions;
    done = convert_well_formed(
        result, bytes, [&](const char* text, std::size_t size) { return kernel.utf16_length_from_utf8(text, size); },
        [&](const char* text, std::size_t size, char16_t* to) {
          return kernel.convert_utf8_to_utf16le_with_errors(text, size, to);
        });
  }
  append_rest<detail::decode_utf8, detail::decode_by_steps>(result, bytes.substr(done), std::u16string_view(u"\uFFFD"));
  return result;
}

}  // namespace fl::i18n
