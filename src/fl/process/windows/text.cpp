#include "process/windows/text.hpp"

#include "util/strict_utf.hpp"

#include <windows.h>

#include <stdexcept>

namespace foundation::core::sysdep::windows {

std::wstring to_wide(const std::string& utf8) {
  const std::u16string units = util::utf8_to_utf16_strict(utf8);
  return {units.begin(), units.end()};
}

const std::string& without_nul(const std::string& text, const char* what) {
  if (text.find('\0') != std::string::npos)
    throw std::invalid_argument(std::string("the ") + what + " holds a NUL character");
  return text;
}

std::wstring code_page_to_wide(const std::string& text) {
  const int size = ::MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text.c_str(), -1, nullptr, 0);
  if (size <= 0)
    return {};
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  if (::MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text.c_str(), -1, wide.data(), size) == 0)
    return {};
  wide.pop_back();  // The terminating NUL is counted.
  return wide;
}

std::string code_page_to_utf8(const std::string& text) {
  const std::wstring wide = code_page_to_wide(text);
  return util::utf16_to_utf8_strict(std::u16string(wide.begin(), wide.end()));
}

}  // namespace foundation::core::sysdep::windows
