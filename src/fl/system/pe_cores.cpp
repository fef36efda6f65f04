#include "system/pe_cores.hpp"

#include "system/probe_log.hpp"

#include <exception>
#include <map>
#include <new>
#include <string>
#include <unordered_map>

namespace foundation::core::system::windows {

namespace {

/// In the order of the members.
PECores coresOfBothKinds(unsigned long long efficiency, unsigned long long performance) {
  return {static_cast<std::int32_t>(efficiency), static_cast<std::int32_t>(performance)};
}

/// The class of each core. Empty, after a complaint, if entries of one core differ.
std::unordered_map<std::uint32_t, std::uint8_t> classesOfCores(std::span<const CpuSetEntry> entries) {
  std::unordered_map<std::uint32_t, std::uint8_t> classes;
  for (const CpuSetEntry& entry : entries) {
    const auto [core, is_new] = classes.emplace(entry.coreId, entry.efficiencyClass);
    if (!is_new && core->second != entry.efficiencyClass) {
      complainAboutTiers(
          "Windows CPU-set probe: SMT siblings disagree on EfficiencyClass for coreId=" + std::to_string(entry.coreId) +
          " (saw " + std::to_string(core->second) + " and " + std::to_string(entry.efficiencyClass) + ")");
      return {};
    }
  }
  return classes;
}

PECores classify(unsigned long long numPhysical, std::span<const CpuSetEntry> entries) {
  const auto classes = classesOfCores(entries);
  std::map<std::uint8_t, std::size_t> cores_of_class;
  for (const auto& [core, efficiency_class] : classes) {
    ++cores_of_class[efficiency_class];
  }
  if (cores_of_class.size() < 2) {
    return {};
  }
  const std::size_t performance = cores_of_class.rbegin()->second;
  const std::size_t efficiency = classes.size() - performance;
  if (classes.size() != numPhysical) {
    complainAboutTiers(
        "Windows CPU-set probe: tier sum disagrees with numPhysical (pPhysical=" + std::to_string(performance) +
        ", ePhysical=" + std::to_string(efficiency) + ", numPhysical=" + std::to_string(numPhysical) + ")");
    return {};
  }
  return coresOfBothKinds(efficiency, performance);
}

}  // namespace

PECores classifyCores(unsigned long long numPhysical, std::span<const CpuSetEntry> entries) noexcept {
  try {
    return classify(numPhysical, entries);
  } catch (const std::bad_alloc&) {
    complainAboutTiers("Windows CPU-set probe: no memory");
    return {};
  }
}

PECores inferCoresFromCounts(unsigned long long numPhysical, unsigned long long numLogical) noexcept {
  const unsigned long long smt = numLogical - numPhysical;
  if (numLogical <= numPhysical || numPhysical <= smt) {
    return {};
  }
  // One thread of each efficiency core and two of each performance core make numLogical.
  return coresOfBothKinds(numPhysical - smt, smt);
}

PECores computePECores(unsigned long long numPhysical, unsigned long long numLogical,
                       const IWindowsCpuSet& source) noexcept {
  try {
    const PECores cores = classifyCores(numPhysical, source.query());
    if (cores.performanceCores != -1) {
      return cores;
    }
  } catch (const std::exception& failure) {
    complainAboutTiers(failure.what());
  } catch (...) {
    complainAboutTiers("Windows CPU-set probe: the source of the CPU sets failed");
  }
  return inferCoresFromCounts(numPhysical, numLogical);
}

PECores computePECores(unsigned long long numPhysical, unsigned long long numLogical) noexcept {
  return computePECores(numPhysical, numLogical, WindowsCpuSetActual());
}

}  // namespace foundation::core::system::windows
