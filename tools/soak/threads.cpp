// What threads leave behind: 10,000, up to 32 at once, that each use all areas of the library and end. After as
// many others to warm up, memory, handles and slots stay as they are.
//
//     soak_threads [THREADS [CHORE]]     (only this chore, to find out which one leaves something behind)
#include <fl/process/testing.hpp>

#include "amounts.hpp"
#include "busy_threads.hpp"
#include "import_patch.hpp"

#include <cstdio>
#include <cstdlib>

namespace {

using namespace soak;

std::string wanted;

/// Of every fortieth thread.
constexpr chore rare_chores[] = {{"launch", launch_child}, {"cores", ask_for_cores}};

void do_chore(const chore& what, random_source& random) {
  if (wanted.empty() || wanted == what.name) {
    what.once(random);
  }
}

DWORD WINAPI use_library(void* number) {
  const auto seed = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(number));
  random_source random(seed + 1);
  diag::setCurrentThreadName("soak " + std::to_string(seed));
  for (const chore& what : short_chores) {
    do_chore(what, random);
  }
  for (const chore& what : rare_chores) {
    if (seed % 40 == 0) {
      do_chore(what, random);
    }
  }
  return 0;
}

/// Each is a thread of its own, up to 32 at once.
void run_threads(unsigned first, unsigned count) {
  std::vector<HANDLE> running;
  for (unsigned number = first; number != first + count || !running.empty();) {
    if (running.size() == 32 || number == first + count) {
      const DWORD size = static_cast<DWORD>(running.size());
      const DWORD ended = ::WaitForMultipleObjects(size, running.data(), FALSE, INFINITE) - WAIT_OBJECT_0;
      ::CloseHandle(running[ended]);
      running.erase(running.begin() + ended);
      continue;
    }
    void* const argument = reinterpret_cast<void*>(static_cast<std::uintptr_t>(number++));
    running.push_back(::CreateThread(nullptr, 0, use_library, argument, 0, nullptr));
    if (number % 1000 == 0) {
      std::fprintf(stderr, "%u threads\n", number);
    }
  }
  process::testing::join_all_async_procs();
}

/// Starts once and does not end: Wine 8's loses 1,224 bytes with each start and end, as a loop of nothing else shows.
class lasting_symbol_service {
 private:
  bool runs_ = false;
  const test_support::injected<BOOL (*)(HANDLE, const char*, BOOL)> start_{
      "SymInitialize", [this](auto original, HANDLE process, const char* path, BOOL loads) {
        runs_ = runs_ || original(process, path, loads);  // The library lets one thread in at a time.
        return BOOL{runs_};
      }};
  const test_support::injected<BOOL (*)(HANDLE)> end_{"SymCleanup", [](auto, HANDLE) { return TRUE; }};
};

}  // namespace

int main(int count, char** arguments) {
  const auto number = [&](int n, int otherwise) {
    return static_cast<unsigned>(count > n ? std::atoi(arguments[n]) : otherwise);
  };
  const unsigned threads = number(1, 10000);
  wanted = count > 2 ? arguments[2] : "";
  prepare_chores("NUL");
  const lasting_symbol_service service;
  run_threads(0, threads);
  const amounts first = measure_with_slots();
  run_threads(threads, threads);
  print_heading();
  const bool as_promised = stays("threads", first, measure_with_slots()) && wrong_results == 0;
  std::fprintf(stderr, "%d wrong results\n", wrong_results.load());
  return as_promised ? 0 : 1;
}
