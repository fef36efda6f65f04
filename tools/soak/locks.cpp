// A thread that is suspended at random within a lock of the library, for each lock, while another one ends the process
// by `terminate`: the report comes out whole, and the process ends.
//
//     soak_locks [PROCESSES_FOR_EACH_LOCK [SEED [LOCK]]]
//
// Each process has a thread that goes in and out of one lock. It is suspended and a second thread, which does the same,
// is asked whether it gets through; if so, the first one goes on and is suspended again later. Where it stands when the
// process ends is thus known: within that lock, or within one of the run-time that was taken inside.
//
// Not here: the locks of the process heap and of the environment, for which a third thread is asked. The system's
// symbol service takes both, and `terminate`, which asks it for names, waits with it for ever; nothing tells beforehand
// that such a lock is free.
#include <fl/diag/demangle.hpp>
#include <fl/process/testing.hpp>
#include <foundation_log/control.hpp>
#include <foundation_log/termination.hpp>

#include "busy_threads.hpp"
#include "watched_child.hpp"

#include <kit/crash_handler.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <map>
#include <mutex>

namespace {

using namespace soak;

// ---- the locks ----

void ask_process_object(random_source&) {
  static process::process waiting(child("wait", "qxfl-soak-nobody-sets-this"));
  expect(!waiting.exited());
}

void write_new_texts(random_source&) {
  const except::detail::AnonymousInternalException<std::runtime_error> error(std::runtime_error("text"));
  expect(error.what() == std::string("text"));
}

/// Of another encoding each time, since a code page is read once; ever the last one when there is none left.
void read_code_page(random_source&) {
  static constexpr const char* encodings[] = {
      "windows-1250", "windows-1251", "windows-1252", "windows-1253", "windows-1254", "windows-1255", "windows-1256",
      "windows-1257", "windows-1258", "Shift_JIS",    "GBK",          "Big5",         "EUC-KR",       "IBM437",
      "IBM850",       "IBM852",       "IBM855",       "IBM857",       "IBM860",       "IBM861",       "IBM863",
      "IBM865",       "IBM866",       "IBM869",       "cp037",        "KOI8-R"};
  static std::atomic<std::size_t> next{0};
  fl::i18n::encode(u"x", encodings[std::min(next++, std::size(encodings) - 1)]);
}

void name_symbols(random_source&) {
  const diag::stacktrace<8> stack;
  std::ostringstream() << stack;
}

void load_and_unload(random_source&) {
  ::FreeLibrary(::LoadLibraryA("version.dll"));
}

/// A locale of its own, so that each copy of it takes the run-time's lock.
void copy_locale(random_source&) {
  static const std::locale former = std::locale::global(std::locale(std::locale::classic(), new std::numpunct<char>));
  expect(std::locale() != former);
}

struct lock_row {
  const char* name;
  void (*once)(random_source& random);  ///< goes in and out of the lock
  bool report;                          ///< whether there can be one: not while a thread is in the midst of another one
};

constexpr lock_row rows[] = {
    {"run-time's heap", use_run_time_heap, true},
    {"arena", [](random_source&) { mem::vector_free(mem::vector_malloc(100)); }, true},
    {"exceptions' texts", write_new_texts, true},
    {"demangler", [](random_source&) { diag::detail::demangle_typeid_name("?f@space@@YAXHH@Z", false); }, true},
    {"reports' log", write_report, false},
    {"symbol service", name_symbols, true},
    {"log: channels", [](random_source&) { foundation::log::set_level("soak.*", 2047); }, true},
    {"log: handlers of fatal records",
     [](random_source&) {
       const foundation::log::detail::termination_handler own(
           [](const std::ostringstream&, const char*, int, const char*) {});
     },
     true},
    {"log: lines", write_log, true},
    {"process object", ask_process_object, true},
    {"reaper", [](random_source&) { process::testing::join_all_async_procs(); }, true},
    {"PATH", look_program_up, true},
    {"message catalogs", [](random_source&) { MessageCatalog::set_language("en"); }, true},
    {"code pages", read_code_page, true},
    {"crash handler", [](random_source&) { expect(foundation::kit::crash_handler_is_active()); }, true},
    {"loader", load_and_unload, true},
    {"locales", copy_locale, true},
};

// ---- the process that ends ----

constexpr DWORD blocked_after_ms = 60;
constexpr int most_tries = 100;

DWORD WINAPI go_in_and_out(void* row) {
  const auto& what = *static_cast<const lock_row*>(row);
  keep_busy({what.name, what.once}, 1);
  return 0;
}

/// A thread that does something when it is asked to, and thereby tells whether that can be done.
class probe {
 public:
  explicit probe(const lock_row& row) : row_(row) { ::CreateThread(nullptr, 0, answer, this, 0, nullptr); }

