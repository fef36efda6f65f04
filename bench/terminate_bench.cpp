// From the call of `terminate` to the final stage, where the engine hands over to the system's end of the process. That
// is a call of the C run-time, in whose place stands one that ends the thread: so one process terminates many times.
//
// The peers make the bare calls of the system that the report's stack needs, for the same frames: those of ours, which
// go through three modules, this program, libqxfl and kernel32. Neither keeps the symbol service between two runs.

#include <fl/diag/terminate.hpp>
#include <fl/diag/termination_observer.hpp>

#include "as_written.hpp"
#include "import_patch.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <windows.h>
#include <cxxabi.h>
#include <dbghelp.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fd = foundation::core::diag;
using test_support::import_patch;

constexpr std::size_t frame_count = 30;
constexpr std::size_t most_threads = 8;

bool service_refuses = false;
std::atomic<import_patch::any_function> original_start, original_end;
std::atomic<LONG> go{0}, ends{0};

void wait_while(std::atomic<LONG>& word, LONG value) {
  while (word == value) {
    WaitOnAddress(&word, &value, sizeof value, INFINITE);
  }
}

void tell_end() {
  ++ends;
  WakeByAddressSingle(&ends);
}

[[noreturn]] void final_stage(const wchar_t*, const wchar_t*, unsigned) {
  tell_end();
  ExitThread(0);
}

BOOL WINAPI start_service(HANDLE process, const char* path, BOOL invade) {
  return !service_refuses && reinterpret_cast<decltype(&SymInitialize)>(original_start.load())(process, path, invade);
}

// One frame a call.
AS_WRITTEN void descend(std::size_t depth, void (*work)(std::size_t), std::size_t number) {
  depth == 0 ? work(number) : descend(depth - 1, work, number);
  asm volatile("");
}

// What the threads of one run do. They wait at their full depth until they are let go, so that neither their start nor
// their end is within the time.
struct thread_work {
  std::size_t depth;
  void (*work)(std::size_t);
  std::size_t number;
};

std::array<thread_work, most_threads> works;
std::vector<HANDLE> threads;

// A thread that has worked for a while has this much of its stack: else the system would add pages to it within the
// time, for the 64 KiB that a message has room in.
AS_WRITTEN void use_stack() {
  volatile char room[128 * 1024];
  for (std::size_t at = 0; at < sizeof room; at += 4096) {
    room[at] = 0;
  }
}

DWORD WINAPI thread_body(void* object) {
  use_stack();
  const thread_work& own = *static_cast<thread_work*>(object);
  descend(own.depth, own.work, own.number);
  return 0;
}

void join_threads() {
  for (const HANDLE thread : threads) {
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
  }
  threads.clear();
}

void start_threads(std::size_t count, std::size_t depth, void (*work)(std::size_t)) {
  join_threads();
  go = ends = 0;
  while (threads.size() < count) {
    thread_work& own = works[threads.size()] = {depth, work, threads.size()};
    threads.push_back(CreateThread(nullptr, 0, thread_body, &own, 0, nullptr));
    bench::check(threads.back() != nullptr, "CreateThread");
  }
  Sleep(1);  // They come to their wait.
}

void run_threads() {
  go = 1;
  WakeByAddressAll(&go);
  for (LONG ended; (ended = ends) != static_cast<LONG>(threads.size());) {
    wait_while(ends, ended);
  }
}

// ---- ours ----

void call_terminate(std::size_t) {
  wait_while(go, 0);
  fd::terminate("it broke", "terminate_bench.cpp", 1, "call_terminate");
}

void wipe_log() {
  const fd::termination_observer wiping(nullptr);
}

// Calls `take` with the stack of each report in the log, as far as a thread's stack goes: behind that Wine reports
// words that lie there, the first of them a null.
template <class Take>
void for_each_stack(std::string_view log, Take take) {
  constexpr std::string_view heading = "Stack Trace (captured):\n", null = "] 0x0000000000000000 ";
  for (std::size_t at = 0; (at = log.find(heading, at)) != log.npos;) {
    const std::string_view rest = log.substr(at += heading.size());
    const std::size_t size = rest.rfind('\n', rest.find(null)) + 1;
    take(rest.substr(0, size));
    at += size;
  }
}

std::size_t ours_depth = 0;

void terminate_threads(bench::product& result) {
  run_threads();
  for_each_stack(fd::terminate_log(), [&](std::string_view stack) { result.add(stack); });
}

// ---- bare calls ----

std::vector<const void*> frames;  // Those of ours.
char texts[most_threads][65536];
std::size_t sizes[most_threads];
std::mutex service_lock;
std::size_t service_users = 0;
bool with_service = true;

const std::string& program_folder() {
  static const std::string folder = [] {
    char path[MAX_PATH];
    const std::string file(path, GetModuleFileNameA(nullptr, path, MAX_PATH));
    return file.substr(0, file.rfind('\\'));
  }();
  return folder;
}

std::size_t print_module(char* to, std::size_t room, std::size_t number, const void* frame) {
  MEMORY_BASIC_INFORMATION region;
  char file[MAX_PATH];
  VirtualQuery(frame, &region, sizeof region);
  const auto base = static_cast<HMODULE>(region.AllocationBase);
  GetModuleFileNameA(base, file, MAX_PATH);
  const auto address = reinterpret_cast<DWORD64>(frame);
  return static_cast<std::size_t>(std::snprintf(to, room, "[%3zu] 0x%016llx %50s+%08llu", number, address, file,
                                                address - reinterpret_cast<DWORD64>(base)));
}

