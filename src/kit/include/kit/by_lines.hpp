// Output that arrives in pieces of any size, line by line.
#pragma once

#include <kit/export.hpp>

#include <functional>
#include <string_view>

namespace foundation::kit {

/// A receiver of pieces, such as run_options have, that calls `line` with each line as soon as it is whole, without its
/// end ("\n" or "\r\n"). What stands behind the last line end comes when the output is at its end, if it is not empty.
/// Each copy of the receiver has pieces of its own. Throws what `line` throws.
KIT_API std::function<void(std::string_view)> by_lines(std::function<void(std::string_view)> line);

}  // namespace foundation::kit
