// Conversion of text that arrives in pieces.
//
// A converter serves one direction of one stream: it keeps what a piece ended in the middle of (some bytes of a
// character, the first half of a surrogate pair, a byte order mark) and goes on with it in the next piece.
//
//     fl::i18n::stream_codecvt_string_to_ustring from_file("Shift_JIS", true);
//     while (...) {                                     // next piece in [from, from_end)
//       std::size_t more;
//       do {
//         char16_t* to = area;
//         more = from_file.convert(&to, area + size, &from, from_end, last_piece);
//         use(area, to);
//       } while (more != 0);
//     }
//
// Ill-formed input, and characters that the target encoding lacks, are treated as `decode` and `encode` of
// i18n/encoding.hpp treat them if the converter is lenient: the pieces put together give what these give for the whole.
// A strict converter throws instead and says where.
//
// Thread safety: none; one thread at a time.
#pragma once

#include <i18n/encoding.hpp>
#include <i18n/errors.hpp>
#include <i18n/export.hpp>
#include <i18n/ustring.hpp>

#include <cstddef>
#include <memory>
#include <string>

namespace fl::i18n {

/// Converts a text of `In` units to one of `Out` units, piece by piece.
template <class Out, class In>
class stream_converter {
 public:
  stream_converter(const stream_converter&) = delete;
  stream_converter& operator=(const stream_converter&) = delete;
  virtual ~stream_converter() = default;

  /// Converts [*from, from_end) into [*to, to_end) and moves `*from` and `*to` behind what was used and written.
  ///
  /// `last`: the text ends at `from_end`. What is kept of an incomplete character then counts as ill-formed, and
  /// afterwards the converter is ready for another text. Without it an incomplete end is kept.
  ///
  /// Returns 0 if all of the input is used and converted, and otherwise a number that is not 0: it has stopped only
  /// because the output area is full, which need not be to its last unit, and is to be called again with the rest,
  /// which gives more output. An area of any size but 0 gets on.
  ///
  /// Throws as the class that implements it says. Allocates no memory unless it throws.
  virtual std::size_t convert(Out** to, Out* to_end, const In** from, const In* from_end, bool last) const = 0;

  /// Whether `convert` would now make of each US-ASCII unit the unit with the same number, and nothing else: then one
  /// who has single units need not call it for these. False if nobody knows. Holds until the next call of `convert`.
  bool passes_ascii() const noexcept { return passes_ascii_; }

 protected:
  stream_converter() = default;
  /// For `convert` to say at its end.
  void set_passes_ascii(bool passes) const noexcept { passes_ascii_ = passes; }

 private:
  mutable bool passes_ascii_ = false;
};

namespace detail {
template <class Out, class In>
class text_converter;
class recoder;
}  // namespace detail

/// From bytes in an encoding to UTF-16. A strict one throws `conversion_error`, with everything before the offending
/// bytes written and `*from` behind what was used; the text cannot be gone on with.
class I18N_API stream_codecvt_string_to_ustring : public stream_converter<char16_t, char> {
 public:
  /// `encoding`: a name of i18n/encoding.hpp. Throws as `decode` does.
  stream_codecvt_string_to_ustring(const std::string& encoding, bool lenient);
  ~stream_codecvt_string_to_ustring() override;
  std::size_t convert(char16_t** to, char16_t* to_end, const char** from, const char* from_end,
                      bool last) const override;

 private:
  const std::unique_ptr<detail::text_converter<char16_t, char>> state_;  ///< not null
};

/// From UTF-16 to bytes in an encoding; otherwise as above.
class I18N_API stream_codecvt_ustring_to_string : public stream_converter<char, char16_t> {
 public:
  /// As that of `stream_codecvt_string_to_ustring`.
  stream_codecvt_ustring_to_string(const std::string& encoding, bool lenient);
  ~stream_codecvt_ustring_to_string() override;
  std::size_t convert(char** to, char* to_end, const char16_t** from, const char16_t* from_end,
                      bool last) const override;

 private:
  const std::unique_ptr<detail::text_converter<char, char16_t>> state_;  ///< not null
};

/// From bytes in an encoding to UTF-8; otherwise as above.
class I18N_API stream_codecvt_string_to_utf8string : public stream_converter<char, char> {
 public:
  /// As that of `stream_codecvt_string_to_ustring`.
  stream_codecvt_string_to_utf8string(const std::string& encoding, bool lenient);
  ~stream_codecvt_string_to_utf8string() override;
  std::size_t convert(char** to, char* to_end, const char** from, const char* from_end, bool last) const override;

 private:
  const std::unique_ptr<detail::recoder> state_;  ///< not null
};

/// From UTF-8 to bytes in an encoding; otherwise as above.
class I18N_API stream_codecvt_utf8string_to_string : public stream_converter<char, char> {
 public:
  /// As that of `stream_codecvt_string_to_ustring`.
  stream_codecvt_utf8string_to_string(const std::string& encoding, bool lenient);
  ~stream_codecvt_utf8string_to_string() override;
  std::size_t convert(char** to, char* to_end, const char** from, const char* from_end, bool last) const override;

 private:
  const std::unique_ptr<detail::recoder> state_;  ///< not null
};

}  // namespace fl::i18n
