# Cross-compiles for 64-bit Windows on x86-64. Takes the UCRT variant of the compiler where it is installed, and of the
# compilers the one with the posix thread model, which the standard threads need. toolchain-mingw-ucrt.cmake and
# toolchain-mingw-msvcrt.cmake settle the C run-time by QXFL_CRT.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(qxfl_compilers)
if(NOT QXFL_CRT STREQUAL msvcrt)
  list(APPEND qxfl_compilers x86_64-w64-mingw32ucrt-g++-posix x86_64-w64-mingw32ucrt-g++)
endif()
if(NOT QXFL_CRT STREQUAL ucrt)
  list(APPEND qxfl_compilers x86_64-w64-mingw32-g++-posix x86_64-w64-mingw32-g++)
endif()
find_program(QXFL_CROSS_CXX NAMES ${qxfl_compilers})
if(NOT QXFL_CROSS_CXX)
  string(REPLACE ";" " or " qxfl_compilers "${qxfl_compilers}")
  message(FATAL_ERROR "no cross compiler for 64-bit Windows (${qxfl_compilers}); run ./dev setup")
endif()

string(REGEX REPLACE "-g\\+\\+(-posix)?$" "" qxfl_tools "${QXFL_CROSS_CXX}")
string(REPLACE "-g++" "-gcc" qxfl_cc "${QXFL_CROSS_CXX}")
get_filename_component(qxfl_triple "${qxfl_tools}" NAME)
set(CMAKE_C_COMPILER "${qxfl_cc}")
set(CMAKE_CXX_COMPILER "${QXFL_CROSS_CXX}")
set(CMAKE_RC_COMPILER "${qxfl_tools}-windres")
set(CMAKE_FIND_ROOT_PATH "/usr/${qxfl_triple}")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../tools/wine")
