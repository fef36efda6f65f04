#include <fl/util/lexicographical_iless.hpp>

#include <algorithm>
#include <locale>

namespace foundation::core::util {

namespace {

using character_type = std::ctype<char>;

// The facet of nearly every program's locale is looked up once: that costs more than the comparison of two names.
const character_type& characters_of(const std::locale& locale) {
  static const character_type& classic = std::use_facet<character_type>(std::locale::classic());
  return locale == std::locale::classic() ? classic : std::use_facet<character_type>(locale);
}

}  // namespace

bool lexicographical_iless::operator()(const std::string& left, const std::string& right) const {
  // What is equal as it stands is so in upper case.
  auto [l, r] = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
  if (l == left.end() || r == right.end()) {
    return l == left.end() && r != right.end();
  }
  const std::locale global;
  const character_type& characters = characters_of(global);
  for (; l != left.end() && r != right.end(); ++l, ++r) {
    const auto upper_l = static_cast<signed char>(characters.toupper(*l));
    const auto upper_r = static_cast<signed char>(characters.toupper(*r));
    if (upper_l != upper_r) {
      return upper_l < upper_r;
    }
  }
  return l == left.end() && r != right.end();
}

}  // namespace foundation::core::util
