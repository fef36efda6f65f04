// Makes fl::ustring usable unqualified in foundation::core.
#pragma once

#include <i18n/ustring.hpp>

namespace foundation::core {

using fl::ustring;

}  // namespace foundation::core
