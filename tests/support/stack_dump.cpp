#include "stack_dump.hpp"

#include "support.hpp"

#include <boost/core/demangle.hpp>

#include <dbghelp.h>

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace test_support {
namespace {

constexpr std::size_t most_frames = 64;
constexpr DWORD longest_report_ms = 30000;

// Program counters, innermost first.
struct frames {
  DWORD64 address[most_frames];
  std::size_t count = 0;
};

// Unwinds without the symbol service, whose own walk may need a lock that a suspended thread holds.
frames gather(CONTEXT context) {
  frames found;
  // Words of the stack that may be skipped to leave innermost code without unwind data: a call through a bad pointer, a
  // function that keeps no frame, and the compiler's stack probe, which has saved two registers when the stack ends.
  for (int skips = 3; found.count != most_frames;) {
    DWORD64 base = 0;
    const auto function = ::RtlLookupFunctionEntry(context.Rip, &base, nullptr);
    if (function != nullptr || found.count == 0) {
      found.address[found.count++] = context.Rip;
    }
    if (function != nullptr) {
      void* handler_data = nullptr;
      DWORD64 frame = 0;
      ::RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &handler_data, &frame, nullptr);
    } else if (found.count == 1 && skips-- != 0) {
      const auto top = reinterpret_cast<const void*>(context.Rsp);
      ::ReadProcessMemory(::GetCurrentProcess(), top, &context.Rip, sizeof context.Rip, nullptr);
      context.Rsp += sizeof context.Rip;
    } else {
      break;
    }
  }
  return found;
}

void load_symbols() {
  ::SymSetOptions(SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES | SYMOPT_FAIL_CRITICAL_ERRORS);
  ::SymInitialize(::GetCurrentProcess(), nullptr, TRUE);
}

// "module+0x1234", which is right also where no symbols are, then the function and the line, as far as known.
void print(DWORD64 address) {
  const HANDLE self = ::GetCurrentProcess();
  IMAGEHLP_MODULE64 module{};
  module.SizeOfStruct = sizeof module;
  ::SymGetModuleInfo64(self, address, &module);
  report("%s+0x%llx", module.ModuleName, static_cast<unsigned long long>(address - module.BaseOfImage));

  constexpr ULONG longest_name = 1024;
  alignas(SYMBOL_INFO) char memory[sizeof(SYMBOL_INFO) + longest_name]{};
  auto& symbol = *reinterpret_cast<SYMBOL_INFO*>(memory);
  symbol.SizeOfStruct = sizeof symbol;
  symbol.MaxNameLen = longest_name;
  if (::SymFromAddr(self, address, nullptr, &symbol)) {
    report(" %s", boost::core::demangle(symbol.Name).c_str());
  }

  IMAGEHLP_LINE64 line{};
  line.SizeOfStruct = sizeof line;
  DWORD column = 0;
  if (::SymGetLineFromAddr64(self, address, &column, &line)) {
    report(" (%s:%lu)", line.FileName, line.LineNumber);
  }
  report("\n");
}

void print(const frames& found) {
  for (std::size_t at = 0; at != found.count; ++at) {
    report("  #%-2u ", static_cast<unsigned>(at));
    // A return address can lie behind the last instruction of a function that ends in a call.
    print(found.address[at] - (at == 0 ? 0 : 1));
  }
}

void dump_thread(DWORD id) {
  report("thread %lu\n", id);
  const HANDLE thread = ::OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION, FALSE, id);
  CONTEXT context{};
  context.ContextFlags = CONTEXT_FULL;
  frames found;
  if (::SuspendThread(thread) != static_cast<DWORD>(-1)) {
    if (::GetThreadContext(thread, &context)) {
      found = gather(context);
    }
    ::ResumeThread(thread);
  }
  print(found);
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
    if (reporter == ::GetCurrentThreadId()) {
      ::TerminateProcess(::GetCurrentProcess(), exit_code);
    }
    ::Sleep(INFINITE);
  }
  static const unsigned code = exit_code;
  const auto end_late = [](void*) -> DWORD {
    ::Sleep(longest_report_ms);
    return static_cast<DWORD>(::TerminateProcess(::GetCurrentProcess(), code));
  };
  ::CreateThread(nullptr, 0, end_late, nullptr, 0, nullptr);
}

void dump_stack(const CONTEXT& context) {
  load_symbols();
  print(gather(context));
}

void dump_other_threads() {
  load_symbols();
  for (const DWORD id : thread_ids()) {
    if (id != ::GetCurrentThreadId()) {
      dump_thread(id);
    }
  }
}

}  // namespace test_support
