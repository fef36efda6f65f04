// Registers 1,000 waits on duplicates of one child's handle, makes the child end and waits until every exit code has
// been delivered: the reaper and its futures against bare RegisterWaitForSingleObject. The child and the duplicates are
// made outside the time.

#include "process/child/process_reaper.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <boost/thread/future.hpp>

#include <atomic>
#include <optional>
#include <vector>

namespace {

namespace fp = foundation::core::process;
using foundation::core::sysdep::windows::exit_status_promise;
using foundation::core::sysdep::windows::process_reaper;

constexpr std::size_t waits = 1000;

// A running child that ends when its input ends, and the handles to wait on, which the contender takes over.
struct round {
  bench::child child;
  bench::unique_handle input;
  std::vector<HANDLE> duplicates;
};

std::optional<round> current;

HANDLE duplicate(HANDLE process) {
  HANDLE copy = nullptr;
  bench::check(
      DuplicateHandle(GetCurrentProcess(), process, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS),
      "DuplicateHandle");
  return copy;
}

void prepare() {
  bench::pipe_ends input = bench::make_pipe();
  bench::check(SetHandleInformation(input.read.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT),
               "SetHandleInformation");
  current.emplace(bench::start_child(L"wait", input.read.get()), std::move(input.write), std::vector<HANDLE>());
  char ready;
  bench::check(bench::read_some(current->child.output.get(), &ready, 1) == 1, "the child's sign that it runs");
  for (std::size_t i = 0; i < waits; ++i) {
    current->duplicates.push_back(duplicate(current->child.process.get()));
  }
}

void tell_child_to_end() {
  current->input.reset();
}

// One reaper for the whole process, as in the library.
process_reaper& reaper() {
  static process_reaper instance;
  return instance;
}

void reap_ours(bench::product& result) {
  std::vector<boost::future<fp::exit_status_variant>> statuses;
  statuses.reserve(waits);
  for (const HANDLE process : current->duplicates) {
    exit_status_promise promise;
    statuses.push_back(promise.get_future());
    reaper().async_wait_on(process, std::move(promise));
  }
  tell_child_to_end();
  reaper().join();  // As the peer waits for its last one: waking up for each of them is not what is measured.
  for (auto& status : statuses) {
    result.add_value(std::get<fp::detail::exited>(status.get()).exit_code);
  }
}

struct bare_wait {
  HANDLE process;
  HANDLE wait;
  DWORD code;
  std::atomic<std::size_t>* open;
  HANDLE all_done;
};

void CALLBACK on_exit(void* context, BOOLEAN) {
  auto& record = *static_cast<bare_wait*>(context);
  GetExitCodeProcess(record.process, &record.code);
  CloseHandle(record.process);
  UnregisterWaitEx(record.wait, nullptr);
  if (--*record.open == 0) {
    SetEvent(record.all_done);
  }
}

void reap_bare(bench::product& result) {
  std::atomic<std::size_t> open = waits;
  const bench::unique_handle all_done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  std::vector<bare_wait> records(waits);
  for (std::size_t i = 0; i < waits; ++i) {
    records[i] = {current->duplicates[i], nullptr, 0, &open, all_done.get()};
    bench::check(RegisterWaitForSingleObject(&records[i].wait, records[i].process, on_exit, &records[i], INFINITE,
                                             WT_EXECUTEONLYONCE),
                 "RegisterWaitForSingleObject");
  }
  tell_child_to_end();
  bench::check(WaitForSingleObject(all_done.get(), INFINITE) == WAIT_OBJECT_0, "WaitForSingleObject");
  for (const bare_wait& record : records) {
    result.add_value(static_cast<std::uint32_t>(record.code));
  }
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("reap_1000_vs_register_wait", {reap_ours, prepare}, {reap_bare, prepare});
  return bench::run(argc, argv);
}
