#include "process/windows/native_text.hpp"

#include <i18n/convert.hpp>

#include <boost/numeric/conversion/cast.hpp>

#include <windows.h>

#include <algorithm>
#include <cwctype>

namespace foundation::core::sysdep::windows {

namespace {

bool is_ascii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool code_page_is_utf8() {
  return ::GetACP() == CP_UTF8;
}

// Writes `text` into `units`, which has a unit for each byte: no encoding needs more. Returns how many came of it, 0 if
// the text is not valid under `flags`.
std::size_t convert(UINT code_page, DWORD flags, std::string_view text, std::wstring& units) {
  const int size = boost::numeric_cast<int>(text.size());
  return static_cast<std::size_t>(::MultiByteToWideChar(code_page, flags, text.data(), size, units.data(), size));
}

}  // namespace

bool fits_narrow_calls(std::initializer_list<std::string_view> texts) {
  return code_page_is_utf8() || std::all_of(texts.begin(), texts.end(), is_ascii);
}

bool fits_narrow_calls(const process::environment_map& environment) {
  return code_page_is_utf8() || std::all_of(environment.begin(), environment.end(), [](const auto& entry) {
           return is_ascii(entry.first) && is_ascii(entry.second);
         });
}

std::wstring to_native(std::string_view text) {
  std::wstring units(text.size(), L'\0');
  if (text.empty()) {
    return units;
  }
  std::size_t count = convert(CP_UTF8, MB_ERR_INVALID_CHARS, text, units);
  if (count == 0) {
    count = convert(CP_ACP, 0, text, units);
  }
  units.resize(count);
  return units;
}

std::string from_native(std::wstring_view text) {
  return fl::i18n::ustring_to_utf8(ustring(text.begin(), text.end()));
}

std::u16string to_utf16(std::string_view text) {
  const std::wstring units = to_native(text);
  return {units.begin(), units.end()};
}

char16_t to_upper(char16_t unit) {
  return static_cast<char16_t>(std::towupper(unit));
}

}  // namespace foundation::core::sysdep::windows
