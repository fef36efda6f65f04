// The words for what programs end with and die of.
#pragma once

#include <cstdint>

namespace foundation::kit {

/// What a status code of the system, or an exception that a run-time library raises, means, such as "access violation";
/// null for one that is not known. Allocates nothing and takes no lock: a report of a crash calls it. Any thread.
const char* status_words(std::uint32_t code) noexcept;

}  // namespace foundation::kit
