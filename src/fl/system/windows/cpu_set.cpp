#include "system/cpu_set.hpp"

#include "system/probe_log.hpp"

#include <windows.h>

#include <algorithm>
#include <string>

// By its assembler name and without the type of its records: some headers of this compiler do not have it, and some do.
extern "C" BOOL WINAPI getSystemCpuSetInformation(void* information, ULONG length, ULONG* returned_length,
                                                  HANDLE process, ULONG flags) __asm__("GetSystemCpuSetInformation");

namespace foundation::core::system::windows {

std::vector<CpuSetEntry> WindowsCpuSetActual::query() const {
  const HANDLE process = ::GetCurrentProcess();
  ULONG length = 0;
  if (!::getSystemCpuSetInformation(nullptr, 0, &length, process, 0)) {
    const DWORD code = ::GetLastError();
    if (code != ERROR_INSUFFICIENT_BUFFER) {
      complainAboutTiers(
          "GetSystemCpuSetInformation sizing call failed unexpectedly (GetLastError=" + std::to_string(code) + ")");
      return {};
    }
  }
  if (length == 0) {
    return {};
  }
  std::vector<std::byte> buffer(length);
  ULONG filled = length;
  if (!::getSystemCpuSetInformation(buffer.data(), length, &filled, process, 0)) {
    const DWORD code = ::GetLastError();
    complainAboutTiers("GetSystemCpuSetInformation read call failed (GetLastError=" + std::to_string(code) +
                       ", requestedLength=" + std::to_string(length) + ")");
    return {};
  }
  return parseCpuSets(byte_range(buffer).first(std::min(filled, length)));
}

}  // namespace foundation::core::system::windows
