// The entry of the DLL. Each thread that begins comes by, so that it sets stack aside for the report of an overflow.
#include "crash/windows/stack_reserve.hpp"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_THREAD_ATTACH) {
    foundation::kit::reserve_stack();
  }
  return TRUE;
}
