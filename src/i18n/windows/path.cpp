// The native access form of i18n/path.hpp, which the system is given: cleaned, and beyond its limit absolute and with
// its prefix.
#include <i18n/path.hpp>

#include "common/windows/full_path.hpp"
#include "path/path_cleanup.hpp"

namespace fl::filesystem::detail {

std::wstring make_native_access_form_with_cleanup_i18n(const ustring& path) {
  using traits = path_traits<wchar_t, char16_t>;
  const std::wstring clean = traits::to_native(clean_path(path));
  if (has_native_prefix(path) || path.find(u'\0') != ustring::npos) {
    return clean;
  }
  const std::wstring absolute = foundation::core::sysdep::windows::full_path(clean);
  if (absolute.size() < native_path_limit) {
    return clean;
  }
  return traits::to_native(with_long_path_prefix(traits::from_native(absolute)));
}

}  // namespace fl::filesystem::detail
