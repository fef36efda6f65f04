// The library in a process that does not link it: loaded, used and unloaded, a thousand times. It really goes each
// time, unless it was used in a way that keeps it: once it has handed a callback to the system's thread pool, or a log
// record to the core of the log, it stays until the process ends.
//
//     soak_load [LOADS]
//
// Three tables of calls, made by the names that programs link to: none, some that keep nothing, and one that keeps.
#include "amounts.hpp"

#include <cstdlib>
#include <cstring>

namespace {

using namespace soak;

constexpr const char* library = "libqxfl.dll";

/// A function of the library by its name for linkers.
template <class Function>
Function* exported(HMODULE from, const char* name) {
  const auto found = ::GetProcAddress(from, name);
  if (found == nullptr) {
    std::fprintf(stderr, "%s is not exported\n", name);
    std::exit(1);
  }
  Function* function = nullptr;
  std::memcpy(&function, &found, sizeof function);
  return function;
}

void use_nothing(HMODULE) {}

/// The memory manager and its new handler, a thread's own numbers, the termination engine and the symbol service.
void use_some(HMODULE from) {
  exported<void()>(from, "_ZN10foundation4core3mem7manager10initializeEv")();
  exported<bool()>(from, "_ZN10foundation4core4diag16terminate_calledEv")();
  exported<const char*(const char*, const void*)>(
      from, "_ZN10foundation4core4diag13terminate_logEPKcPK19_EXCEPTION_POINTERS")("a report", nullptr);
}

/// The reaper, whose callbacks the system's pool has.
void use_for_good(HMODULE from) {
  exported<bool()>(from, "_ZN10foundation4core7process7testing20join_all_async_procsEv")();
}

/// Whether what is promised holds for so many loads.
bool load_often(const char* what, void (*use)(HMODULE), unsigned count, bool goes) {
  amounts first{};
  for (unsigned n = 0; n != count; ++n) {
    if (n == count / 10) {
      first = measure();
    }
    const HMODULE loaded = ::LoadLibraryA(library);
    if (loaded == nullptr) {
      std::fprintf(stderr, "%s, load %u: error %lu\n", what, n, ::GetLastError());
      return false;
    }
    use(loaded);
    ::FreeLibrary(loaded);
    if ((::GetModuleHandleA(library) == nullptr) != goes) {
      std::fprintf(stderr, "%s, load %u: %s\n", what, n, goes ? "it does not go" : "it goes");
      return false;
    }
  }
  return stays(what, first, measure());
}

}  // namespace

int main(int count, char** arguments) {
  const unsigned loads = count > 1 ? static_cast<unsigned>(std::atoi(arguments[1])) : 1000;
  print_heading();
  const bool unused = load_often("loads without use", use_nothing, loads, true);
  const bool used = load_often("loads with use", use_some, loads, true);
  const bool kept = load_often("loads of a library that stays", use_for_good, loads, false);
  return unused && used && kept ? 0 : 1;
}
