// File names: native wide characters are UTF-16 units here. Thread safety: immutable objects.
#include <i18n/filesystem.hpp>

#include "codec/utf_step.hpp"

#include <boost/throw_exception.hpp>

#include <stdexcept>

namespace fl::filesystem {
namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

bool is_well_formed(const ustring& text) {
  const char16_t* from = text.data();
  const char16_t* const end = from + text.size();
  while (from != end) {
    if (!boost::locale::utf::is_valid_codepoint(i18n::detail::utf16_traits::decode(from, end))) {
      return false;
    }
  }
  return true;
}

}  // namespace

codecvt_filesystem_to_ustring::codecvt_filesystem_to_ustring(bool lenient) : lenient_(lenient) {}

codecvt_filesystem_to_ustring::~codecvt_filesystem_to_ustring() = default;

ustring codecvt_filesystem_to_ustring::convert(std::wstring_view text) const {
  ustring result(text.begin(), text.end());
  if (!lenient_ && !is_well_formed(result)) {
    boost::throw_exception(std::range_error("a file name is not well-formed UTF-16"), BOOST_CURRENT_LOCATION);
  }
  return result;
}

}  // namespace fl::filesystem
