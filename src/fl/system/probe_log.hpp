// Complaints about what the system says of its processors. Called without memory, too: then there is no record.
#pragma once

#include <string_view>

namespace foundation::core::system {

/// A record on the channel "foundation::core::system::CpuInfo".
void complainAboutTopology(std::string_view text) noexcept;

/// A record on the channel "fl::system::windows::PECores".
void complainAboutTiers(std::string_view text) noexcept;

}  // namespace foundation::core::system
