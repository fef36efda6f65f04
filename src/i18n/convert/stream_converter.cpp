// The public side of text_converter.hpp and recoder.hpp. Thread safety: as in the public header.
#include <i18n/stream_converter.hpp>

#include "convert/recoder.hpp"
#include "convert/text_converter.hpp"

namespace fl::i18n {
namespace {

constexpr const char* utf8 = "UTF-8";

/// What `convert_whole` leaves. Out of line, so that this needs few registers where it does not happen.
template <class Out, class In>
[[gnu::noinline]] std::size_t go_on(detail::text_converter<Out, In>& state, const char* units, const Out* to_begin,
                                    Out** to, Out* to_end, const In** from, const In* from_end, bool last) {
  const detail::outcome end = state.go_on(to_begin, *to, to_end, *from, from_end, last);
  if (end == detail::outcome::ill_formed) {
    state.refuse(state.converted(), units);
  }
  return end == detail::outcome::full;
}

}  // namespace

stream_codecvt_string_to_ustring::stream_codecvt_string_to_ustring(const std::string& encoding, bool lenient)
    : state_(std::make_unique<detail::text_converter<char16_t, char>>(encoding, lenient)) {
  set_passes_ascii(state_->passes_ascii());
}

stream_codecvt_string_to_ustring::~stream_codecvt_string_to_ustring() = default;

std::size_t stream_codecvt_string_to_ustring::convert(char16_t** to, char16_t* to_end, const char** from,
                                                      const char* from_end, bool last) const {
  const char16_t* const to_begin = *to;
  if (state_->convert_whole(*to, to_end, *from, from_end, last)) {
    return 0;  // It passes US-ASCII as before.
  }
  const std::size_t more = go_on(*state_, "byte", to_begin, to, to_end, from, from_end, last);
  set_passes_ascii(state_->passes_ascii());
  return more;
}

stream_codecvt_ustring_to_string::stream_codecvt_ustring_to_string(const std::string& encoding, bool lenient)
    : state_(std::make_unique<detail::text_converter<char, char16_t>>(encoding, lenient)) {
  set_passes_ascii(state_->passes_ascii());
}

stream_codecvt_ustring_to_string::~stream_codecvt_ustring_to_string() = default;

std::size_t stream_codecvt_ustring_to_string::convert(char** to, char* to_end, const char16_t** from,
                                                      const char16_t* from_end, bool last) const {
  const char* const to_begin = *to;
  if (state_->convert_whole(*to, to_end, *from, from_end, last)) {
    return 0;  // It passes US-ASCII as before.
  }
  const std::size_t more = go_on(*state_, "unit", to_begin, to, to_end, from, from_end, last);
  set_passes_ascii(state_->passes_ascii());
  return more;
}

stream_codecvt_string_to_utf8string::stream_codecvt_string_to_utf8string(const std::string& encoding, bool lenient)
    : state_(std::make_unique<detail::recoder>(encoding, utf8, lenient)) {}

stream_codecvt_string_to_utf8string::~stream_codecvt_string_to_utf8string() = default;

std::size_t stream_codecvt_string_to_utf8string::convert(char** to, char* to_end, const char** from,
                                                         const char* from_end, bool last) const {
  return state_->convert(*to, to_end, *from, from_end, last);
}

stream_codecvt_utf8string_to_string::stream_codecvt_utf8string_to_string(const std::string& encoding, bool lenient)
    : state_(std::make_unique<detail::recoder>(utf8, encoding, lenient)) {}

stream_codecvt_utf8string_to_string::~stream_codecvt_utf8string_to_string() = default;

std::size_t stream_codecvt_utf8string_to_string::convert(char** to, char* to_end, const char** from,
                                                         const char* from_end, bool last) const {
  return state_->convert(*to, to_end, *from, from_end, last);
}

}  // namespace fl::i18n
