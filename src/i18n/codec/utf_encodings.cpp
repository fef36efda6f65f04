// Thread safety: as in the header.
#include "codec/utf_encodings.hpp"

#include "codec/ascii_codec.hpp"
#include "codec/latin1_codec.hpp"
#include "codec/utf16_codec.hpp"
#include "codec/utf32_codec.hpp"
#include "codec/utf8_codec.hpp"

namespace fl::i18n::detail {
namespace {

using namespace std::string_view_literals;

text_encoding by_mark(const text_encoding& little, std::string_view little_mark, const text_encoding& big,
                      std::string_view big_mark) {
  return {big.from_bytes, little.to_bytes, {{little_mark, little.from_bytes}, {big_mark, big.from_bytes}}, 2};
}

}  // namespace

text_encoding ascii() {
  return {&ascii_decoder(), &ascii_encoder()};
}

text_encoding latin1() {
  return {&latin1_decoder(), &latin1_encoder()};
}

text_encoding utf8() {
  return {&utf8_decoder(), &utf8_encoder()};
}

text_encoding utf16_little() {
  return {&utf16_decoder(byte_order::little), &utf16_encoder(byte_order::little)};
}

text_encoding utf16_big() {
  return {&utf16_decoder(byte_order::big), &utf16_encoder(byte_order::big)};
}

text_encoding utf32_little() {
  return {&utf32_decoder(byte_order::little), &utf32_encoder(byte_order::little)};
}

text_encoding utf32_big() {
  return {&utf32_decoder(byte_order::big), &utf32_encoder(byte_order::big)};
}

text_encoding utf8_by_mark() {
  return {&utf8_decoder(), &utf8_encoder(), {{"\xEF\xBB\xBF"sv, &utf8_decoder()}}, 1};
}

text_encoding utf16_by_mark() {
  return by_mark(utf16_little(), "\xFF\xFE"sv, utf16_big(), "\xFE\xFF"sv);
}

text_encoding utf32_by_mark() {
  return by_mark(utf32_little(), "\xFF\xFE\x00\x00"sv, utf32_big(), "\x00\x00\xFE\xFF"sv);
}

}  // namespace fl::i18n::detail
