#include "host/probe_log.hpp"

#include "system/probe_log.hpp"

#include <new>
#include <utility>

namespace {

std::vector<std::string> topology, tiers;

void keep(std::vector<std::string>& complaints, std::string_view text) noexcept {
  try {
    complaints.emplace_back(text);
  } catch (const std::bad_alloc&) {
    // As in the log: without memory there is no record.
  }
}

}  // namespace

std::vector<std::string> test_support::take_topology_complaints() {
  return std::exchange(topology, {});
}

std::vector<std::string> test_support::take_tier_complaints() {
  return std::exchange(tiers, {});
}

namespace foundation::core::system {

void complainAboutTopology(std::string_view text) noexcept {
  keep(topology, text);
}

void complainAboutTiers(std::string_view text) noexcept {
  keep(tiers, text);
}

}  // namespace foundation::core::system
