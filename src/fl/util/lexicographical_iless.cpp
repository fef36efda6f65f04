#include <fl/util/lexicographical_iless.hpp>

#include <algorithm>
#include <locale>

namespace foundation::core::util {

bool lexicographical_iless::operator()(const std::string& left, const std::string& right) const {
  const std::locale global;
  const auto& characters = std::use_facet<std::ctype<char>>(global);
  const auto less = [&characters](char a, char b) {
    return static_cast<signed char>(characters.toupper(a)) < static_cast<signed char>(characters.toupper(b));
  };
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(), less);
}

}  // namespace foundation::core::util
