# toolchain-mingw.cmake with the older C run-time, which is part of every Windows.

set(QXFL_CRT msvcrt)
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw.cmake")
