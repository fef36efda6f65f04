// Complaints about what the system says of its processors, from logic that has no log of its own. Implemented in
// windows/probe_log.cpp.
#pragma once

#include <string>

namespace foundation::core::system {

/// A record on the channel "foundation::core::system::CpuInfo".
void complain_about_topology(const std::string& text) noexcept;

/// A record on the channel "fl::system::windows::PECores".
void complain_about_tiers(const std::string& text) noexcept;

}  // namespace foundation::core::system
