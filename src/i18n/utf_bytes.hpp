// UTF-16, UTF-32 and US-ASCII as bytes. Ill-formed input is treated as i18n/encoding.hpp tells.
// Thread safety: pure functions.
#pragma once

#include <i18n/ustring.hpp>

#include <string>
#include <string_view>

namespace fl::i18n::detail {

enum class byte_order { little, big };

/// Both append to `result`, which may hold a byte order mark.
void encode_utf16(const ustring& text, byte_order order, std::string& result);
void encode_utf32(const ustring& text, byte_order order, std::string& result);

ustring decode_utf16(std::string_view bytes, byte_order order);
ustring decode_utf32(std::string_view bytes, byte_order order);

/// With the byte order that a mark at the start tells, which is removed; big-endian without one.
ustring decode_utf16_by_mark(std::string_view bytes);
ustring decode_utf32_by_mark(std::string_view bytes);

/// The code page of the system is not used for US-ASCII: it drops the eighth bit instead of noticing it.
ustring decode_ascii(std::string_view bytes);
std::string encode_ascii(const ustring& text);

}  // namespace fl::i18n::detail
