// A whole stream of text from one encoding to another, of any size, in memory for a few blocks.
//
//   kit::recode(in, "Shift_JIS", out, "UTF-8", kit::lossy::refuse);
//
// Open both streams in binary mode: line ends are text like any other. Names of encodings are those of
// i18n/encoding.hpp. Thread safety: none beyond that of the streams.
#pragma once

#include <i18n/errors.hpp>

#include <kit/export.hpp>

#include <cstdint>
#include <functional>
#include <istream>
#include <ostream>
#include <string>

namespace foundation::kit {

/// What becomes of ill-formed input and of characters that the other encoding lacks.
enum class lossy {
  replace,  ///< as i18n/encoding.hpp says: U+FFFD, and a question mark
  refuse,   ///< fl::i18n::conversion_error and missing_character
};

/// The target lacks a character. `what()` begins with its number, as in "U+20AC"; `position()` is in UTF-16 units.
class KIT_API missing_character : public fl::i18n::conversion_error {
 public:
  /// `cause`: what the converter threw, whose text and position this has.
  explicit missing_character(const fl::i18n::conversion_error& cause);
  missing_character(const missing_character& other) noexcept;
  missing_character& operator=(const missing_character& other) noexcept;
  ~missing_character() override;
};

/// Reads `in` to its end, and writes to `out` what `encode` makes of what `decode` makes of it, and flushes it. After
/// each block `progress`, if there is one, is told how many bytes have been read up to there.
///
/// Throws fl::i18n::unknown_encoding; std::ios_base::failure if a stream fails, unless its `exceptions` make it throw
/// something of its own, which for `in` may be badbit alone: the end sets the others; and what `lossy` says. Part of
/// the text may have been written then.
KIT_API void recode(std::istream& in, const std::string& from, std::ostream& out, const std::string& to,
                    lossy how = lossy::replace, const std::function<void(std::uint64_t)>& progress = nullptr);

}  // namespace foundation::kit
