#include "stack_dump.hpp"

#include "support.hpp"

#include <boost/core/demangle.hpp>

#include <dbghelp.h>

#include <array>
#include <cstddef>
#include <cstdio>

namespace test_support {
namespace {

/// Program counters, innermost first, up to a null.
using frames = std::array<DWORD64, 64>;

/// Unwinds without the symbol service, whose own walk may need a lock that a suspended thread holds.
frames gather(CONTEXT context) {
  frames found{};
  // Words of the stack that may be skipped to leave innermost code without unwind data: a call through a bad pointer, a
  // function that keeps no frame, and the compiler's stack probe, which has saved two registers when the stack ends.
  int skips = 3;
  for (std::size_t count = 0; count + 1 != found.size();) {
    DWORD64 base = 0, frame = 0;
    void* handler_data = nullptr;
    if (const auto function = ::RtlLookupFunctionEntry(context.Rip, &base, nullptr)) {
      found[count++] = context.Rip;
      ::RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &handler_data, &frame, nullptr);
    } else if (count == 0 && skips-- != 0) {
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

/// "module+0x1234", which is right also where no symbols are, then the function and the line, as far as known.
void print(DWORD64 address) {
  const HANDLE self = ::GetCurrentProcess();
  IMAGEHLP_MODULE64 module{};
  module.SizeOfStruct = sizeof module;
  ::SymGetModuleInfo64(self, address, &module);
  struct {
    SYMBOL_INFO info;
    char more_name[1023];
  } symbol{};
  symbol.info.SizeOfStruct = sizeof symbol.info;
  symbol.info.MaxNameLen = sizeof symbol.more_name;
  ::SymFromAddr(self, address, nullptr, &symbol.info);
  IMAGEHLP_LINE64 line{};
  line.SizeOfStruct = sizeof line;
  DWORD column = 0;
  ::SymGetLineFromAddr64(self, address, &column, &line);
  std::fprintf(stderr, "  %s+0x%llx %s (%s:%lu)\n", module.ModuleName,
               static_cast<unsigned long long>(address - module.BaseOfImage),
               boost::core::demangle(symbol.info.Name).c_str(), line.FileName != nullptr ? line.FileName : "",
               line.LineNumber);
}

void print(const frames& found) {
  for (std::size_t at = 0; found[at] != 0; ++at) {
    // A return address can lie behind the last instruction of a function that ends in a call.
    print(found[at] - (at == 0 ? 0 : 1));
  }
}

}  // namespace

void dump_stack(const CONTEXT& context) {
  load_symbols();
  print(gather(context));
}

void dump_other_threads() {
  load_symbols();
  for (const DWORD id : thread_ids()) {
    if (id == ::GetCurrentThreadId()) {
      continue;
    }
    const HANDLE thread = ::OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, id);
    CONTEXT context{};
    context.ContextFlags = CONTEXT_FULL;
    ::SuspendThread(thread);
    const frames found = ::GetThreadContext(thread, &context) ? gather(context) : frames{};
    ::ResumeThread(thread);
    std::fprintf(stderr, "thread %lu\n", id);
    print(found);
  }
}

}  // namespace test_support
