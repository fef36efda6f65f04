// The native access form of i18n/path.hpp, which the system is given: cleaned, and beyond its limit absolute and with
// its prefix.
#include <i18n/path.hpp>

#include "path/path_cleanup.hpp"

#include <windows.h>

namespace fl::filesystem::detail {
namespace {

/// With the current directory before it, as the system sees it; empty if the system refuses.
std::wstring absolute_form(const std::wstring& path) {
  std::wstring result(native_path_limit, L'\0');
  for (;;) {
    const DWORD length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(result.size()), result.data(), nullptr);
    const bool fits = length < result.size();
    result.resize(length);  // With the zero at the end if it does not fit; the current directory may grow meanwhile.
    if (fits) {
      return result;
    }
  }
}

}  // namespace

std::wstring make_native_access_form_with_cleanup_i18n(const ustring& path) {
  using traits = path_traits<wchar_t, char16_t>;
  const std::wstring clean = traits::to_native(clean_path(path));
  if (has_native_prefix(path) || path.find(u'\0') != ustring::npos) {
    return clean;
  }
  const std::wstring absolute = absolute_form(clean);
  if (absolute.size() < native_path_limit) {
    return clean;
  }
  return traits::to_native(with_long_path_prefix(traits::from_native(absolute)));
}

}  // namespace fl::filesystem::detail
