# toolchain-mingw.cmake with the UCRT as the C run-time.

set(QXFL_CRT ucrt)
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw.cmake")
