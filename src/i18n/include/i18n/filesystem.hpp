// File names between the system's form and `ustring`.
//
// The system allows any sequence of 16-bit units in a file name, lone surrogates included, so a native name need not be
// well-formed UTF-16.
#pragma once

#include <i18n/converter.hpp>
#include <i18n/export.hpp>
#include <i18n/ustring.hpp>

namespace fl::filesystem {

/// From a native file name to a `ustring`. Immutable: one object may serve several threads.
class I18N_API codecvt_filesystem_to_ustring : public i18n::converter<char16_t, wchar_t> {
 public:
  /// `lenient` says what becomes of a name that is not well-formed UTF-16. If true, it is kept unit by unit, so that
  /// the result still names the same file. If false, `convert` throws `std::range_error`.
  explicit codecvt_filesystem_to_ustring(bool lenient);
  ~codecvt_filesystem_to_ustring() override;

  /// The name as a `ustring`.
  ustring convert(std::wstring_view text) const override;

 private:
  bool lenient_;  // Ill-formed names are kept.
};

}  // namespace fl::filesystem
