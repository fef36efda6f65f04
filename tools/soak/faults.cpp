// The sweep of faults: each operation of the public interface runs again and again, until each of its allocations, each
// of its calls of the system, and each count that can be short has failed once, and from there on for good.
//
//   soak_faults [--each] [PART OF A NAME]
//
// After each fault the outcome is as ever, or the general rule allows it: without memory std::bad_alloc; without a call
// an exception whose text names that call. A row may allow more. Nothing is lost: a run that leaves more handles or
// allocations than it found, again and again, has lost them. And the next run without a fault comes to the same as
// ever.

#include <fl/diag.hpp>
#include <foundation_log/termination.hpp>

#include "faults/operation.hpp"
#include "support.hpp"

#include <boost/core/demangle.hpp>

#include <windows.h>
#include <dbghelp.h>

#include <csignal>
#include <iostream>
#include <optional>
#include <regex>

namespace faults {
namespace {

using test_support::planned_fault;
using test_support::watched_calls;
using kind = planned_fault::kind;

constexpr ULONGLONG longest_of_a_kind = 300000;  // milliseconds for the faults of a kind in one operation

std::string running;  // told if the process ends in it
bool tells_each = false;
int breaches = 0;
std::atomic<unsigned> attempts = 0;

std::string text_of(const planned_fault& fault) {
  static const char* const kinds[] = {"no fault", "allocation", "call of", "any call", "short count of"};
  return std::string(kinds[static_cast<int>(fault.what)]) + " " + fault.function + " number " +
         std::to_string(fault.nth) + (fault.persistent ? " and all later ones" : "") +
         (fault.what == kind::short_count ? " by " + std::to_string(fault.share) : "");
}

void breach(const operation& which, const planned_fault& fault, const std::string& what) {
  ++breaches;
  std::cerr << "BREACH: " << which.name << ": " << text_of(fault) << ": " << what << std::endl;
}

class sweep {
 public:
  sweep(watched_calls& calls, const operation& which) : calls_(calls), which_(which) {}

  void run() {
    for (int i = 0; i < 3; ++i) {  // Something may be made once, at first.
      normal_ = attempt({}).outcome();
    }
    const auto functions = calls_.functions();
    const int allocated = calls_.allocations();
    if (std::string(which_.name).starts_with("none: ") && (allocated != 0 || !functions.empty())) {
      breach(which_, {},
             std::to_string(allocated) + " allocations, " + std::to_string(functions.size()) + " functions");
    }
    if (!normal_.starts_with("done")) {
      breach(which_, {}, "fails by itself: " + normal_);
      return;
    }
    for (const bool persistent : {false, true}) {
      fail_in_turn({kind::allocation, "", 1, persistent}, allocations_);
      fail_in_turn({kind::any_call, "", 1, persistent, 0, which_.spares}, system_);
    }
    for (const auto& [name, count, counts_bytes] : functions) {
      if (name == which_.spares) {
        continue;
      }
      names_ += (names_.empty() ? "" : ", ") + name;
      fail_in_turn({kind::call, name, 1, true}, system_);
      for (const int share : {2, test_support::one_byte, test_support::no_byte}) {
        if (counts_bytes) {
          fail_in_turn({kind::short_count, name, 1, false, share}, short_);
        }
        if (counts_bytes && share != test_support::no_byte) {
          fail_in_turn({kind::short_count, name, 1, true, share}, short_);
        }
      }
    }
  }

  std::string row() const {
    std::string results;
    for (const auto& [outcome, count] : outcomes_) {
      results += (results.empty() ? "" : ", ") + outcome + " " + std::to_string(count);
    }
    return std::string("| ") + which_.name + (ends_early_ ? " (not all)" : "") + " | " + std::to_string(allocations_) +
           " | " + std::to_string(system_) + (names_.empty() ? "" : ": " + names_) + " | " + std::to_string(short_) +
           " | " + results + " |";
  }
  const std::string& normal() const { return normal_; }
  int allocations() const { return allocations_; }
  int system_calls() const { return system_; }
  int short_counts() const { return short_; }

 private:
  trial attempt(const planned_fault& fault) {
    running = std::string(which_.name) + ": " + text_of(fault);
    if (tells_each) {
      std::cerr << running << std::endl;
    }
    ++attempts;
    calls_.begin(fault);
    trial made(calls_, fault.persistent);
    which_.run(made);
    made.expect(calls_.bad_closes() == 0, "closes what is not open");
    if (tells_each) {
      std::cerr << "  " << made.outcome() << std::endl;
    }
    return made;
  }

