#include "host/probe_log.hpp"

#include "system/probe_log.hpp"

#include <utility>

namespace {

std::vector<std::string> topology, tiers;

}  // namespace

std::vector<std::string> test_support::take_topology_complaints() {
  return std::exchange(topology, {});
}

std::vector<std::string> test_support::take_tier_complaints() {
  return std::exchange(tiers, {});
}

namespace foundation::core::system {

void complain_about_topology(const std::string& text) noexcept {
  topology.push_back(text);
}

void complain_about_tiers(const std::string& text) noexcept {
  tiers.push_back(text);
}

}  // namespace foundation::core::system
