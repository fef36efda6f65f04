// Prints a captured stack of 30 frames in the symbolic form to a stream over a fixed buffer, against bare calls of the
// system that write the same lines. Nothing else in the process holds the symbol service, so each run starts it, loads
// the symbols of the frames' modules and stops it.

#include <fl/diag/stacktrace.hpp>

#include "deep_stack.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <boost/interprocess/streams/bufferstream.hpp>

#include <windows.h>
#include <dbghelp.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

namespace fd = foundation::core::diag;

constexpr std::size_t frame_count = 30;

fd::stacktrace<frame_count> stack(0, false);
char text[frame_count * (MAX_PATH + MAX_SYM_NAME + 64)];  // Both write into it, one after the other.

bench::frames capture(std::size_t) {
  stack.capture(0);
  return bench::until_null(stack.begin(), stack.end());
}

const std::string& program_folder() {
  static const std::string folder = [] {
    char path[MAX_PATH];
    const DWORD size = GetModuleFileNameA(nullptr, path, MAX_PATH);
    bench::check(size != 0 && size < MAX_PATH, "GetModuleFileNameA");
    const std::string file(path, size);
    return file.substr(0, file.rfind('\\'));
  }();
  return folder;
}

void check_nobody_holds_the_service() {
  if (SymCleanup(GetCurrentProcess())) {
    throw std::runtime_error("the symbol service was running before the start of a run");
  }
}

void print_ours(bench::product& result) {
  boost::interprocess::obufferstream stream(text, sizeof text);
  stack.format(stream, nullptr);
  bench::check(stream.good(), "the stream over the buffer");
  result.add({text, static_cast<std::size_t>(stream.tellp())});
}

std::size_t print_module(char* to, std::size_t room, std::size_t number, const void* frame) {
  MEMORY_BASIC_INFORMATION region;
  bench::check(VirtualQuery(frame, &region, sizeof region) != 0, "VirtualQuery");
  char file[MAX_PATH];
  const auto base = static_cast<HMODULE>(region.AllocationBase);
  bench::check(GetModuleFileNameA(base, file, MAX_PATH) != 0, "GetModuleFileNameA");
  const auto address = reinterpret_cast<DWORD64>(frame);
  return static_cast<std::size_t>(std::snprintf(to, room, "[%3zu] 0x%016llx %50s+%08llu", number, address, file,
                                                address - reinterpret_cast<DWORD64>(base)));
}

// A symbol as the service wants to write it: its name stands behind the record.
struct named_symbol {
  SYMBOL_INFO info{};
  char more_name[MAX_SYM_NAME];
};

// Prints nothing for a function that the service does not know.
std::size_t print_symbol(char* to, std::size_t room, const void* frame) {
  named_symbol symbol;
  symbol.info.SizeOfStruct = sizeof symbol.info;
  symbol.info.MaxNameLen = MAX_SYM_NAME;
  DWORD64 displacement = 0;
  if (!SymFromAddr(GetCurrentProcess(), reinterpret_cast<DWORD64>(frame), &displacement, &symbol.info)) {
    return 0;
  }
  return static_cast<std::size_t>(std::snprintf(to, room, " %s+%08llu", symbol.info.Name, displacement));
}

// The service's settings are those of the library.
void print_bare(bench::product& result) {
  SymSetOptions(SymGetOptions() | SYMOPT_UNDNAME | SYMOPT_DEFERRED_LOADS | SYMOPT_DEBUG);
  bench::check(SymInitialize(GetCurrentProcess(), program_folder().c_str(), TRUE), "SymInitialize");
  std::size_t size = 0;
  for (std::size_t number = 0; number < stack.size(); ++number) {
    size += print_module(text + size, sizeof text - size, number, stack[number]);
    size += print_symbol(text + size, sizeof text - size, stack[number]);
    text[size++] = '\n';
  }
  bench::check(SymCleanup(GetCurrentProcess()), "SymCleanup");
  result.add({text, size});
}

}  // namespace

int main(int argc, char** argv) {
  bench::capture_at_depth(bench::depth_of(frame_count, capture), capture, 1);
  bench::add_row("print_30_frames_vs_dbghelp", {print_ours, check_nobody_holds_the_service},
                 {print_bare, check_nobody_holds_the_service});
  return bench::run(argc, argv);
}