  // For N from 1 until the operation runs through.
  void fail_in_turn(planned_fault fault, int& tried) {
    const ULONGLONG begin = ::GetTickCount64();
    for (; try_fault(fault); ++fault.nth) {
      ++tried;
      if (::GetTickCount64() - begin > longest_of_a_kind) {
        std::cerr << which_.name << ": no further than " << text_of(fault) << std::endl;
        ends_early_ = true;
        return;
      }
    }
  }

  // Whether there was anything to fail.
  bool try_fault(const planned_fault& fault) {
    for (int run = 1; run <= 4; ++run) {
      const long long before = held();
      if (!try_once(fault, run == 1)) {
        return false;
      }
      const long long grown = which_.keeps_more ? 0 : grown_since(before);
      if (grown <= 0) {
        return true;
      }
      if (run == 4) {
        breach(which_, fault, "loses " + std::to_string(grown) + " handles and allocations in each run");
      }
    }
    return true;
  }

  bool try_once(const planned_fault& fault, bool counts) {
    const trial made = attempt(fault);
    if (calls_.refused() == 0) {
      return false;
    }
    judge(fault, made, counts);
    const trial after = attempt({});
    if (after.outcome() != normal_ || !after.broken().empty()) {
      breach(which_, fault, "afterwards: " + after.outcome() + after.broken());
    }
    return true;
  }

  void judge(const planned_fault& fault, const trial& made, bool counts) {
    const std::string outcome = made.outcome();
    if (!made.broken().empty()) {
      breach(which_, fault, made.broken());
    }
    if (outcome != normal_ && !is_allowed(fault, made)) {
      breach(which_, fault, outcome);
    }
    if (counts) {
      const std::string type = outcome.substr(0, outcome.find(": "));
      ++outcomes_[outcome == normal_ ? "as ever" : outcome.starts_with("done") ? "less" : type];
    }
  }

  bool is_allowed(const planned_fault& fault, const trial& made) const {
    const std::string outcome = made.outcome();
    if (!which_.allowed.empty() && std::regex_search(outcome, std::regex(which_.allowed))) {
      return true;
    }
    if (fault.what == kind::allocation) {
      return made.is_bad_alloc();
    }
    for (const auto& function : calls_.functions()) {
      std::string name = function.name;
      if (name.ends_with('A') || name.ends_with('W')) {
        name.pop_back();
      }
      const bool could_fail = fault.what == kind::any_call || fault.function == function.name;
      if (could_fail && (outcome.find(name) != std::string::npos ||
                         (made.is_bad_alloc() && (name == "HeapAlloc" || name == "VirtualAlloc")))) {
        return true;
      }
    }
    return false;
  }

  // Callbacks on other threads may give back a little later.
  long long grown_since(long long before) const {
    for (int tries = 0; tries != 50 && held() > before; ++tries) {
      ::Sleep(10);
    }
    return held() - before;
  }

  long long held() const {
    DWORD handles = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &handles);
    return calls_.living_allocations() + handles;
  }

