// What the benchmarks of waits share: the ends of many processes, delivered by the reaper and by its peer, bare calls
// of RegisterWaitForSingleObject. Both take over the handles that they wait on.
#pragma once

#include "process/child/process_reaper.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <boost/thread/future.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

inline HANDLE duplicate(HANDLE handle) {
  HANDLE copy = nullptr;
  check(DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS),
        "DuplicateHandle");
  return copy;
}

/// One for the whole process, as in the library.
inline foundation::core::sysdep::windows::process_reaper& reaper() {
  static foundation::core::sysdep::windows::process_reaper instance;
  return instance;
}

using statuses = std::vector<boost::future<foundation::core::process::exit_status_variant>>;

inline statuses wait_on(const HANDLE* first, std::size_t count) {
  statuses made;
  made.reserve(count);
  for (std::size_t i = 0; i != count; ++i) {
    foundation::core::sysdep::windows::exit_status_promise promise;
    made.push_back(promise.get_future());
    reaper().async_wait_on(first[i], std::move(promise));
  }
  return made;
}

inline void take_codes(statuses& from, product& result) {
  for (auto& status : from) {
    result.add_value(std::get<foundation::core::process::detail::exited>(status.get()).exit_code);
  }
}

/// `end` makes the processes end.
template <class End>
void reap_ours(const std::vector<HANDLE>& processes, End end, product& result) {
  statuses all = wait_on(processes.data(), processes.size());
  end();
  reaper().join();  // As the peer waits for its last one: waking up for each of them is not what is measured.
  take_codes(all, result);
}

struct bare_wait {
  HANDLE process;
  HANDLE wait;
  DWORD code;
  std::atomic<std::size_t>* open;
  HANDLE all_done;

  static void CALLBACK on_exit(void* context, BOOLEAN) {
    auto& record = *static_cast<bare_wait*>(context);
    GetExitCodeProcess(record.process, &record.code);
    CloseHandle(record.process);
    UnregisterWaitEx(record.wait, nullptr);
    if (--*record.open == 0) {
      SetEvent(record.all_done);
    }
  }
};

template <class End>
void reap_bare(const std::vector<HANDLE>& processes, End end, product& result) {
  std::atomic<std::size_t> open = processes.size();
  const unique_handle all_done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  std::vector<bare_wait> records(processes.size());
  for (std::size_t i = 0; i != processes.size(); ++i) {
    records[i] = {processes[i], nullptr, 0, &open, all_done.get()};
    check(RegisterWaitForSingleObject(&records[i].wait, records[i].process, bare_wait::on_exit, &records[i], INFINITE,
                                      WT_EXECUTEONLYONCE),
          "RegisterWaitForSingleObject");
  }
  end();
  check(WaitForSingleObject(all_done.get(), INFINITE) == WAIT_OBJECT_0, "WaitForSingleObject");
  for (const bare_wait& record : records) {
    result.add_value(static_cast<std::uint32_t>(record.code));
  }
}

}  // namespace bench
