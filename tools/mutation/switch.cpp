// The state that all modules and processes of one run share is a file, whose name stands in QXFL_MUTANTS: what was
// reached is known even of a process that crashed.
#include "switch.hpp"

#include <cstdlib>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>

#include <fcntl.h>
#include <unistd.h>
#endif

namespace {
union {
  qxfl_mutants state;
  char room[65536];
} none = {};
}  // namespace

extern "C" {
qxfl_mutants* qxfl_mutants_state = &none.state;
}

namespace {

constexpr std::size_t size = sizeof(none);

// As early as possible; what runs before is as it was.
[[gnu::constructor(101)]] void map_state() {
  const char* name = std::getenv("QXFL_MUTANTS");
  if (name == nullptr) {
    return;
  }
#ifdef _WIN32
  const HANDLE file = CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  const HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, size, nullptr);
  void* place = MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, size);
  CloseHandle(mapping);
  CloseHandle(file);
  if (place != nullptr) {
    qxfl_mutants_state = static_cast<qxfl_mutants*>(place);
  }
#else
  const int file = open(name, O_RDWR | O_CLOEXEC);
  void* place = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (place != MAP_FAILED) {
    qxfl_mutants_state = static_cast<qxfl_mutants*>(place);
  }
#endif
}

}  // namespace
