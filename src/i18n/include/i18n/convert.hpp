// Conversion of whole strings between UTF-16, UTF-8 and the system's narrow encoding.
//
// Ill-formed input never fails. Each maximal ill-formed subpart becomes one U+FFFD: the longest run of code units that
// is either the beginning of a well-formed sequence or, where there is none, a single unit. So the bytes E2 82 41 give
// U+FFFD and "A"; F0 80 80 and ED A0 80 give three U+FFFD each, since no well-formed sequence begins with F0 80 or ED
// A0; and in UTF-16 each lone surrogate gives one U+FFFD.
//
// A byte order mark is an ordinary character here: it is neither removed nor added.
//
// Thread safety: pure functions. They throw only `std::bad_alloc` and `std::length_error`, except `to_string`.
// Not here: text that arrives in pieces (see stream_converter.hpp), and encodings by name (see encoding.hpp).
// `to_string` is implemented in convert/encoding.cpp, the others in convert/convert.cpp.
#pragma once

#include <i18n/export.hpp>
#include <i18n/ustring.hpp>

#include <string>
#include <string_view>

namespace fl::i18n {

/// The text as UTF-8. The result is always well-formed.
I18N_API std::string ustring_to_utf8(std::u16string_view text);

inline std::string ustring_to_utf8(const ustring& text) {
  return ustring_to_utf8(std::u16string_view(text));
}

/// `text` is zero-terminated and not null.
inline std::string ustring_to_utf8(const char16_t* text) {
  return ustring_to_utf8(std::u16string_view(text));
}

/// UTF-8 bytes as UTF-16. The result is always well-formed.
I18N_API ustring utf8_to_ustring(std::string_view bytes);

inline ustring utf8_to_ustring(const std::string& bytes) {
  return utf8_to_ustring(std::string_view(bytes));
}

/// `bytes` is zero-terminated and not null.
inline ustring utf8_to_ustring(const char* bytes) {
  return utf8_to_ustring(std::string_view(bytes));
}

/// The text in the active code page of the system. What that code page cannot represent becomes its default character,
/// one for each UTF-16 unit; nothing is replaced by a merely similar character.
///
/// Throws as `encode` of encoding.hpp does for the encoding "SYSTEM".
I18N_API std::string to_string(const ustring& text);

}  // namespace fl::i18n
