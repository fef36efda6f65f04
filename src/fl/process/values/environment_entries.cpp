#include "process/values/environment_entries.hpp"

#include <algorithm>
#include <utility>

namespace foundation::core::process {

environment_map environment_from_entries(std::vector<std::string> entries) {
  environment_map environment;
  for (std::string& entry : entries) {
    const std::size_t equals = std::min(entry.find('='), entry.size());
    std::string name = entry.substr(0, equals);
    entry.erase(0, equals + 1);
    // The system keeps its entries in nearly this order, so that the end is nearly always the place.
    environment.emplace_hint(environment.end(), std::move(name), std::move(entry));
  }
  return environment;
}

}  // namespace foundation::core::process