  watched_calls& calls_;
  const operation& which_;
  std::string normal_, names_;
  bool ends_early_ = false;  // for want of time
  int allocations_ = 0, system_ = 0, short_ = 0;
  std::map<std::string, int> outcomes_;
};

// The run-time throws from a pool when there is no memory. The lock of that allocates when it is first taken; without
// memory the run-time throws for that, from the same pool, until the stack ends.
void lock_emergency_pool(watched_calls& calls) {
  calls.begin({kind::allocation, "", 1, true});
  calls.resume();
  try {
    throw 1;
  } catch (int) {
    calls.suspend();
  }
}

void watch_all(watched_calls& calls) {
  static const char* const ours[] = {"libqxfl.dll",
                                     "libqxi18n.dll",
                                     "libqxfoundation_log.dll",
                                     "libqxresource_core.dll",
                                     "libqxsafe_env.dll",
                                     "libqxfoundation_conc_common.dll",
                                     "libqxcpp11compat.dll",
                                     "libqxkit.dll"};
  for (const char* const module : ours) {
    if (::GetModuleHandleA(module) != nullptr) {
      calls.add_system_calls(module);
      calls.add_allocator(module, true);
    }
  }
  calls.add_allocator("libstdc++-6.dll", true);
  lock_emergency_pool(calls);
  calls.add_allocator("libwinpthread-1.dll", true);
  for (const char* const module :
       {"libgcc_s_seh-1.dll", "libboost_filesystem.dll", "libboost_json.dll", "libboost_log.dll", "libboost_thread.dll",
        "libboost_chrono.dll", static_cast<const char*>(nullptr)}) {
    if (::GetModuleHandleA(module) != nullptr) {
      calls.add_allocator(module, false);
    }
  }
  for (const char* const function : {"pthread_create", "_write", "_read", "_wopen", "_wfopen", "fopen", "_fdopen",
                                     "_close", "_fstat64", "_lseeki64", "_get_osfhandle"}) {
    calls.add_system_call("libstdc++-6.dll", function);
  }
  calls.add_system_call("libboost_thread.dll", "_beginthreadex");
}

void tell_where() {
  std::cerr << "BREACH: the process ended in " << running << "\n"
            << foundation::core::diag::stacktrace<40>() << std::endl;
}

watched_calls* calls_of_end = nullptr;  // of a child that ends; null otherwise

// How often the fault has come.
void tell_refused() {
  if (calls_of_end != nullptr) {
    calls_of_end->suspend();
    std::printf("refused %d\n", calls_of_end->refused());
    std::fflush(stdout);
  }
}

long crashed(EXCEPTION_POINTERS* fault) {
  tell_refused();
  std::cerr << std::hex << fault->ExceptionRecord->ExceptionCode << " at " << fault->ExceptionRecord->ExceptionAddress
            << std::endl;
  tell_where();
  ::TerminateProcess(::GetCurrentProcess(), fault->ExceptionRecord->ExceptionCode);
  return EXCEPTION_EXECUTE_HANDLER;
}

struct totals {
  int allocations = 0, system_calls = 0, short_counts = 0;
  totals& operator+=(const totals& more) {
    allocations += more.allocations;
    system_calls += more.system_calls;
    short_counts += more.short_counts;
    return *this;
  }
};

// ---- operations that end the process: each in a child, which is this program again ----

struct ending {
  const char* name;
  void (*run)();
  std::optional<std::uint32_t> allowed_status = {};  // where a call of the system is refused
};
const ending endings[] = {
    // A process that may not be terminated stops at a breakpoint, which is the end where nothing debugs it.
    {"ends the process: fast_exit", [] { foundation::core::app::fast_exit(7); },
     static_cast<std::uint32_t>(STATUS_BREAKPOINT)},
    {"ends the process: terminate", [] { foundation::core::diag::terminate("message", "file", 1, "function"); }},
    {"ends the process: terminate of the log",
     [] { foundation::log::detail::terminate(std::ostringstream("message"), "file", 1, "function"); }},
};

int end_with(const ending& which, const planned_fault& fault) {
  foundation::core::diag::disable_terminate_dialog();
  ::SymSetOptions(::SymGetOptions() | SYMOPT_PUBLICS_ONLY);
  watched_calls calls;
  watch_all(calls);
  calls_of_end = &calls;
  std::signal(SIGABRT, [](int) { tell_refused(); });
  calls.begin(fault);
  calls.resume();
  which.run();
  return 99;
}

test_support::child_result end_child(std::size_t index, const planned_fault& fault) {
  const std::string numbers = std::to_string(index) + "/" + std::to_string(static_cast<int>(fault.what)) + "/" +
                              std::to_string(fault.nth) + "/" + std::to_string(fault.persistent);
  return test_support::run_child("soak_faults", "--end=" + numbers);
}

// Whether the fault has come. An end that is neither an abort nor a crash does not say, and is one that had none.
bool try_end(std::size_t index, const planned_fault& fault, const test_support::child_result& normal) {
  const ending& which = endings[index];
  const test_support::child_result result = end_child(index, fault);
  ++attempts;
  const bool refuses_memory = fault.what == kind::allocation;
  if (result.exit_code != normal.exit_code && (refuses_memory || which.allowed_status != result.exit_code)) {
    breach({which.name, nullptr}, fault, "ends with " + std::to_string(result.exit_code));
  }
  const auto tells = [](const test_support::child_result& child) {
    return child.err.find("message") != child.err.npos;
  };
  if (refuses_memory && tells(normal) && !tells(result)) {
    breach({which.name, nullptr}, fault, "the report does not come out");
  }
  return result.out.find("refused ") != result.out.npos && result.out.find("refused 0") == result.out.npos;
}

void sweep_ending(std::size_t index, totals& all) {
  const test_support::child_result normal = end_child(index, {});
  totals tried;
  for (const bool persistent : {false, true}) {
    for (const auto& [what, count] :
         {std::pair(kind::allocation, &tried.allocations), std::pair(kind::any_call, &tried.system_calls)}) {
      const ULONGLONG begin = ::GetTickCount64();
      planned_fault fault{what, "", 1, persistent};
      for (; try_end(index, fault, normal) && ::GetTickCount64() - begin < longest_of_a_kind; ++fault.nth) {
        ++*count;
      }
    }
  }
  std::cout << "| " << endings[index].name << " | " << tried.allocations << " | " << tried.system_calls
            << " | 0 | ends with " << normal.exit_code << " |" << std::endl;
  all += tried;
}

// Ends the program if one attempt takes minutes.
void watch_attempts() {
  std::thread([] {
    unsigned before = 0;
    do {
      before = attempts;
      std::this_thread::sleep_for(std::chrono::minutes(2));
    } while (before != attempts);
    tell_where();
    ::TerminateProcess(::GetCurrentProcess(), 4);
  }).detach();
}

int sweep_all(const std::string& part_of_name) {
  std::vector<operation> all;
  for (const auto& some : {value_operations(), failure_operations(), stream_operations(), process_operations(),
                           system_operations(), companion_operations(), kit_operations()}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  std::cout << "| operation | allocations failed | calls failed | short counts | results |\n|---|---|---|---|---|\n";
  watch_attempts();
  begin_system_operations();
  ::SymSetOptions(::SymGetOptions() | SYMOPT_PUBLICS_ONLY);  // Wine takes seconds to read what this program has.
  watched_calls calls;
  watch_all(calls);
  int rows = 0;
  totals all_tried;
  for (const operation& each : all) {
    if (std::string(each.name).find(part_of_name) == std::string::npos) {
      continue;
    }
    sweep done(calls, each);
    const auto begin = ::GetTickCount64();
    done.run();
    std::cerr << each.name << ": " << ::GetTickCount64() - begin << " ms, without faults: " << done.normal()
              << std::endl;
    std::cout << done.row() << std::endl;
    ++rows;
    all_tried += {done.allocations(), done.system_calls(), done.short_counts()};
  }
  for (std::size_t i = 0; i != std::size(endings); ++i) {
    if (std::string(endings[i].name).find(part_of_name) != std::string::npos) {
      ++attempts;
      sweep_ending(i, all_tried);
      ++rows;
    }
  }
  std::cout << "\n"
            << rows << " operations, " << all_tried.allocations << " failed allocations, " << all_tried.system_calls
            << " failed calls, " << all_tried.short_counts << " short counts, " << breaches << " breaches.\n";
  return breaches == 0 && rows != 0 ? 0 : 1;
}

}  // namespace

// What a lock of the run-time throws that allocates when it is first taken.
const std::string no_memory = "Cannot allocate memory";

void trial::note_exception() {
  try {
    throw;
  } catch (const std::exception& e) {
    if (failure_.empty()) {
      failure_ = boost::core::demangle(typeid(e).name()) + ": " + e.what();
      is_bad_alloc_ = dynamic_cast<const std::bad_alloc*>(&e) != nullptr ||
                      failure_.find("bad_alloc") != std::string::npos || failure_.find(no_memory) != std::string::npos;
    }
  }
}

void trial::expect(bool kept, std::string_view promise) {
  if (!kept) {
    broken_ += std::string(promise) + ";";
  }
}

}  // namespace faults

int main(int count, char** arguments) {
  std::signal(SIGABRT, [](int) {
    faults::tell_where();
    ::TerminateProcess(::GetCurrentProcess(), 3);
  });
  std::set_terminate([] {
    faults::tell_where();
    ::TerminateProcess(::GetCurrentProcess(), 3);
  });
  ::SetUnhandledExceptionFilter(faults::crashed);
  std::string part_of_name;
  std::array<int, 4> ending{};
  if (count > 1 &&
      std::sscanf(arguments[1], "--end=%d/%d/%d/%d", &ending[0], &ending[1], &ending[2], &ending[3]) == 4) {
    const faults::planned_fault fault{static_cast<faults::kind>(ending[1]), "", ending[2], ending[3] != 0};
    return faults::end_with(faults::endings[ending[0]], fault);
  }
  for (int i = 1; i < count; ++i) {
    faults::tells_each |= std::string(arguments[i]) == "--each";
    part_of_name = std::string(arguments[i]) == "--each" ? part_of_name : arguments[i];
  }
  return faults::sweep_all(part_of_name);
}
