// Thread safety: as in the header.
//
// What is held and what comes next meet in a window of the length of the longest character; all else goes straight from
// the caller's piece to the caller's area. Output goes by way of `pending_` only if a character does not fit into an
// area by itself.
#include "convert/text_converter.hpp"

#include <i18n/errors.hpp>

#include "codec/find_encoding.hpp"
#include "codec/utf8_codec.hpp"
#include "codec/utf_step.hpp"

#include <boost/throw_exception.hpp>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <numeric>
#include <string_view>
#include <type_traits>

namespace fl::i18n::detail {
namespace {

bool is_first_half(char16_t unit) {
  return utf16_traits::is_first_surrogate(unit);
}
bool is_first_half(char) {
  return false;
}

/// "U+1F600"; of two units the second is looked at only if they are a pair.
std::string code_point_text(const char16_t (&units)[2]) {
  const bool is_pair = utf16_traits::is_first_surrogate(units[0]) && utf16_traits::is_second_surrogate(units[1]);
  const code_point value = is_pair ? utf16_traits::combine_surrogate(units[0], units[1]) : code_point{units[0]};
  char text[16];
  std::snprintf(text, sizeof text, "U+%04lX", static_cast<unsigned long>(value));
  return text;
}

template <class Out, class In>
bool converts_ascii_to_itself(const codec<Out, In>& converter) {
  In ascii[0x80];
  std::iota(std::begin(ascii), std::end(ascii), In(0));
  Out converted[2 * std::size(ascii)] = {};
  const In* from = ascii;
  Out* to = converted;
  converter.convert(from, std::end(ascii), to, std::end(converted), true);
  return std::equal(std::begin(ascii), std::end(ascii), converted, to,
                    [](In in, Out out) { return static_cast<Out>(in) == out; });
}

}  // namespace

template <class Out, class In>
text_converter<Out, In>::text_converter(const std::string& encoding, bool lenient)
    : name_(encoding), encoding_(find_encoding(encoding)), lenient_(lenient) {
  start();
  extends_ascii_ = converts_ascii_to_itself(*codec_);
}

template <class Out, class In>
void text_converter<Out, In>::start() noexcept {
  if constexpr (std::is_same_v<In, char>) {
    take_codec(*encoding_.from_bytes);
  } else {
    take_codec(*encoding_.to_bytes);
  }
  at_start_ = encoding_.mark_count != 0;
  converted_ = 0;
}

template <class Out, class In>
void text_converter<Out, In>::take_codec(const text_codec& chosen) noexcept {
  codec_ = &chosen;
  if constexpr (std::is_same_v<In, char>) {
    is_utf8_ = codec_ == &utf8_decoder();
  } else {
    is_utf8_ = codec_ == &utf8_encoder();
  }
}

template <class Out, class In>
outcome text_converter<Out, In>::go_on(const Out* to_begin, Out*& to, Out* to_end, const In*& from, const In* from_end,
                                       bool last) noexcept {
  const passage here{from, from_end, to, to_end, last, to_begin};
  for (;;) {
    if (at_start_ && !pass_mark(here)) {
      return outcome::done;
    }
    if (!write_pending(here)) {
      return outcome::full;
    }
    const stop_reason why = held_count_ == 0 ? convert_piece(here) : convert_held(here);
    if (why == stop_reason::input_used && here.is_used()) {
      if (here.last) {
        start();
      }
      return outcome::done;
    }
    if (why == stop_reason::ill_formed && !lenient_) {
      return outcome::ill_formed;
    }
    if (why == stop_reason::output_full && !has_pending()) {
      return outcome::full;
    }
  }
}

/// Removes or writes a mark at the start of the text. Returns false if too little of it has come to know which.
template <class Out, class In>
bool text_converter<Out, In>::pass_mark(const passage& here) noexcept {
  if (here.is_used() && !here.last) {
    return false;
  }
  if constexpr (std::is_same_v<In, char>) {
    In window[most];
    const std::string_view start(window, static_cast<std::size_t>(join(window, here) - window));
    for (const byte_order_mark& mark : encoding_) {
      if (start.substr(0, mark.bytes.size()) == mark.bytes) {
        here.from += mark.bytes.size() - held_count_;
        held_count_ = 0;
        converted_ = mark.bytes.size();
        take_codec(*mark.rest);
        at_start_ = false;
        return true;
      }
    }
    const auto begins_with_start = [start](const byte_order_mark& mark) {
      return mark.bytes.substr(0, start.size()) == start;
    };
    if (!here.last && std::any_of(encoding_.begin(), encoding_.end(), begins_with_start)) {
      hold(start.data(), start.data() + start.size());
      here.from = here.from_end;
      return false;
    }
  } else {
    put_pending(encoding_.marks[0].bytes);
  }
  at_start_ = false;
  return true;
}

/// Converts from the caller's piece.
template <class Out, class In>
stop_reason text_converter<Out, In>::convert_piece(const passage& here) noexcept {
  const In* const begin = here.from;
  const stop_reason why = convert_some(here);
  converted_ += static_cast<std::size_t>(here.from - begin);
  if (why == stop_reason::input_used) {
    hold(here.from, here.from_end);
    here.from = here.from_end;
  }
  return why;
}

/// Converts what is held, with what comes next, and perhaps more.
template <class Out, class In>
stop_reason text_converter<Out, In>::convert_held(const passage& here) noexcept {
  In window[most];
  const In* const end = join(window, here);
  const std::size_t joined = static_cast<std::size_t>(end - window) - held_count_;
  const bool is_all = joined == static_cast<std::size_t>(here.from_end - here.from);
  const In* at = window;
  const stop_reason why = convert_some({at, end, here.to, here.to_end, here.last && is_all, here.to_begin});
  const auto consumed = static_cast<std::size_t>(at - window);
  converted_ += consumed;
  if (consumed >= held_count_) {
    here.from += consumed - held_count_;
    held_count_ = 0;
  } else if (why == stop_reason::input_used) {
    here.from += joined;
    hold(at, end);
  } else {
    hold(at, window + held_count_);
  }
  return why;
}

/// Converts once, with a replacement for what is ill-formed.
template <class Out, class In>
stop_reason text_converter<Out, In>::convert_some(const passage& here) noexcept {
  const stopped stop = is_behind_error_ ? codec_->resume(here.from, here.from_end, here.to, here.to_end, here.last)
                                        : codec_->convert(here.from, here.from_end, here.to, here.to_end, here.last);
  is_behind_error_ = stop.why == stop_reason::ill_formed && lenient_;
  if (stop.why == stop_reason::ill_formed && !lenient_) {
    const auto left = here.from_end - here.from;
    // With the second half of a pair, one can say which character is refused.
    if (!here.last && left == 1 && is_first_half(*here.from)) {
      return stop_reason::input_used;
    }
    refused_[0] = *here.from;
    refused_[1] = left > 1 ? here.from[1] : In();
  } else if (stop.why == stop_reason::output_full && here.is_area_empty()) {
    Out* pending = pending_;
    codec_->convert(here.from, here.from_end, pending, pending_ + most, here.last);
    pending_begin_ = 0;
    pending_end_ = static_cast<std::size_t>(pending - pending_);
  } else if (stop.why == stop_reason::ill_formed) {
    put_pending(codec_->replacement());
    here.from += stop.ill_formed_length;
  }
  return stop.why;
}

/// Copies what is held and as much behind it as has room into the window, and returns the end of that.
template <class Out, class In>
In* text_converter<Out, In>::join(In (&window)[most], const passage& here) const noexcept {
  In* const end = std::copy_n(held_, held_count_, window);
  const auto left = static_cast<std::size_t>(here.from_end - here.from);
  return std::copy_n(here.from, std::min(most - held_count_, left), end);
}

/// Precondition: [from, end) is shorter than `most`.
template <class Out, class In>
void text_converter<Out, In>::hold(const In* from, const In* end) noexcept {
  held_count_ = static_cast<std::size_t>(std::copy(from, end, held_) - held_);
}

template <class Out, class In>
void text_converter<Out, In>::put_pending(std::basic_string_view<Out> units) noexcept {
  pending_begin_ = 0;
  pending_end_ = units.copy(pending_, most);
}

/// Returns whether all of it is written.
template <class Out, class In>
bool text_converter<Out, In>::write_pending(const passage& here) noexcept {
  while (has_pending() && here.to != here.to_end) {
    *here.to++ = pending_[pending_begin_++];
  }
  return !has_pending();
}

template <class Out, class In>
void text_converter<Out, In>::refuse(std::uint64_t position, const char* units) const {
  std::string text;
  if constexpr (std::is_same_v<In, char>) {
    text = "ill-formed \"" + name_ + "\" at ";
  } else {
    text = code_point_text(refused_) + " is not in \"" + name_ + "\", at ";
  }
  boost::throw_exception(conversion_error(text + units + ' ' + std::to_string(position), position),
                         BOOST_CURRENT_LOCATION);
}

template class text_converter<char16_t, char>;
template class text_converter<char, char16_t>;

}  // namespace fl::i18n::detail
