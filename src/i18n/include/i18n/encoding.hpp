// Conversion of whole strings between UTF-16 and an encoding that is given by its name.
//
// Known names, with their registered aliases; letter case and the characters "-", "_", ".", ":" and blank do not
// matter:
// - UTF-8: a byte order mark at the start is an ordinary character, U+FEFF, and stays in the text;
// - UTF-8-BOM (utf-8-sig): decoding removes one byte order mark at the start if there is one, encoding writes one;
// - UTF-16LE, UTF-16BE, UTF-32LE, UTF-32BE: a byte order mark is an ordinary character;
// - UTF-16, UTF-32: decoding reads the byte order from the mark and removes it, and without a mark reads big-endian;
//   encoding writes a mark and little-endian units;
// - US-ASCII, and all parts of ISO-8859 as they stand in the standard (-7 in its edition of 2003), -8-E and -8-I with
//   the bytes of -8;
// - GB18030 in its edition of 2000;
// - the other single-byte and double-byte encodings that the system has a code page for, as it has them:
//     windows-1250 to 1258  bytes without a character from 80 to 9F are the control characters of the same numbers
//     windows-874           likewise; TIS-620 is taken for it, which adds some punctuation
//     KOI8-R
//     KOI8-U                with the Belarusian U+045E and U+040E at AE and BE, in place of lines of boxes
//     Shift_JIS             windows-31J: with the additions of NEC and IBM, and U+FF5E for the wave dash
//     EUC-JP                without these additions, with JIS X 0212, and with U+301C for the wave dash
//     GBK                   with the euro sign at 80; GB2312 and EUC-CN are taken for it, which adds characters
//     Big5                  page 950, without the additions of Hong Kong
//     EUC-KR                UHC (windows-949), which adds all other syllables
//     IBM437, IBM850, cp037 and others;
// - SYSTEM: the active code page, which may be UTF-8.
// What a code page contains is asked of the system at its first use, which takes some milliseconds, and then kept.
// Deliberately not here: encodings with shift states (UTF-7, ISO-2022, HZ).
//
// Thread safety: any number of threads may convert at once.
#pragma once

#include <i18n/errors.hpp>
#include <i18n/export.hpp>
#include <i18n/ustring.hpp>

#include <string>
#include <string_view>

namespace fl::i18n {

/// `bytes`, which are in `encoding`, as UTF-16. The result is always well-formed.
///
/// Ill-formed input becomes U+FFFD: in UTF-8 and UTF-16 as in i18n/convert.hpp, in UTF-32 one for each four bytes
/// that are no code point, and one for an incomplete unit at the end. In other encodings each byte that begins no
/// character gives one, and reading goes on at the next byte.
///
/// Throws `unknown_encoding`, and `boost::system::system_error` if the system refuses to say what a code page
/// contains.
I18N_API ustring decode(std::string_view bytes, std::string_view encoding);

/// `text` as bytes in `encoding`. A lone surrogate counts as U+FFFD in the Unicode encodings and GB18030. What another
/// encoding cannot represent, so that `decode` would give it back, becomes its default character, usually "?", one for
/// each UTF-16 unit; nothing is replaced by a merely similar character.
///
/// Throws as `decode` does.
I18N_API std::string encode(const ustring& text, std::string_view encoding);

}  // namespace fl::i18n
