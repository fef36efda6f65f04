// From bytes of one encoding to bytes of another one, piece by piece, by way of UTF-16.
//
// Thread safety: none; one thread at a time.
#pragma once

#include "convert/text_converter.hpp"

#include <cstddef>
#include <cstdint>
#include <string>

namespace fl::i18n::detail {

class recoder {
 public:
  /// One of the two encodings is UTF-8. Throws as `find_encoding`.
  recoder(const std::string& from_encoding, const std::string& to_encoding, bool lenient)
      : decoder_(from_encoding, lenient), encoder_(to_encoding, lenient) {}

  /// As `stream_converter::convert`. Returns whether the next call gives more output; throws `conversion_error`
  /// as the strict converters do.
  bool convert(char*& to, char* to_end, const char*& from, const char* from_end, bool last);

 private:
  std::uint64_t refused_position() const noexcept;

  static constexpr std::size_t unit_count = 512;

  text_converter<char16_t, char> decoder_;
  text_converter<char, char16_t> encoder_;
  char16_t units_[unit_count];        ///< between the two: whole characters
  const char16_t* next_ = units_;     ///< the first of `units_` that is not yet encoded
  char16_t* units_end_ = units_;      ///< behind the last of them
  std::uint64_t units_position_ = 0;  ///< how many bytes of the text stand before what `units_` begins with
};

}  // namespace fl::i18n::detail
