// Conversion of whole strings between UTF-16 and an encoding that is given by its name.
//
// Known names, with their registered aliases; letter case and the characters "-", "_", ".", ":" and blank do not
// matter:
// - UTF-8, US-ASCII;
// - UTF-16LE, UTF-16BE, UTF-32LE, UTF-32BE: a byte order mark is an ordinary character;
// - UTF-16, UTF-32: decoding takes the byte order from the mark and removes it, and without a mark reads big-endian;
//   encoding writes a mark and little-endian units;
// - the single-byte and double-byte encodings and GB18030 that the system has a code page for: ISO-8859-1 to 9, 13 and
// 15,
//   windows-1250 to 1258, Shift_JIS, GBK, Big5, EUC-KR, KOI8-R, IBM437, IBM850, cp037 and others.
// Deliberately not here: encodings with shift states (UTF-7, ISO-2022, HZ) and EUC-JP, of which the system's code page
// knows a private variant only.
//
// Thread safety: pure functions.
#pragma once

#include <i18n/export.hpp>
#include <i18n/ustring.hpp>

#include <stdexcept>
#include <string>
#include <string_view>

namespace fl::i18n {

/// The name of an encoding is not known, or the system has no code page for it. `what()` says the name.
class I18N_API unknown_encoding : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
  ~unknown_encoding() override;
};

/// `bytes`, which are in `encoding`, as UTF-16. The result is always well-formed.
///
/// Ill-formed input becomes U+FFFD: in UTF-8 and UTF-16 as i18n/convert.hpp tells, in UTF-32 one for each four bytes
/// that are no code point, and one for an incomplete unit at the end. In other encodings each byte that begins no
/// character gives one, and reading goes on at the next byte.
///
/// Throws `unknown_encoding`; `std::length_error` for more than 2^29 - 1 bytes in a code page of the system;
/// `boost::system::system_error` if the system refuses the conversion.
I18N_API ustring decode(std::string_view bytes, std::string_view encoding);

/// `text` as bytes in `encoding`. A lone surrogate counts as U+FFFD in the Unicode encodings. What a code page cannot
/// represent becomes its default character, usually "?", one for each UTF-16 unit; nothing is replaced by a merely
/// similar character.
///
/// Throws as `decode` does, with `std::length_error` for more than 2^29 - 1 units.
I18N_API std::string encode(const ustring& text, std::string_view encoding);

}  // namespace fl::i18n
