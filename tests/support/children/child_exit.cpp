// child_exit CODE [DELAY_MS]
//
// Ends with the 32-bit code (decimal, negative or 0x…) after the delay.
#include "child_io.hpp"

#include <cwchar>

int wmain(int count, wchar_t** arguments) {
  if (count > 2) {
    ::Sleep(static_cast<DWORD>(std::wcstoul(arguments[2], nullptr, 0)));
  }
  // Through 64 bits: the C run-time's long has 32, which 4294967295 or -1 would not both fit.
  ::ExitProcess(static_cast<UINT>(std::wcstoll(arguments[1], nullptr, 0)));
}
