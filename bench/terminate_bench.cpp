// From the call of `terminate` to the final stage, where the engine hands over to the system's end of the process. That
// is a call of the C run-time, in whose place stands one that ends the thread: so one process terminates many times.
//
// The peers make the bare calls of the system that the report's stack needs, for the same frames: those of ours, which
// go through three modules, this program, libqxfl and kernel32. Neither keeps the symbol service between two runs.

#include <fl/diag/terminate.hpp>
#include <fl/diag/termination_observer.hpp>

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
std::atomic<std::size_t> ends{0};

[[noreturn]] void final_stage(const wchar_t*, const wchar_t*, unsigned) {
  ++ends;
  ExitThread(0);
}

BOOL WINAPI start_service(HANDLE process, const char* path, BOOL invade) {
  return !service_refuses && reinterpret_cast<decltype(&SymInitialize)>(original_start.load())(process, path, invade);
}

// One frame a call.
[[gnu::noipa]] void descend(std::size_t depth, void (*work)(std::size_t), std::size_t number) {
  depth == 0 ? work(number) : descend(depth - 1, work, number);
  asm volatile("");
}

struct thread_work {
  std::size_t depth;
  void (*work)(std::size_t);
  std::size_t number;
};

DWORD WINAPI thread_body(void* object) {
  const thread_work own = *static_cast<thread_work*>(object);
  descend(own.depth, own.work, own.number);
  return 0;
}

void run_threads(std::size_t count, std::size_t depth, void (*work)(std::size_t)) {
  std::array<thread_work, most_threads> works{};
  std::array<HANDLE, most_threads> threads{};
  for (std::size_t number = 0; number < count; ++number) {
    works[number] = {depth, work, number};
    threads[number] = CreateThread(nullptr, 0, thread_body, &works[number], 0, nullptr);
    bench::check(threads[number] != nullptr, "CreateThread");
  }
  WaitForMultipleObjects(static_cast<DWORD>(count), threads.data(), TRUE, INFINITE);
  for (std::size_t number = 0; number < count; ++number) {
    CloseHandle(threads[number]);
  }
}

// ---- ours ----

void call_terminate(std::size_t) {
  fd::terminate("it broke", "terminate_bench.cpp", 1, "call_terminate");
}

void wipe_log() {
  const fd::termination_observer wiping(nullptr);
}

// The lines of all reports' stacks, one stack behind the other, each up to where a thread's stack ends: behind that
// Wine reports words that lie there, the first of them a null.
std::vector<std::string_view> stack_lines(std::string_view log) {
  constexpr std::string_view heading = "Stack Trace (captured):\n", end = "] 0x0000000000000000 ";
  std::vector<std::string_view> lines;
  for (std::size_t at = 0; (at = log.find(heading, at)) != log.npos;) {
    for (at += heading.size(); at < log.size() && log[at] == '[';) {
      const std::string_view line = log.substr(at, log.find('\n', at) + 1 - at);
      if (line.find(end) != line.npos) {
        break;
      }
      lines.push_back(line);
      at += line.size();
    }
  }
  return lines;
}

std::size_t ours_depth = 0;

void terminate_threads(bench::product& result, std::size_t count) {
  ends = 0;
  run_threads(count, ours_depth, call_terminate);
  bench::check(ends == count, "terminate");
  for (const std::string_view line : stack_lines(fd::terminate_log())) {
    result.add(line);
  }
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
}

void print_threads(bench::product& result, std::size_t count) {
  run_threads(count, ours_depth, print_bare);
  for (std::size_t number = 0; number < count; ++number) {
    result.add({texts[number], sizes[number]});
  }
}

// ---- rows ----

// Terminates once at that depth, without names, and gives the frames.
std::vector<const void*> frames_at(std::size_t depth) {
  wipe_log();
  service_refuses = true;
  run_threads(1, depth, call_terminate);
  service_refuses = false;
  std::vector<const void*> found;
  for (const std::string_view line : stack_lines(fd::terminate_log())) {
    found.push_back(reinterpret_cast<const void*>(std::stoull(std::string(line.substr(6, 18)), nullptr, 16)));
  }
  return found;
}

void add_terminate_row(const std::string& name, std::size_t threads, bool names) {
  const auto prepare = [=] {
    wipe_log();
    service_refuses = !names;
    with_service = names;
  };
  bench::add_row(name, {[=](bench::product& result) { terminate_threads(result, threads); }, prepare},
                 {[=](bench::product& result) { print_threads(result, threads); }, prepare});
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
  const std::size_t least = frames_at(0).size();
  ours_depth = frame_count - least;
  frames = frames_at(ours_depth);
  if (frames.size() != frame_count) {
    throw std::runtime_error("no depth gives a stack of " + std::to_string(frame_count) + " frames");
  }
  add_terminate_row("terminate_without_names_vs_system_calls", 1, false);
  add_terminate_row("terminate_30_frames_vs_dbghelp", 1, true);
  add_terminate_row("terminate_8_threads_vs_dbghelp", 8, true);
  add_terminate_row("terminate_8_threads_without_names_vs_system_calls", 8, false);
  const auto prepare = [] {
    wipe_log();
    service_refuses = false;
  };
  const auto report = [](bench::product& result) {
    ends = 0;
    run_threads(1, ours_depth, call_terminate);
    result.add("done");
  };
  bench::add_row("terminate_vs_service_start", {report, prepare}, {start_and_stop_service, prepare});
  return bench::run(argc, argv);
}
