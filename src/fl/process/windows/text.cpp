#include "process/windows/text.hpp"

#include "util/strict_utf.hpp"

#include <stdexcept>

namespace foundation::core::sysdep::windows {

std::wstring to_wide(const std::string& utf8) {
  const std::u16string units = util::utf8_to_utf16_strict(utf8);
  return {units.begin(), units.end()};
}

const std::string& without_nul(const std::string& text, const char* what) {
  if (text.find('\0') != std::string::npos) {
    throw std::invalid_argument(std::string("the ") + what + " holds a NUL character");
  }
  return text;
}

}  // namespace foundation::core::sysdep::windows
