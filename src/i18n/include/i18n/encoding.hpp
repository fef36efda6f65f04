// Conversion of whole strings between UTF-16 and an encoding that is given by its name.
//
// Known names, with their registered aliases; letter case and the characters "-", "_", ".", ":" and blank do not
// matter:
// - UTF-8, US-ASCII;
// - UTF-8-BOM (utf-8-sig): decoding removes one byte order mark at the start, encoding writes one;
// - UTF-16LE, UTF-16BE, UTF-32LE, UTF-32BE: a byte order mark is an ordinary character;
// - UTF-16, UTF-32: decoding takes the byte order from the mark and removes it, and without a mark reads big-endian;
//   encoding writes a mark and little-endian units;
// - GB18030, EUC-JP, ISO-8859-10, -14 and -16;
// - the single-byte and double-byte encodings that the system has a code page for: the other parts of ISO-8859,
//   windows-874 and 1250 to 1258, Shift_JIS, GBK, Big5, EUC-KR, KOI8-R and -U, IBM437, IBM850, cp037 and others;
// - SYSTEM: the active code page, which may be UTF-8.
// What a code page contains is asked of the system at its first use, which takes some milliseconds, and then kept.
// Deliberately not here: encodings with shift states (UTF-7, ISO-2022, HZ).
//
// Thread safety: any number of threads may convert at once.
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
/// Throws `unknown_encoding`, and `boost::system::system_error` if the system refuses to tell what a code page
/// contains.
I18N_API ustring decode(std::string_view bytes, std::string_view encoding);

/// `text` as bytes in `encoding`. A lone surrogate counts as U+FFFD in the Unicode encodings and GB18030. What another
/// encoding cannot represent becomes its default character, usually "?", one for each UTF-16 unit; nothing is replaced
/// by a merely similar character.
///
/// Throws as `decode` does.
I18N_API std::string encode(const ustring& text, std::string_view encoding);

}  // namespace fl::i18n
