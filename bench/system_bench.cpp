// What it costs to ask for the processor: the concurrency of a snapshot and the frequency, which are kept, against the
// run-time's count of processors, which asks the system each time; and a new snapshot against the system calls that it
// consists of.

#include <fl/system.hpp>

#include "import_patch.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <thread>
#include <vector>

namespace {

namespace machine = foundation::core::system;

constexpr int questions = 100;

/// Asks many times; the product is how often there was an answer.
template <class Question>
bench::contender ask(Question question) {
  return {[question](bench::product& result) {
    int answered = 0;
    for (int i = 0; i != questions; ++i) {
      answered += question() != 0;
    }
    result.add_value(answered);
  }};
}

unsigned count_processors() {
  return std::thread::hardware_concurrency();
}

void add_rows_of_kept_answers() {
  const auto info = std::make_shared<machine::CpuInfo>();
  info->refresh(std::nothrow);
  bench::add_row("available_concurrency_vs_hardware_concurrency",
                 ask([info] { return machine::getAvailableConcurrency(*info, true); }), ask(count_processors));
  // 1 for a value, and also for a failure: both are a copy of what is kept.
  bench::add_row("frequency_vs_hardware_concurrency", ask([] {
                   return machine::getMaximumProcessorFrequency().index() !=
                          foundation::core::util::Expected<unsigned long long>::empty_index;
                 }),
                 ask(count_processors));
}

BOOL WINAPI be_in_first_group(HANDLE, USHORT* count, USHORT* groups) {
  *count = 1;
  groups[0] = 0;
  return TRUE;
}

extern "C" BOOL WINAPI get_cpu_sets(void* information, ULONG length, ULONG* returned_length, HANDLE process,
                                    ULONG flags) __asm__("GetSystemCpuSetInformation");

/// The system calls of a snapshot, with buffers that stand ready.
class system_calls {
 public:
  using group_affinity = decltype(&::GetProcessGroupAffinity);

  explicit system_calls(group_affinity get_groups) : get_groups_(get_groups) {}

  void make() {
    const HANDLE process = ::GetCurrentProcess();
    DWORD_PTR mask = 0, system_mask = 0;
    bench::check(::GetProcessAffinityMask(process, &mask, &system_mask), "GetProcessAffinityMask");
    bench::check(::GetActiveProcessorGroupCount() != 0, "GetActiveProcessorGroupCount");
    USHORT count = 64, groups[64];
    bench::check(get_groups_(process, &count, groups), "GetProcessGroupAffinity");
    DWORD length = 0;
    ::GetLogicalProcessorInformationEx(RelationAll, nullptr, &length);
    records_.resize(length);
    auto* const records = reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(records_.data());
    bench::check(::GetLogicalProcessorInformationEx(RelationAll, records, &length), "GetLogicalProcessorInformationEx");
    ULONG sets_length = 0;
    get_cpu_sets(nullptr, 0, &sets_length, process, 0);
    sets_.resize(sets_length);
    bench::check(get_cpu_sets(sets_.data(), sets_length, &sets_length, process, 0), "GetSystemCpuSetInformation");
  }

 private:
  group_affinity get_groups_;
  std::vector<std::byte> records_;
  std::vector<std::byte> sets_;
};

/// Stands in for a call that Wine does not implement, on both sides alike. Lives as long as the program.
system_calls::group_affinity get_process_groups() {
  USHORT count = 64, groups[64];
  if (::GetProcessGroupAffinity(::GetCurrentProcess(), &count, groups)) {
    return &::GetProcessGroupAffinity;
  }
  static std::atomic<test_support::import_patch::any_function> original;
  static const test_support::import_patch patch(
      "libqxfl.dll", "GetProcessGroupAffinity",
      reinterpret_cast<test_support::import_patch::any_function>(&be_in_first_group), original);
  return &be_in_first_group;
}

void add_row_of_snapshots() {
  const auto calls = std::make_shared<system_calls>(get_process_groups());
  const auto info = std::make_shared<machine::CpuInfo>();
  bench::add_row("refresh_vs_system_calls", {[info](bench::product& result) {
                   info->refresh();
                   result.add_value(info->detailsValid());
                 }},
                 {[calls](bench::product& result) {
                   calls->make();
                   result.add_value(true);
                 }});
}

}  // namespace

int main(int argc, char** argv) {
  add_row_of_snapshots();
  add_rows_of_kept_answers();
  return bench::run(argc, argv);
}
