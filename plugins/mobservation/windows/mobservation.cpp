// libqxtools_mobservation.dll: counts what a process allocates by the C run-time, and reports at the process's end.
//
//     set TESSEL_MEM_MGR=release,observation
//     set QX_MOBSERVATION_REPORT=stderr
//
// The memory manager loads it when its feature `observation` is asked for. It redirects malloc, calloc, realloc and
// free in the import tables of all modules that are loaded then, and counts by the size of the block. The report goes
// to the file that QX_MOBSERVATION_REPORT names (the path is Unicode; a file that exists is replaced) or with "stderr"
// to standard error; without the variable there is none:
//
//          block up to     allocations           bytes           frees            live      live bytes      peak bytes
//                    1               1               1               1               0               0               1
//                   16             120            1493             101              19             288             561
//                    …
//
// What it does not see: blocks of another C run-time, calls of modules that are loaded later (which take blocks from
// the same heap and may free what others allocated), functions found by name at run time, and what the run-time
// allocates itself, for `strdup` or aligned blocks. So more blocks of a class can be freed than were counted, and then
// its live figures are below zero. A process that is ended the hard way reports nothing.
//
// Counting costs a few atomic additions and one look-up of the block's size.

#include "common/windows/handle_closer.hpp"
#include "common/windows/procedure.hpp"
#include "report.hpp"
#include "windows/import_tables.hpp"

#include <windows.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <string_view>

namespace mobservation {

namespace {

constexpr const wchar_t* c_run_time =
#ifdef _UCRT
    L"ucrtbase.dll";
#else
    L"msvcrt.dll";
#endif

constinit counters observed;
constinit std::atomic<std::size_t> redirected = 0;  ///< Import table entries.
constinit wchar_t report_target[32768] = {};        ///< A path or "stderr"; empty for no report.

// What other modules call in place of the run-time's functions. This module's own calls are not redirected.

void count_allocation(void* block) noexcept {
  if (block != nullptr) {
    observed.allocated(_msize(block));
  }
}

void count_free(std::size_t bytes) noexcept {
  if (bytes != static_cast<std::size_t>(-1)) {  // What _msize says of a pointer that is no block.
    observed.freed(bytes);
  }
}

void* observed_malloc(std::size_t size) {
  void* const block = std::malloc(size);
  count_allocation(block);
  return block;
}

void* observed_calloc(std::size_t count, std::size_t size) {
  void* const block = std::calloc(count, size);
  count_allocation(block);
  return block;
}

void* observed_realloc(void* block, std::size_t size) {
  const bool is_block = block != nullptr;
  const std::size_t former = is_block ? _msize(block) : 0;
  void* const resized = std::realloc(block, size);
  if (is_block && (resized != nullptr || size == 0)) {
    count_free(former);
  }
  count_allocation(resized);
  return resized;
}

void observed_free(void* block) {
  if (block != nullptr) {
    count_free(_msize(block));
  }
  std::free(block);
}

any_function run_time_function(const char* name) {
  return foundation::core::sysdep::windows::find_procedure<any_function>(GetModuleHandleW(c_run_time), name);
}

/// Returns how many import table entries are redirected now.
std::size_t observe() {
  const auto as_any = [](auto* function) { return reinterpret_cast<any_function>(function); };
  return redirected += redirect_imports({{run_time_function("free"), as_any(observed_free)},
                                         {run_time_function("malloc"), as_any(observed_malloc)},
                                         {run_time_function("calloc"), as_any(observed_calloc)},
                                         {run_time_function("realloc"), as_any(observed_realloc)}});
}

void write_to(HANDLE file, std::string_view text) noexcept {
  DWORD written = 0;
  WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

/// The process may be ending: nothing is allocated.
void write_report(const report_text& text) noexcept {
  if (std::wcscmp(report_target, L"stderr") == 0) {
    write_to(GetStdHandle(STD_ERROR_HANDLE), text.view());
    return;
  }
  HANDLE file = CreateFileW(report_target, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    const foundation::core::sysdep::windows::HandleCloser<HANDLE> closing(file);
    write_to(file, text.view());
  }
}

void put_heading(report_text& text) noexcept {
  text.put("C run-time allocations of process ");
  text.put(GetCurrentProcessId());
}

void report_counters() noexcept {
  report_text text;
  put_heading(text);
  text.put(", observed by ");
  text.put(static_cast<std::int64_t>(redirected.load()));
  text.put(" redirected imports\n");
  put_table(text, observed);
  write_report(text);
}

int refuse(const char* reason) noexcept {
  report_text text;
  put_heading(text);
  text.put(" are not observed: ");
  text.put(reason);
  text.put("\n");
  if (report_target[0] != L'\0') {
    write_report(text);
  }
  return 0;
}

}  // namespace

}  // namespace mobservation

/// Not 0 if allocations are observed from now on. A further call adds the modules that were loaded meanwhile.
extern "C" __declspec(dllexport) int mobserveradminapiinit(int enabled) try {
  using namespace mobservation;
  if (GetEnvironmentVariableW(L"QX_MOBSERVATION_REPORT", report_target, std::size(report_target)) == 0) {
    report_target[0] = L'\0';
  }
  if (enabled == 0) {
    return refuse("it was not asked for");
  }
  if (observe() == 0) {
    return refuse("no module imports the functions");
  }
  HMODULE stays = nullptr;  // Others call into this module for as long as the process lives.
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<const wchar_t*>(mobserveradminapiinit), &stays);
  return 1;
} catch (...) {
  return mobservation::refuse("there is no memory");
}

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  using namespace mobservation;
  if (reason == DLL_PROCESS_ATTACH) {
    DisableThreadLibraryCalls(module);
  }
  if (reason == DLL_PROCESS_DETACH && redirected != 0 && report_target[0] != L'\0') {
    report_counters();
  }
  return TRUE;
}