  bool gets_through() const {
    ::SetEvent(ask_);
    return ::WaitForSingleObject(answer_, blocked_after_ms) == WAIT_OBJECT_0;
  }
  /// For the answer of one that did not get through then.
  void await() const { ::WaitForSingleObject(answer_, INFINITE); }

 private:
  static DWORD WINAPI answer(void* self) {
    const auto& asked = *static_cast<const probe*>(self);
    for (random_source random(2);; ::SetEvent(asked.answer_)) {
      ::WaitForSingleObject(asked.ask_, INFINITE);
      asked.row_.once(random);
    }
  }

  const lock_row& row_;
  const HANDLE ask_ = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const HANDLE answer_ = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
};

const lock_row of_symbol_service = {"heap and environment",
                                    [](random_source&) {
                                      ::HeapLock(::GetProcessHeap());
                                      ::HeapUnlock(::GetProcessHeap());
                                      ::GetEnvironmentVariableW(L"none", nullptr, 0);
                                    },
                                    true};

void suspend_sometime(HANDLE thread, random_source& random) {
  const auto moment = random() % 3;
  ::Sleep(moment);
  for (auto spins = random() % 20000; spins != 0; --spins) {
    asm volatile("pause");
  }
  ::SuspendThread(thread);
  CONTEXT stopped{};
  stopped.ContextFlags = CONTEXT_CONTROL;
  ::GetThreadContext(thread, &stopped);  // It has stopped when this returns.
}

/// Whether the thread stays suspended where another one cannot do what it does, but the symbol service can.
bool is_held_within(HANDLE thread, const probe& same, const probe& service) {
  const bool is_within = !same.gets_through();
  const bool service_waits = !service.gets_through();
  if (is_within && !service_waits) {
    return true;
  }
  ::ResumeThread(thread);
  if (is_within) {
    same.await();
  }
  if (service_waits) {
    service.await();
  }
  return false;
}

int run_as_child(const lock_row& row, unsigned seed, const char* event, const std::string& file) {
  prepare_chores("NUL");
  foundation::kit::crash_handler_options options;
  options.report_file = fl::i18n::utf8_to_ustring(file);
  options.standard_error = false;
  const auto handler = foundation::kit::install_crash_handler(options);
  std::freopen("NUL", "w", stderr);
  random_source random(seed);
  if (row.once != read_code_page) {
    row.once(random);  // What is made once is there.
  }
  const probe same(row), service(of_symbol_service);
  const HANDLE holder = ::CreateThread(nullptr, 0, go_in_and_out, const_cast<lock_row*>(&row), 0, nullptr);
  bool is_within = false;
  for (int tries = 0; tries != most_tries && !is_within; ++tries) {
    suspend_sometime(holder, random);
    is_within = is_held_within(holder, same, service);
  }
  tell_beginning(event);
  diag::terminate(is_within ? "suspended within" : "not suspended", "locks.cpp", 1, "terminate");
}

// ---- who watches ----

struct tally {
  int ends = 0, within = 0, wrong = 0, stuck_in_wine = 0;
  DWORD longest_ms = 0;
};

constexpr DWORD limit_ms = 120000;  // Ample: starting the symbol service takes seconds.

std::mutex of_results;
std::map<std::string, tally> results;

/// What was not as promised of a process that has ended; empty if all was.
std::string breach_of(const lock_row& row, const watched_child& started, const std::string& report, bool within) {
  constexpr DWORD code_of_abort = 3;
  if (started.exit_code() != code_of_abort) {
    return "exit code " + std::to_string(started.exit_code());
  }
  const bool whole = is_whole_report(report, within ? "suspended within" : "not suspended");
  return whole || !row.report ? "" : "no whole report";
}

/// Notes what came of it in `one`, and returns what was not as promised; empty if all was.
std::string watch_end(const lock_row& row, const watched_child& started, tally& one) {
  if (!started.begins_to_end(limit_ms)) {
    return started.has_ended(0) ? "ended too early with " + std::to_string(started.exit_code())
                                : "hangs before its end";
  }
  const auto begin = ::GetTickCount64();
  const auto end = started.wait_for_end(limit_ms);
  if (end != watched_child::outcome::ended && std::getenv("QXFL_SOAK_KEEP") != nullptr) {
    std::fprintf(stderr, "process %lu hangs\n", started.id());
    started.has_ended(600000);
  }
  if (end == watched_child::outcome::stuck_in_wine) {
    one = {.stuck_in_wine = 1};
    return "";
  }
  if (end == watched_child::outcome::hangs) {
    return "does not end";
  }
  one.longest_ms = static_cast<DWORD>(::GetTickCount64() - begin);
  const std::string report = started.content_of_file();
  one.within = report.find(":\nsuspended within\n") != std::string::npos;
  return breach_of(row, started, report, one.within != 0);
}

/// False: it did not come to its end, since Wine got stuck.
bool end_once(const lock_row& row, unsigned seed, const std::string& file) {
  const watched_child started("hold " + std::to_string(&row - rows) + " " + std::to_string(seed), file);
  tally one{.ends = 1};
  const std::string breach = watch_end(row, started, one);
  const std::lock_guard lock(of_results);
  tally& sum = results[row.name];
  sum.ends += one.ends;
  sum.within += one.within;
  sum.stuck_in_wine += one.stuck_in_wine;
  sum.longest_ms = std::max(sum.longest_ms, one.longest_ms);
  if (!breach.empty()) {
    ++sum.wrong;
    std::fprintf(stderr, "%s, seed %u: %s\n%s", row.name, seed, breach.c_str(), started.content_of_file().c_str());
  }
  return one.stuck_in_wine == 0;
}

/// As often as Wine needs to let it end.
void end_at_last(const lock_row& row, unsigned seed) {
  char folder[MAX_PATH];
  ::GetTempPathA(MAX_PATH, folder);
  const std::string file = std::string(folder) + "qxfl-locks-" + std::to_string(::GetCurrentThreadId());
  while (!end_once(row, seed, file)) {
    ++seed;
  }
}

int watch_all(unsigned count, unsigned seed, const std::string& wanted) {
  std::fprintf(stderr, "seed %u\n", seed);
  const auto all = turns_of(rows, count, seed, wanted);
  run_at_once(3, all.size(), [&](std::size_t n) { end_at_last(*all[n].first, all[n].second); });
  std::printf(
      "| lock | ends | within it | longest (ms) | not as promised | besides, stuck in Wine |\n"
      "|---|---|---|---|---|---|\n");
  int wrong = 0;
  for (const lock_row& row : rows) {
    const tally& sum = results[row.name];
    std::printf("| %s | %d | %d | %lu | %d | %d |\n", row.name, sum.ends, sum.within, sum.longest_ms, sum.wrong,
                sum.stuck_in_wine);
    wrong += sum.wrong;
  }
  return wrong == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  const auto number = [&](int n, int otherwise) {
    return static_cast<unsigned>(count > n ? std::atoi(arguments[n]) : otherwise);
  };
  if (count == 6 && arguments[1] == std::string("hold")) {
    return run_as_child(rows[number(2, 0)], number(3, 0), arguments[4], arguments[5]);
  }
  return watch_all(number(1, 59), number(2, 20240229), count > 3 ? arguments[3] : "");
}
