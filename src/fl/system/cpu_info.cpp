#include <fl/system/cpu_info.hpp>
#include <fl/system/processor_frequency.hpp>
#include <foundation_log/termination.hpp>

#include "loggers.hpp"
#include "system/number_of_cores.hpp"

#include <algorithm>
#include <thread>
#include <tuple>

namespace foundation::core::system {

namespace {

using detail::details;

void logCurrentException() {
  if (loggers::cpu_info.enabled(log::severity::complaint)) {
    loggers::cpu_info.log(log::severity::complaint,
                          "Exception caught: ", log::detail::current_exception_chain_as_string());
  }
}

details askForCores() {
  windows::core_details cores;
  windows::computeNumberOfCores(cores);
  details found;
  found.pCores = cores.pCores;
  found.lCores = cores.lCores;
  found.aCores = cores.aCores;
  found.performanceCores = cores.performanceCores;
  found.efficiencyCores = cores.efficiencyCores;
  return found;
}

void addFrequency(details& found) {
  const auto frequency = getMaximumProcessorFrequency();
  try {
    found.frequency = frequency.value();
    found.frequencyAvailable = true;
  } catch (...) {
    logCurrentException();
  }
}

void logDetails(const details& found) {
  loggers::cpu_info.log(log::severity::summary, " details .pCores=", found.pCores, " details .lCores=", found.lCores,
                        " details .aCores=", found.aCores, " details .hyperthreaded=", found.hyperthreaded,
                        " details .frequencyAvailable=", found.frequencyAvailable,
                        " details .frequency=", found.frequency, " details .performanceCores=", found.performanceCores,
                        " details .efficiencyCores=", found.efficiencyCores);
}

details fallback() noexcept {
  details assumed;
  assumed.pCores = assumed.lCores = assumed.aCores = std::thread::hardware_concurrency();
  return assumed;
}

auto compared(const CpuInfo& info) {
  return std::make_tuple(info.frequency(), info.aCores(), info.lCores(), info.pCores(), info.hyperthreaded());
}

}  // namespace

void CpuInfo::refresh() {
  detailsValid_ = false;
  details found = askForCores();
  found.hyperthreaded = found.lCores != found.pCores;
  addFrequency(found);
  logDetails(found);
  details_ = found;
  detailsValid_ = true;
}

void CpuInfo::refresh(const std::nothrow_t&) noexcept {
  try {
    refresh();
  } catch (...) {
    details_ = fallback();
    loggers::cpu_info.log(log::severity::error, "CPU details invariants are broken; assuming fallback values");
  }
}

bool operator==(const CpuInfo& left, const CpuInfo& right) noexcept {
  return &left == &right || compared(left) == compared(right);
}

bool operator!=(const CpuInfo& left, const CpuInfo& right) noexcept {
  return !(left == right);
}

unsigned long long getAvailableConcurrency(const CpuInfo& info, bool useLogicalCores) noexcept {
  return std::min(info.aCores(), useLogicalCores ? info.lCores() : info.pCores());
}

}  // namespace foundation::core::system
