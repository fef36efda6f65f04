#include <fl/diag/fast_exit.hpp>

#include <windows.h>

namespace foundation::core::app {

void fast_exit(int code) {
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
  for (;;) {
    __debugbreak();
  }
}

}  // namespace foundation::core::app
