#include "mem/plugin.hpp"

#include "common/windows/own_folder.hpp"
#include "common/windows/procedure.hpp"
#include "loggers.hpp"

#include <windows.h>

#include <cstring>
#include <string>

namespace foundation::core::sysdep::windows {

namespace {

constexpr const char* file_name = "libqxtools_mobservation.dll";
constexpr const char* symbol = "mobserveradminapiinit";

using init_function = int (*)(int enabled);

template <class... Parts>
void note(const Parts&... parts) {
  loggers::mobservation.log(log::severity::note, parts...);
}

// What it needs lies beside it, or is the system's: never in the current directory, nor along PATH.
HMODULE load_plugin() {
  constexpr DWORD where = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
  const std::wstring folder = own_folder();
  const std::wstring name(file_name, file_name + std::strlen(file_name));
  return folder.empty() ? nullptr : LoadLibraryExW((folder + name).c_str(), nullptr, where);
}

int run_plugin(bool enabled) {
  const HMODULE plugin = load_plugin();
  if (plugin == nullptr) {
    note("Failed to load Plugin '", file_name, "'");
    return 0;
  }
  const auto init = find_procedure<init_function>(plugin, symbol);
  if (init == nullptr) {
    note("Failed to find symbol '", symbol, "'");
    return 0;
  }
  const int result = init(enabled ? 1 : 0);
  note(symbol, " returned ", result);
  return result;
}

}  // namespace

int load_and_run_plugin(bool enabled) {
  const int result = run_plugin(enabled);
  note("load_and_run_plugin returns ", result);
  return result;
}

}  // namespace foundation::core::sysdep::windows