struct named_symbol {
  SYMBOL_INFO info{};
  char more_name[MAX_SYM_NAME];
};

std::size_t print_symbol(char* to, std::size_t room, const void* frame) {
  named_symbol symbol;
  symbol.info.SizeOfStruct = sizeof symbol.info;
  symbol.info.MaxNameLen = MAX_SYM_NAME;
  DWORD64 displacement = 0;
  const std::lock_guard lock(service_lock);
  if (!SymFromAddr(GetCurrentProcess(), reinterpret_cast<DWORD64>(frame), &displacement, &symbol.info)) {
    return 0;
  }
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> readable(
      std::string_view(symbol.info.Name).starts_with("_Z")
          ? abi::__cxa_demangle(symbol.info.Name, nullptr, nullptr, &status)
          : nullptr,
      std::free);
  return static_cast<std::size_t>(
      std::snprintf(to, room, " %s+%08llu", readable ? readable.get() : symbol.info.Name, displacement));
}

// The threads share the service: the first starts it and the last stops it.
void hold_service() {
  const std::lock_guard lock(service_lock);
  if (service_users++ == 0) {
    SymSetOptions(SymGetOptions() | SYMOPT_UNDNAME | SYMOPT_DEFERRED_LOADS | SYMOPT_DEBUG);
    SymInitialize(GetCurrentProcess(), program_folder().c_str(), TRUE);
  }
}

void release_service() {
  const std::lock_guard lock(service_lock);
  if (--service_users == 0) {
    SymCleanup(GetCurrentProcess());
  }
}

void print_bare(std::size_t number) {
  wait_while(go, 0);
  CONTEXT registers;
  RtlCaptureContext(&registers);
  benchmark::DoNotOptimize(registers);
  void* captured[128];
  benchmark::DoNotOptimize(RtlCaptureStackBackTrace(0, std::size(captured), captured, nullptr));
  char* const text = texts[number];
  std::size_t size = 0;
  if (with_service) {
    hold_service();
  }
  for (std::size_t frame = 0; frame < frames.size(); ++frame) {
    size += print_module(text + size, sizeof texts[0] - size, frame, frames[frame]);
    if (with_service) {
      size += print_symbol(text + size, sizeof texts[0] - size, frames[frame]);
    }
    text[size++] = '\n';
  }
  if (with_service) {
    release_service();
  }
  sizes[number] = size;
  tell_end();
}

void print_threads(bench::product& result) {
  run_threads();
  for (std::size_t number = 0; number < threads.size(); ++number) {
    result.add({texts[number], sizes[number]});
  }
}

// ---- rows ----

void prepare(std::size_t count, bool names, std::size_t depth, void (*work)(std::size_t)) {
  wipe_log();
  service_refuses = !names;
  with_service = names;
  start_threads(count, depth, work);
}

// Terminates once at that depth, without names, and gives the frames.
std::vector<const void*> frames_at(std::size_t depth) {
  prepare(1, false, depth, call_terminate);
  run_threads();
  std::vector<const void*> found;
  for_each_stack(fd::terminate_log(), [&](std::string_view stack) {
    for (; !stack.empty(); stack.remove_prefix(stack.find('\n') + 1)) {
      const std::string address(stack.substr(stack.find("0x"), 18));
      found.push_back(reinterpret_cast<const void*>(std::stoull(address, nullptr, 16)));
    }
  });
  return found;
}

void add_terminate_row(const std::string& name, std::size_t count, bool names) {
  bench::add_row(name, {terminate_threads, [=] { prepare(count, names, ours_depth, call_terminate); }},
                 {print_threads, [=] { prepare(count, names, ours_depth, print_bare); }});
}

void terminate_one(bench::product& result) {
  run_threads();
  result.add("done");
}

void start_and_stop_service(bench::product& result) {
  hold_service();
  release_service();
  result.add("done");
}

}  // namespace

int main(int argc, char** argv) {
  const import_patch end("libqxfl.dll", "_wassert", reinterpret_cast<import_patch::any_function>(final_stage),
                         original_end);
  const import_patch start("libqxfl.dll", "SymInitialize", reinterpret_cast<import_patch::any_function>(start_service),
                           original_start);
  ours_depth = frame_count - frames_at(0).size();
  frames = frames_at(ours_depth);
  if (frames.size() != frame_count) {
    throw std::runtime_error("no depth gives a stack of " + std::to_string(frame_count) + " frames");
  }
  add_terminate_row("terminate_without_names_vs_system_calls", 1, false);
  add_terminate_row("terminate_30_frames_vs_dbghelp", 1, true);
  add_terminate_row("terminate_8_threads_vs_dbghelp", 8, true);
  add_terminate_row("terminate_8_threads_without_names_vs_system_calls", 8, false);
  bench::add_row("terminate_vs_service_start", {terminate_one, [] { prepare(1, true, ours_depth, call_terminate); }},
                 {start_and_stop_service, [] {}});
  return bench::run(argc, argv);
}
