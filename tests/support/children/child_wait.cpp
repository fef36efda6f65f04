// child_wait [EVENT_NAME]
//
// Without a name: writes "ready\n" to standard output, waits until standard input ends, and ends with 0. With a name:
// waits until that event is set and ends with 0; its standard streams are left alone, since a child that inherits
// nothing has none.
#include "child_io.hpp"

int wmain(int count, wchar_t** arguments) {
  if (count > 1) {
    const HANDLE event = ::OpenEventW(SYNCHRONIZE, FALSE, arguments[1]);
    return ::WaitForSingleObject(event, INFINITE) == WAIT_OBJECT_0 ? 0 : child::io_error;
  }
  if (!child::write_all(child::out, "ready\n")) {
    return child::io_error;
  }
  char dropped = 0;
  DWORD got = 0;
  while (::ReadFile(child::in, &dropped, 1, &got, nullptr) && got != 0) {
  }
  return 0;
}
