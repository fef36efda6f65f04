// What converts between bytes of one encoding and UTF-16, piece by piece.
//
// Thread safety: codecs are immutable and live until the process ends; one may serve all threads. State, such as the
// beginning of a character that the next piece goes on with, is the caller's (text_converter.hpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fl::i18n::detail {

/// Why a conversion stopped.
enum class stop_reason {
  input_used,   ///< all is converted, but for the beginning of one character at the end, if the input goes on
  output_full,  ///< the next character does not fit
  ill_formed    ///< the next units stand for no character, or for one that the target lacks
};

struct stopped {
  stop_reason why = stop_reason::input_used;
  /// In units of input, from where the conversion stopped; not 0 with `ill_formed`.
  std::uint32_t ill_formed_length = 0;
};

/// One direction of one encoding. `Out` and `In` are `char16_t` and `char`, or the reverse.
template <class Out, class In>
class codec {
 public:
  /// Most units of input that one character has, and most units of output that one character or replacement gives.
  static constexpr std::size_t max_character = 4;

  codec() = default;
  codec(const codec&) = delete;
  codec& operator=(const codec&) = delete;
  virtual ~codec() = default;

  /// Converts [from, end) into [to, to_end) as far as it goes and moves `from` and `to` behind what was converted,
  /// always by whole characters. With `last`, nothing comes behind `end`: the beginning of a character there is
  /// ill-formed. Without, it is left: fewer than `max_character` units.
  virtual stopped convert(const In*& from, const In* end, Out*& to, Out* to_end, bool last) const noexcept = 0;

  /// As `convert`, right behind what was ill-formed. More of that is likely there, and a codec that is slow to find it
  /// may have another way.
  virtual stopped resume(const In*& from, const In* end, Out*& to, Out* to_end, bool last) const noexcept {
    return convert(from, end, to, to_end, last);
  }

  /// What stands for each ill-formed subpart: 1 to `max_character` units.
  virtual std::basic_string_view<Out> replacement() const noexcept = 0;
};

using decoder = codec<char16_t, char>;
using encoder = codec<char, char16_t>;

}  // namespace fl::i18n::detail
