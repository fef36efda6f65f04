// Chooses the conversion for a named encoding. Thread safety: pure functions.
#include <i18n/encoding.hpp>

#include "code_page.hpp"
#include "encoding_names.hpp"
#include "utf_bytes.hpp"

#include <i18n/convert.hpp>

#include <boost/throw_exception.hpp>

namespace fl::i18n {
namespace {

namespace code_page = detail::code_page;
using detail::byte_order;

/// The page of the encoding, which this library or the system can convert.
unsigned require_code_page(std::string_view encoding) {
  const auto page = detail::find_code_page(encoding);
  if (!page) {
    boost::throw_exception(unknown_encoding("unknown encoding \"" + std::string(encoding) + "\""),
                           BOOST_CURRENT_LOCATION);
  }
  return *page;
}

void require_system_has(unsigned page, std::string_view encoding) {
  if (!detail::has_code_page(page)) {
    boost::throw_exception(
        unknown_encoding("this system has no code page for the encoding \"" + std::string(encoding) + "\""),
        BOOST_CURRENT_LOCATION);
  }
}

constexpr char16_t byte_order_mark = 0xFEFF;

}  // namespace

unknown_encoding::~unknown_encoding() = default;

ustring decode(std::string_view bytes, std::string_view encoding) {
  const unsigned page = require_code_page(encoding);
  switch (page) {
    case code_page::utf8:
      return utf8_to_ustring(bytes);
    case code_page::ascii:
      return detail::decode_ascii(bytes);
    case code_page::utf16_little:
      return detail::decode_utf16(bytes, byte_order::little);
    case code_page::utf16_big:
      return detail::decode_utf16(bytes, byte_order::big);
    case code_page::utf16_by_mark:
      return detail::decode_utf16_by_mark(bytes);
    case code_page::utf32_little:
      return detail::decode_utf32(bytes, byte_order::little);
    case code_page::utf32_big:
      return detail::decode_utf32(bytes, byte_order::big);
    case code_page::utf32_by_mark:
      return detail::decode_utf32_by_mark(bytes);
    default:
      require_system_has(page, encoding);
      return detail::decode_code_page(bytes, page);
  }
}

std::string encode(const ustring& text, std::string_view encoding) {
  const unsigned page = require_code_page(encoding);
  std::string result;
  switch (page) {
    case code_page::utf8:
      return ustring_to_utf8(text);
    case code_page::ascii:
      return detail::encode_ascii(text);
    case code_page::utf16_by_mark:
      detail::encode_utf16(ustring(1, byte_order_mark), byte_order::little, result);
      [[fallthrough]];
    case code_page::utf16_little:
      detail::encode_utf16(text, byte_order::little, result);
      return result;
    case code_page::utf16_big:
      detail::encode_utf16(text, byte_order::big, result);
      return result;
    case code_page::utf32_by_mark:
      detail::encode_utf32(ustring(1, byte_order_mark), byte_order::little, result);
      [[fallthrough]];
    case code_page::utf32_little:
      detail::encode_utf32(text, byte_order::little, result);
      return result;
    case code_page::utf32_big:
      detail::encode_utf32(text, byte_order::big, result);
      return result;
    default:
      require_system_has(page, encoding);
      return detail::encode_code_page(text, page);
  }
}

std::string to_string(const ustring& text) {
  const unsigned page = detail::active_code_page();
  return page == code_page::utf8 ? ustring_to_utf8(text) : detail::encode_code_page(text, page);
}

}  // namespace fl::i18n
