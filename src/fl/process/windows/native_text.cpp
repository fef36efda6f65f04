#include "process/windows/native_text.hpp"

#include <i18n/convert.hpp>

#include <boost/numeric/conversion/cast.hpp>

#include <windows.h>

#include <algorithm>
#include <cwctype>
#include <stdexcept>

namespace foundation::core::sysdep::windows {

namespace {

bool is_ascii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool code_page_is_utf8() {
  return ::GetACP() == CP_UTF8;
}

// Puts `text` into `units`, of which no copy is left elsewhere. False if `text` is not valid under `flags`.
bool convert(UINT code_page, DWORD flags, std::string_view text, std::wstring& units) {
  units.assign(text.size(), L'\0');  // a unit for each byte: no encoding needs more
  if (text.empty()) {
    return true;
  }
  const int size = boost::numeric_cast<int>(text.size());
  const int count = ::MultiByteToWideChar(code_page, flags, text.data(), size, units.data(), size);
  units.resize(static_cast<std::size_t>(count));
  return count != 0;
}

bool convert_utf8(std::string_view text, std::wstring& units) {
  return convert(CP_UTF8, MB_ERR_INVALID_CHARS, text, units);
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
  std::wstring units;
  if (!convert_utf8(text, units)) {
    convert(CP_ACP, 0, text, units);
  }
  return units;
}

std::wstring utf8_to_native(std::string_view text) {
  std::wstring units;
  if (!convert_utf8(text, units)) {
    throw std::range_error("bad conversion");
  }
  return units;
}

std::string from_native(std::wstring_view text) {
  return fl::i18n::ustring_to_utf8(fl::ustring(text.begin(), text.end()));
}

std::u16string to_utf16(std::string_view text) {
  const std::wstring units = to_native(text);
  return {units.begin(), units.end()};
}

std::u16string utf8_to_utf16(std::string_view text) {
  const std::wstring units = utf8_to_native(text);
  return {units.begin(), units.end()};
}

char16_t to_upper(char16_t unit) {
  return static_cast<char16_t>(std::towupper(unit));
}

}  // namespace foundation::core::sysdep::windows
