// Tags of languages (BCP 47). Thread safety: pure functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fl::i18n::detail {

/// The tag in the usual letter case: regions in capitals, scripts with one capital, all else small. Throws
/// `std::invalid_argument`, which quotes it, if it is not made of ASCII letters and digits in parts separated by "-".
std::string canonical_tag(std::string_view tag);

/// The tag of a locale as the system names it, which may carry an order of sorting behind "_"; "en" if there is none.
std::string tag_of_locale(std::string_view name);

/// The tag, then what is left of it part by part, and "en" at the end. A part of one letter goes with the one behind
/// it, to which it gives the meaning. Precondition: a canonical tag.
std::vector<std::string> fallback_chain(const std::string& tag);

}  // namespace fl::i18n::detail
