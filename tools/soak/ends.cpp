// The end of a process in whose library 32 threads are at work, in each way that there is, a thousand times. The arena,
// the heap, reports, launches and log records are in use, waits for children are pending and children run. The process
// is to be gone within five seconds with its own exit code; what ends by `terminate` leaves a whole report before.
//
//     soak_ends [ENDS_OF_EACH_WAY [SEED [WAY]]]
//
// Three processes at a time. A process that hangs stands still for ten minutes if QXFL_SOAK_KEEP is set, so that
// somebody can look at it.
#include "busy_threads.hpp"
#include "watched_child.hpp"

#include <boost/thread/thread.hpp>
#include <kit/crash_handler.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>

namespace {

using namespace soak;

// ---- the process that ends ----

constexpr int code_of_end = 17, code_of_abort = 3, code_of_wrong_results = 18;
constexpr unsigned threads_of_child = 32;

struct way {
  const char* name;
  int code;
  void (*end)();  ///< null: main returns
};

void terminate() {
  diag::terminate("the end", "ends.cpp", 1, "end");
}

constexpr way ways[] = {
    {"return", code_of_end, nullptr},
    {"exit", code_of_end, [] { std::exit(code_of_end); }},
    {"ExitProcess", code_of_end, [] { ::ExitProcess(code_of_end); }},
    {"fast_exit", code_of_end, [] { foundation::core::app::fast_exit(code_of_end); }},
    {"abort", code_of_abort, [] { std::abort(); }},
    {"terminate", code_of_abort, terminate},
};

/// Chores and how many threads do each. Where a report is to be seen, no other may use up or wipe the log.
std::vector<chore> chores_of_threads(bool reports) {
  std::vector<chore> all;
  const auto add = [&all](chore what, int count) { all.insert(all.end(), static_cast<std::size_t>(count), what); };
  add({"run-time's heap", use_run_time_heap}, 6);
  add({"arena", use_aligned_heap}, 6);
  add({"log", write_log}, 5);
  add({"launch", launch_child}, 4);
  add({"report", reports ? write_report : take_stack}, 4);
  add({"exception", throw_exception}, 3);
  add({"text", convert_text}, 2);
  add({"which", look_program_up}, 2);
  return all;
}

/// Of children that live on: one has nothing but the wait, one a continuation.
void leave_waits_pending(std::vector<process::process>& children) {
  children.emplace_back(child("wait", "qxfl-soak-nobody-sets-this"));
  children.emplace_back(child("wait", "qxfl-soak-nobody-sets-this"));
  children[0].exit_status_async();
  static const auto continued = children[1].exit_status_async().then(boost::launch::sync, [](auto) { return 0; });
}

int run_as_child(const way& how, unsigned seed, const char* event, const std::string& file) {
  std::freopen((file + ".err").c_str(), "w", stderr);
  prepare_chores(file + ".log");
  std::optional<foundation::kit::crash_handler> handler;
  if (how.end == terminate) {
    foundation::kit::crash_handler_options options;
    options.report_file = fl::i18n::utf8_to_ustring(file);
    options.standard_error = false;
    handler.emplace(foundation::kit::install_crash_handler(options));
  }
  static std::vector<process::process> children;
  leave_waits_pending(children);
  const auto chores = chores_of_threads(!handler);
  expect(chores.size() == threads_of_child);
  for (const chore& what : chores) {
    std::thread(keep_busy, what, ++seed).detach();
  }
  ::Sleep(20 + random_source(seed)() % 250);
  if (wrong_results != 0) {
    return code_of_wrong_results;
  }
  tell_beginning(event);
  if (how.end != nullptr) {
    how.end();
  }
  return code_of_end;
}

// ---- who watches ----

struct tally {
  int ends = 0, wrong = 0, stuck_in_wine = 0;
  DWORD longest_ms = 0;
};

constexpr DWORD longest_busy_ms = 120000;
/// With a report: it waits for those whose stacks get names before, which takes seconds on a machine so busy.
constexpr DWORD longest_report_ms = 30000;

std::mutex of_results;
std::map<std::string, tally> results;

using outcome = watched_child::outcome;

/// What was not as promised; empty if all was.
std::string breach_of(const way& how, const watched_child& started, outcome end) {
  if (end == outcome::hangs) {
    return "does not end";
  }
  if (started.exit_code() != static_cast<DWORD>(how.code)) {
    return "exit code " + std::to_string(started.exit_code());
  }
  return how.end != terminate || is_whole_report(started.content_of_file(), "the end") ? "" : "no whole report";
}

void note(const way& how, unsigned seed, DWORD took_ms, const std::string& breach) {
  const std::lock_guard lock(of_results);
  tally& sum = results[how.name];
  ++sum.ends;
  sum.longest_ms = std::max(sum.longest_ms, took_ms);
  if (!breach.empty()) {
    ++sum.wrong;
    std::fprintf(stderr, "%s, seed %u: %s\n", how.name, seed, breach.c_str());
  } else if (sum.ends % 50 == 0) {
    std::fprintf(stderr, "%s: %d ends\n", how.name, sum.ends);
  }
}

/// False: it did not come to its end, since Wine got stuck.
bool end_once(const way& how, unsigned seed, const std::string& file) {
  const watched_child started(std::string("end ") + how.name + " " + std::to_string(seed), file);
  if (!started.begins_to_end(longest_busy_ms)) {
    note(how, seed, 0,
         started.has_ended(0) ? "ended early: " + std::to_string(started.exit_code()) + "\n" + content_of(file + ".err")
                              : "does not begin");
    return true;
  }
  const auto begin = ::GetTickCount64();
  const outcome end = started.wait_for_end(how.end == terminate ? longest_report_ms : longest_end_ms);
  const auto took_ms = static_cast<DWORD>(::GetTickCount64() - begin);
  if (end == outcome::stuck_in_wine) {
    const std::lock_guard lock(of_results);
    ++results[how.name].stuck_in_wine;
    return false;
  }
  if (end == outcome::hangs && std::getenv("QXFL_SOAK_KEEP") != nullptr) {
    std::fprintf(stderr, "process %lu hangs\n", started.id());
    started.has_ended(600000);
  }
  note(how, seed, took_ms, breach_of(how, started, end));
  return true;
}

/// As often as Wine needs to let it end.
void end_at_last(const way& how, unsigned seed) {
  char folder[MAX_PATH];
  ::GetTempPathA(MAX_PATH, folder);
  const std::string file = std::string(folder) + "qxfl-ends-" + std::to_string(::GetCurrentThreadId());
  while (!end_once(how, seed, file)) {
    seed += threads_of_child;
  }
  for (const char* const rest : {".log", ".err"}) {
    ::DeleteFileA((file + rest).c_str());
  }
}

int watch_all(unsigned count, unsigned seed, const std::string& wanted) {
  std::fprintf(stderr, "seed %u\n", seed);
  const auto all = turns_of(ways, count, seed, wanted);
  run_at_once(3, all.size(), [&](std::size_t n) { end_at_last(*all[n].first, all[n].second); });
  std::printf("| way | ends | longest (ms) | not as promised | besides, stuck in Wine |\n|---|---|---|---|---|\n");
  int wrong = 0;
  for (const way& how : ways) {
    const tally& sum = results[how.name];
    std::printf("| %s | %d | %lu | %d | %d |\n", how.name, sum.ends, sum.longest_ms, sum.wrong, sum.stuck_in_wine);
    wrong += sum.wrong;
  }
  return wrong == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  if (count == 6 && arguments[1] == std::string("end")) {
    const auto how = std::find_if(std::begin(ways), std::end(ways),
                                  [&](const way& one) { return one.name == std::string(arguments[2]); });
    return run_as_child(*how, static_cast<unsigned>(std::atoi(arguments[3])), arguments[4], arguments[5]);
  }
  const auto number = [&](int n, int otherwise) {
    return static_cast<unsigned>(count > n ? std::atoi(arguments[n]) : otherwise);
  };
  return watch_all(number(1, 200), number(2, 20240229), count > 3 ? arguments[3] : "");
}
