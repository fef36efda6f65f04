#include "system/processor_frequency.hpp"

#include <fl/except/anonymous_internal_exception.hpp>

#include "common/windows/late_function.hpp"

#include <boost/numeric/conversion/cast.hpp>
#include <boost/system/system_error.hpp>

#include <windows.h>
#include <powrprof.h>

#include <vector>

namespace foundation::core::system::windows {

namespace {

/// As the system documents it; no header declares it for programs.
struct processor_power_information {
  ULONG Number;
  ULONG MaxMhz;
  ULONG CurrentMhz;
  ULONG MhzLimit;
  ULONG MaxIdleState;
  ULONG CurrentIdleState;
};
static_assert(sizeof(processor_power_information) == 24);

constinit sysdep::windows::late_function<decltype(::CallNtPowerInformation)> query_power
    [[gnu::section(".late")]]{"powrprof.dll", "CallNtPowerInformation"};

constexpr double hertz_per_megahertz = 1e6;

}  // namespace

unsigned long long getMaximumProcessorFrequencyImpl() {
  SYSTEM_INFO system = {};
  ::GetSystemInfo(&system);
  std::vector<processor_power_information> processors(system.dwNumberOfProcessors);
  const auto length = static_cast<ULONG>(processors.size() * sizeof processors[0]);
  const auto query = query_power.get();
  if (query == nullptr || query(ProcessorInformation, nullptr, 0, processors.data(), length) != 0 ||
      processors.empty()) {
    const auto code = static_cast<int>(::GetLastError());
    throw except::detail::AnonymousInternalException(boost::system::system_error(
        code, boost::system::system_category(), "foundation::core::system::windows::getMaximumProcessorFrequencyImpl"));
  }
  return boost::numeric_cast<unsigned long long>(processors[0].MaxMhz * hertz_per_megahertz);
}

}  // namespace foundation::core::system::windows
