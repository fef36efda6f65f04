// Conversion piece by piece. The codec converts; this keeps what the codec, which has no state, cannot.
//
// Thread safety: none; one thread at a time.
#pragma once

#include "codec/codec.hpp"
#include "codec/text_encoding.hpp"
#include "codec/utf8_decode.hpp"
#include "codec/utf8_encode.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace fl::i18n::detail {

/// How a piece ended.
enum class outcome {
  done,       ///< all is used, and written but for the beginning of a character
  full,       ///< the next call gives more output
  ill_formed  ///< only if strict: all before it is written, `refuse` says what it is, and the next call stops here
              ///< again
};

/// `Out` and `In` are `char16_t` and `char`, or the reverse.
template <class Out, class In>
class text_converter {
 public:
  /// Throws as `find_encoding`.
  text_converter(const std::string& encoding, bool lenient);
  text_converter(const text_converter&) = delete;
  text_converter& operator=(const text_converter&) = delete;

  /// As `stream_converter::convert`, but for what is ill-formed.
  outcome convert(Out*& to, Out* to_end, const In*& from, const In* from_end, bool last) noexcept {
    Out* const to_begin = to;
    return convert_whole(to, to_end, from, from_end, last) ? outcome::done
                                                           : go_on(to_begin, to, to_end, from, from_end, last);
  }

  /// The same for a piece of whole characters that has room, between others: nearly always, and for text in small
  /// pieces as quick as it can be. Returns false if it is none; what is left of it is for `go_on`.
  bool convert_whole(Out*& to, Out* to_end, const In*& from, const In* from_end, bool last) noexcept {
    if (last || !is_between_characters()) {
      return false;
    }
    const In* const begin = from;
    // UTF-8 is what nearly all text is in, and a call is a good part of the time for a line of it.
    const stopped stop =
        is_utf8_ ? convert_utf8(from, from_end, to, to_end) : codec_->convert(from, from_end, to, to_end, false);
    converted_ += static_cast<std::size_t>(from - begin);
    return stop.why == stop_reason::input_used && from == from_end;
  }

  /// The rest of a piece of which `convert_whole` has converted a part, into an area that begins at `to_begin`.
  outcome go_on(const Out* to_begin, Out*& to, Out* to_end, const In*& from, const In* from_end, bool last) noexcept;

  /// Whether the next unit, if it is US-ASCII, would be written at once, as the same number: nothing is held, nothing
  /// is refused or counted.
  bool passes_ascii() const noexcept { return extends_ascii_ && lenient_ && is_between_characters(); }

  /// How many units of the text are converted; those that are held are not.
  std::uint64_t converted() const noexcept { return converted_; }

  /// Throws the conversion_error that says what is ill-formed. It stands at `position`, counted in `units` ("byte").
  [[noreturn]] void refuse(std::uint64_t position, const char* units) const;

 private:
  using text_codec = codec<Out, In>;
  static constexpr std::size_t most = text_codec::max_character;
  static_assert(most >= longest_mark);

  /// From where to where one call of `convert` converts: the rest of the caller's piece and of the caller's area.
  struct passage {
    const In*& from;
    const In* const from_end;
    Out*& to;
    Out* const to_end;
    const bool last;            ///< the text ends at `from_end`
    const Out* const to_begin;  ///< of the area

    bool is_used() const noexcept { return from == from_end; }
    /// Then one character has to be converted even if it does not fit.
    bool is_area_empty() const noexcept { return to == to_begin; }
  };

  bool is_between_characters() const noexcept { return !at_start_ && held_count_ == 0 && !has_pending(); }
  void start() noexcept;
  void take_codec(const text_codec& chosen) noexcept;
  static stopped convert_utf8(const char*& from, const char* from_end, char16_t*& to, char16_t* to_end) noexcept {
    return decode_utf8(from, from_end, to, to_end, false);
  }
  static stopped convert_utf8(const char16_t*& from, const char16_t* from_end, char*& to, char* to_end) noexcept {
    return encode_utf8(from, from_end, to, to_end, false);
  }
  bool pass_mark(const passage& here) noexcept;
  stop_reason convert_piece(const passage& here) noexcept;
  stop_reason convert_held(const passage& here) noexcept;
  stop_reason convert_some(const passage& here) noexcept;
  In* join(In (&window)[most], const passage& here) const noexcept;
  void hold(const In* from, const In* end) noexcept;
  bool has_pending() const noexcept { return pending_begin_ != pending_end_; }
  void put_pending(std::basic_string_view<Out> units) noexcept;
  bool write_pending(const passage& here) noexcept;

  const std::string name_;  ///< of the encoding, as it was asked for
  const text_encoding encoding_;
  const bool lenient_;
  bool extends_ascii_ = false;  ///< US-ASCII stands for itself, by one unit each

  const text_codec* codec_ = nullptr;  ///< not null; a mark at the start of a text chooses it anew
  bool is_utf8_ = false;               ///< that it is the one of UTF-8
  bool at_start_ = false;              ///< of a text that may have a mark there, and nothing of it converted
  bool is_behind_error_ = false;       ///< what was converted last was ill-formed
  std::uint64_t converted_ = 0;        ///< see `converted`
  In held_[most] = {};                 ///< input that is used but not converted: the beginning of a character or mark
  std::size_t held_count_ = 0;         ///< units in use of `held_`, less than `most`
  Out pending_[most] = {};             ///< output for which the area was too small
  std::size_t pending_begin_ = 0;      ///< of `pending_`, what is not yet written
  std::size_t pending_end_ = 0;
  In refused_[2] = {};  ///< the first units of what is ill-formed; the second is 0 if it has not come
};

extern template class text_converter<char16_t, char>;
extern template class text_converter<char, char16_t>;

}  // namespace fl::i18n::detail
