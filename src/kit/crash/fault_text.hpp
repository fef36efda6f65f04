// What a structured exception is, in words. Pure; allocates nothing.
#pragma once

#include "crash/text_line.hpp"

#include <cstddef>
#include <cstdint>

namespace foundation::kit {

/// A structured exception as the system hands it over.
struct fault {
  std::uint32_t code;
  std::size_t parameter_count;
  const std::uint64_t* parameters;  ///< as many; may be null if there are none
};

/// "access violation (0xC0000005) writing address 0x0000000000000010"; "exception 0xE1234567" where the code is not
/// known.
void put_fault(text_line& line, const fault& fault) noexcept;

}  // namespace foundation::kit
