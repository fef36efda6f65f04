// An empty program, linked in three ways for start_bench: with the library, with the run-time libraries alone that it
// brings along, and with these and as many empty libraries as ours are.
//
//   start_child           ends with 0
//   start_child modules   writes the names of the modules that the process consists of, one a line

#include <windows.h>
#include <tlhelp32.h>

#include <cstdio>
#include <cstring>

#if defined(START_WITH_LIBRARY)
#include <fl/diag/terminate.hpp>
#else
#include <boost/filesystem/operations.hpp>
#include <boost/json/parse.hpp>
#include <boost/log/core/core.hpp>
#include <boost/thread/thread.hpp>

#include <stdexcept>
#endif
#if defined(START_WITH_EMPTY_LIBRARIES)
#include "start_empty.hpp"
#endif

namespace {

// One function of each library is enough to load it; none of these runs.
int use_libraries() {
#if defined(START_WITH_LIBRARY)
  return foundation::core::diag::terminate_called();
#else
  boost::this_thread::interruption_point();
  boost::log::core::get()->flush();
  if (boost::filesystem::current_path().empty() || boost::json::parse("1").is_null()) {
    throw std::runtime_error("never");
  }
#endif
#if defined(START_WITH_EMPTY_LIBRARIES)
  return empty_1() + empty_2() + empty_3() + empty_4() + empty_5() + empty_6() + empty_7();
#endif
  return 0;
}

int write_modules() {
  const HANDLE modules = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0);
  MODULEENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Module32FirstW(modules, &entry); more; more = Module32NextW(modules, &entry)) {
    std::printf("%ls\n", entry.szModule);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && !std::strcmp(argv[1], "modules")) {
    return write_modules();
  }
  return argc > 1 ? use_libraries() : 0;
}
