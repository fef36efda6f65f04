// The text type of the product family.
#pragma once

#include <string>

namespace fl {

/// UTF-16 text in 16-bit code units. Ill-formed content is possible; the functions that convert say what they make of
/// it.
using ustring = std::u16string;

}  // namespace fl
