// The library in a process that does not link it: loaded and unloaded a thousand times. It really goes each time, until
// it is used for what lives until the process ends, such as its memory manager: then it stays, and is made once.
//
//     soak_load [LOADS]
#include "amounts.hpp"

#include <cstdlib>
#include <cstring>

namespace {

using namespace soak;

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

/// What is made once and lives until the process ends: the memory manager, the termination engine, the reaper.
void use_for_good(HMODULE from) {
  exported<void()>(from, "_ZN10foundation4core3mem7manager10initializeEv")();
  exported<bool()>(from, "_ZN10foundation4core4diag16terminate_calledEv")();
  exported<bool()>(from, "_ZN10foundation4core7process7testing20join_all_async_procsEv")();
}

struct seen {
  bool as_promised;  ///< of whether the library goes
  amounts first, last;
  std::size_t heap_growth() const { return last.heap_bytes - std::min(first.heap_bytes, last.heap_bytes); }
};

seen load_often(const char* library, void (*use)(HMODULE), unsigned count, bool goes) {
  seen result{true, {}, {}};
  for (unsigned n = 0; n != count && result.as_promised; ++n) {
    if (n == count / 10) {
      result.first = measure_with_slots();
    }
    const HMODULE loaded = ::LoadLibraryA(library);
    if (loaded == nullptr) {
      std::fprintf(stderr, "%s, load %u: error %lu\n", library, n, ::GetLastError());
      std::exit(1);
    }
    use(loaded);
    ::FreeLibrary(loaded);
    result.as_promised = (::GetModuleHandleA(library) == nullptr) == goes;
  }
  result.last = measure_with_slots();
  return result;
}

}  // namespace

int main(int count, char** arguments) {
  const unsigned loads = count > 1 ? static_cast<unsigned>(std::atoi(arguments[1])) : 1000;
  print_heading();
  // Wine 8 loses 1.4 KB with each load of a system library that was not there, which this one brings with it.
  const seen others = load_often("libboost_filesystem.dll", use_nothing, loads, true);
  stays("another library", others.first, others.last);
  const seen unused = load_often("libqxfl.dll", use_nothing, loads, true);
  const bool unused_stays = stays("without use", unused.first, unused.last, others.heap_growth());
  const seen kept = load_often("libqxfl.dll", use_for_good, loads, false);
  const bool kept_stays = stays("with use", kept.first, kept.last);
  return unused.as_promised && unused_stays && kept.as_promised && kept_stays ? 0 : 1;
}
