// Thread safety: as in the header.
#include <i18n/errors.hpp>

#include "codec/ascii_codec.hpp"
#include "codec/code_page.hpp"
#include "codec/encoding_table.hpp"
#include "codec/page_encodings.hpp"
#include "codec/text_encoding.hpp"
#include "codec/utf16_codec.hpp"
#include "codec/utf32_codec.hpp"
#include "codec/utf8_codec.hpp"

#include <boost/throw_exception.hpp>

#include <string>

namespace fl::i18n::detail {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view utf8_mark = "\xEF\xBB\xBF"sv;
constexpr std::string_view utf16_little_mark = "\xFF\xFE"sv;
constexpr std::string_view utf16_big_mark = "\xFE\xFF"sv;
constexpr std::string_view utf32_little_mark = "\xFF\xFE\x00\x00"sv;
constexpr std::string_view utf32_big_mark = "\x00\x00\xFE\xFF"sv;

/// The text says the name. `problem` stands before it.
[[noreturn]] void throw_unknown(const std::string& problem, std::string_view name, boost::source_location location) {
  boost::throw_exception(unknown_encoding(problem + " \"" + std::string(name) + "\""), location);
}

text_encoding utf16(byte_order order) {
  return {&utf16_decoder(order), &utf16_encoder(order)};
}

text_encoding utf32(byte_order order) {
  return {&utf32_decoder(order), &utf32_encoder(order)};
}

/// Big-endian unless a mark tells otherwise; written with a mark and little-endian.
text_encoding utf16_by_mark() {
  const text_encoding little = utf16(byte_order::little);
  const text_encoding big = utf16(byte_order::big);
  return {
      big.from_bytes, little.to_bytes, {{utf16_little_mark, little.from_bytes}, {utf16_big_mark, big.from_bytes}}, 2};
}

text_encoding utf32_by_mark() {
  const text_encoding little = utf32(byte_order::little);
  const text_encoding big = utf32(byte_order::big);
  return {
      big.from_bytes, little.to_bytes, {{utf32_little_mark, little.from_bytes}, {utf32_big_mark, big.from_bytes}}, 2};
}

text_encoding page_encoding(unsigned page, std::string_view name) {
  const codec_pair found = find_page_codecs(page);
  if (found.from_bytes == nullptr) {
    throw_unknown("this system has no code page for the encoding", name, BOOST_CURRENT_LOCATION);
  }
  return {found.from_bytes, found.to_bytes};
}

text_encoding encoding_of(unsigned page, std::string_view name) {
  switch (page) {
    case code_page::active:
      return encoding_of(active_code_page(), name);
    case code_page::utf8:
      return {&utf8_decoder(), &utf8_encoder()};
    case code_page::utf8_by_mark:
      return {&utf8_decoder(), &utf8_encoder(), {{utf8_mark, &utf8_decoder()}}, 1};
    case code_page::ascii:
      return {&ascii_decoder(), &ascii_encoder()};
    case code_page::utf16_little:
      return utf16(byte_order::little);
    case code_page::utf16_big:
      return utf16(byte_order::big);
    case code_page::utf16_by_mark:
      return utf16_by_mark();
    case code_page::utf32_little:
      return utf32(byte_order::little);
    case code_page::utf32_big:
      return utf32(byte_order::big);
    case code_page::utf32_by_mark:
      return utf32_by_mark();
    default:
      return page_encoding(page, name);
  }
}

}  // namespace

text_encoding find_encoding(std::string_view name) {
  const auto page = find_code_page(name);
  if (!page) {
    throw_unknown("unknown encoding", name, BOOST_CURRENT_LOCATION);
  }
  return encoding_of(*page, name);
}

text_encoding active_encoding() {
  return encoding_of(code_page::active, "SYSTEM");
}

}  // namespace fl::i18n::detail
