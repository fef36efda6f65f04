#include "stack_dump.hpp"

// Behind windows.h, whose types they use.
#include <dbghelp.h>
#include <tlhelp32.h>

#include <cxxabi.h>

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace test_support {
namespace {

constexpr std::size_t most_frames = 64;
constexpr DWORD longest_report_ms = 30000;

// Program counters, innermost first.
struct frames {
  DWORD64 address[most_frames];
  std::size_t count = 0;
};

// The key of our own session with the symbol service: a duplicate, because the code under test may have one under the
// plain process handle.
HANDLE symbols() {
  static HANDLE session = nullptr;
  if (session == nullptr) {
    const HANDLE self = ::GetCurrentProcess();
    ::DuplicateHandle(self, self, self, &session, 0, FALSE, DUPLICATE_SAME_ACCESS);
    ::SymSetOptions(SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES | SYMOPT_FAIL_CRITICAL_ERRORS);
    ::SymInitialize(session, nullptr, TRUE);
  }
  return session;
}

// These two replace the symbol service's own, which load a module's symbols and so may need a lock that a suspended
// thread holds.
void* CALLBACK function_table(HANDLE, DWORD64 address) {
  DWORD64 base = 0;
  return ::RtlLookupFunctionEntry(address, &base, nullptr);
}

DWORD64 CALLBACK module_base(HANDLE, DWORD64 address) {
  MEMORY_BASIC_INFORMATION memory{};
  ::VirtualQuery(reinterpret_cast<const void*>(address), &memory, sizeof memory);
  return memory.Type == MEM_IMAGE ? reinterpret_cast<DWORD64>(memory.AllocationBase) : 0;
}

bool has_unwind_data(DWORD64 address) {
  DWORD64 base = 0;
  return ::RtlLookupFunctionEntry(address, &base, nullptr) != nullptr;
}

// Steps out of code that the walk knows nothing of to its caller: after a call through a bad pointer, in a function
// that keeps no frame, and in the compiler's stack probe, which runs into the end of the stack and has saved two
// registers.
void step_out(CONTEXT& context) {
  constexpr std::size_t most_saved = 2;
  DWORD64 words[most_saved + 1]{};
  ::ReadProcessMemory(::GetCurrentProcess(), reinterpret_cast<const void*>(context.Rsp), words, sizeof words, nullptr);
  for (const DWORD64& word : words) {
    if (has_unwind_data(word)) {
      context.Rsp += static_cast<DWORD64>(&word - words + 1) * sizeof word;
      context.Rip = word;
      return;
    }
  }
}

frames gather(const CONTEXT& context, HANDLE thread) {
  CONTEXT walked = context;
  frames found;
  if (!has_unwind_data(walked.Rip)) {
    found.address[found.count++] = walked.Rip;
    step_out(walked);
  }
  STACKFRAME64 frame{};
  frame.AddrPC = {walked.Rip, 0, AddrModeFlat};
  frame.AddrFrame = {walked.Rbp, 0, AddrModeFlat};
  frame.AddrStack = {walked.Rsp, 0, AddrModeFlat};
  while (found.count != most_frames &&
         ::StackWalk64(IMAGE_FILE_MACHINE_AMD64, symbols(), thread, &frame, &walked, nullptr, function_table,
                       module_base, nullptr) &&
         frame.AddrPC.Offset != 0)
    found.address[found.count++] = frame.AddrPC.Offset;
  return found;
}

// "module+0x1234", which is right also where no symbols are.
void print_module(DWORD64 address) {
  const DWORD64 base = module_base(nullptr, address);
  char path[MAX_PATH] = "?";
  if (base != 0)
    ::GetModuleFileNameA(reinterpret_cast<HMODULE>(base), path, sizeof path);
  const char* const slash = std::strrchr(path, '\\');
  report("%s+0x%llx", slash ? slash + 1 : path, static_cast<unsigned long long>(address - base));
}

void print_name(DWORD64 address) {
  alignas(SYMBOL_INFO) char memory[sizeof(SYMBOL_INFO) + 1024]{};
  auto& symbol = *reinterpret_cast<SYMBOL_INFO*>(memory);
  symbol.SizeOfStruct = sizeof symbol;
  symbol.MaxNameLen = 1024;
  DWORD64 offset = 0;
  if (!::SymFromAddr(symbols(), address, &offset, &symbol))
    return;
  int status = 0;
  char* const readable = abi::__cxa_demangle(symbol.Name, nullptr, nullptr, &status);
  report(" %s", readable ? readable : symbol.Name);
  std::free(readable);
}

void print_line(DWORD64 address) {
  IMAGEHLP_LINE64 line{};
  line.SizeOfStruct = sizeof line;
  DWORD offset = 0;
  if (::SymGetLineFromAddr64(symbols(), address, &offset, &line))
    report(" (%s:%lu)", line.FileName, line.LineNumber);
}

void print(const frames& found) {
  for (std::size_t at = 0; at != found.count; ++at) {
    // A return address can lie behind the last instruction of a function that ends in a call.
    const DWORD64 address = found.address[at] - (at == 0 ? 0 : 1);
    report("  #%-2u ", static_cast<unsigned>(at));
    print_module(address);
    print_name(address);
    print_line(address);
    report("\n");
  }
}

void dump_thread(DWORD id) {
  const HANDLE thread = ::OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION, FALSE, id);
  report("thread %lu%s\n", id, thread == nullptr ? " (cannot be opened)" : "");
  if (thread == nullptr)
    return;
  CONTEXT context{};
  context.ContextFlags = CONTEXT_FULL;
  frames found;
  if (::SuspendThread(thread) != static_cast<DWORD>(-1)) {
    if (::GetThreadContext(thread, &context))
      found = gather(context, thread);
    ::ResumeThread(thread);
  }
  print(found);
  ::CloseHandle(thread);
}

DWORD WINAPI end_late(void* exit_code) {
  ::Sleep(longest_report_ms);
  ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(reinterpret_cast<UINT_PTR>(exit_code)));
  return 0;
}

}  // namespace

void report(const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const DWORD size = length < 0 ? 0 : static_cast<DWORD>(length < 1024 ? length : 1023);
  DWORD put = 0;
  ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), text, size, &put, nullptr);
}

void begin_report(unsigned exit_code) {
  static std::atomic<DWORD> reporter{0};
  DWORD nobody = 0;
  if (!reporter.compare_exchange_strong(nobody, ::GetCurrentThreadId())) {
    if (reporter == ::GetCurrentThreadId())
      ::TerminateProcess(::GetCurrentProcess(), exit_code);
    ::Sleep(INFINITE);
  }
  const HANDLE guard =
      ::CreateThread(nullptr, 0, end_late, reinterpret_cast<void*>(static_cast<UINT_PTR>(exit_code)), 0, nullptr);
  if (guard != nullptr)
    ::CloseHandle(guard);
}

void dump_stack(const CONTEXT& context, HANDLE thread) {
  print(gather(context, thread));
}

void dump_other_threads() {
  symbols();  // before anything is suspended: it takes locks
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Thread32First(snapshot, &entry); more; more = ::Thread32Next(snapshot, &entry))
    if (entry.th32OwnerProcessID == ::GetCurrentProcessId() && entry.th32ThreadID != ::GetCurrentThreadId())
      dump_thread(entry.th32ThreadID);
  ::CloseHandle(snapshot);
}

}  // namespace test_support
