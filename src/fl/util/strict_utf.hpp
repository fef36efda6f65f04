// Conversion from UTF-8 to UTF-16 that refuses what is not well-formed, for text whose meaning must not change on
// its way to the system: names of programs, arguments, directories, variables. Text for people goes through the i18n
// library, which mends it instead. Pure functions, safe on any thread.
#pragma once

#include <string>
#include <string_view>

namespace foundation::core::util {

/// Refuses, with `std::range_error` "bad conversion": bytes that begin no sequence, sequences cut short, forms longer
/// than needed, surrogates, code points above 0x10FFFF. A byte order mark and a NUL are characters as any other.
std::u16string utf8_to_utf16_strict(std::string_view utf8);

}  // namespace foundation::core::util
