#include "system/processor_query.hpp"

#include <fl/except/anonymous_internal_exception.hpp>

#include "loggers.hpp"

#include <boost/system/system_error.hpp>

#include <windows.h>

#include <algorithm>
#include <cstddef>

namespace foundation::core::system::windows {

namespace {

using information = SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX;
static_assert(offsetof(information, Relationship) == topology_record::relationship);
static_assert(offsetof(information, Size) == topology_record::size);
static_assert(RelationProcessorCore == topology_record::processor_core);
static_assert(offsetof(information, Processor.GroupMask[0].Mask) == topology_record::core_mask);
static_assert(offsetof(information, Processor.GroupMask[0].Group) == topology_record::core_group);
static_assert(RelationGroup == topology_record::group);
static_assert(offsetof(information, Group.ActiveGroupCount) == topology_record::active_group_count);
static_assert(offsetof(information, Group.GroupInfo) == topology_record::group_info);
static_assert(sizeof(PROCESSOR_GROUP_INFO) == topology_record::group_info_size);
static_assert(offsetof(PROCESSOR_GROUP_INFO, ActiveProcessorCount) == topology_record::active_processor_count);

/// By the name of the inquiry that all of this is for, as it stands in the logs of clients.
[[noreturn]] void fail(DWORD code) {
  throw except::detail::AnonymousInternalException(
      boost::system::system_error(static_cast<int>(code), boost::system::system_category(),
                                  "foundation::core::system::windows::computeNumberOfCores"));
}

void require(bool succeeded) {
  if (!succeeded) {
    fail(::GetLastError());
  }
}

template <class... Parts>
void note(const Parts&... parts) {
  loggers::cpu_info.log(log::severity::note, parts...);
}

}  // namespace

process_affinity getProcessAffinity() {
  const HANDLE process = ::GetCurrentProcess();
  DWORD_PTR process_mask = 0;
  DWORD_PTR system_mask = 0;
  require(::GetProcessAffinityMask(process, &process_mask, &system_mask));
  note(" processAffinityMask=", process_mask);
  note(" systemAffinityMask=", system_mask);

  const WORD group_count = ::GetActiveProcessorGroupCount();
  require(group_count != 0);
  std::vector<std::uint16_t> groups(group_count);
  USHORT process_group_count = group_count;
  require(::GetProcessGroupAffinity(process, &process_group_count, groups.data()));
  note(" groupCount=", group_count);
  note(" groupArrayCount=", process_group_count);
  groups.resize(std::min(process_group_count, group_count));
  return {process_mask, group_count, std::move(groups)};
}

std::vector<std::byte> getProcessorRecords() {
  std::vector<std::byte> buffer;
  DWORD length = 0;
  while (!::GetLogicalProcessorInformationEx(RelationAll, reinterpret_cast<information*>(buffer.data()), &length)) {
    const DWORD code = ::GetLastError();
    // Processors can be added between two calls. Who asks for no more than it got would ask for ever.
    if (code != ERROR_INSUFFICIENT_BUFFER || length <= buffer.size()) {
      fail(code);
    }
    buffer.resize(length);
  }
  buffer.resize(std::min<std::size_t>(length, buffer.size()));
  return buffer;
}

}  // namespace foundation::core::system::windows
