#include <fl/except/bad_alloc.hpp>

#include <kit/aligned_block.hpp>

#include <stdexcept>
#include <string>

namespace foundation::kit::detail {

void throw_bad_alloc() {
  throw core::except::bad_alloc();
}

void throw_alignment_too_small(std::size_t needed, std::size_t offered) {
  throw std::runtime_error("a type needs an alignment of " + std::to_string(needed) +
                           " bytes, and the aligned heap has " + std::to_string(offered) +
                           ": set QX_ALIGNED_HEAP_ALIGNMENT to as much at least");
}

}  // namespace foundation::kit::detail
