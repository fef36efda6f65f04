# Cross-compiles for 64-bit Windows on x86-64 with clang and lld, for the PDB files that they write: Windows' own symbol
# service reads nothing else. Headers, C++ run-time and start-up code are those of the GCC that toolchain-mingw.cmake would
# take, so both compilers' programs go with the same dependencies and with each other's libraries.
#
# QXFL_CROSS_CXX is that GCC's g++, found unless set; its name begins with the triple, which says which C run-time all
# programs use (x86_64-w64-mingw32ucrt: the UCRT). QXFL_CLANG is the clang++ to use.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QXFL_CROSS_CXX QXFL_CLANG)

find_program(QXFL_CROSS_CXX NAMES x86_64-w64-mingw32ucrt-g++-posix x86_64-w64-mingw32ucrt-g++
                                  x86_64-w64-mingw32-g++-posix x86_64-w64-mingw32-g++)
if(NOT QXFL_CROSS_CXX)
  message(FATAL_ERROR "no cross compiler for 64-bit Windows (x86_64-w64-mingw32-g++), whose run-time clang's programs use; \
run ./dev setup")
endif()
find_program(QXFL_CLANG NAMES clang++-19 clang++)
if(NOT QXFL_CLANG)
  message(FATAL_ERROR "no clang++; install clang-19 and lld-19, or set QXFL_CLANG")
endif()

string(REGEX REPLACE "-g\\+\\+(-posix)?$" "" qxfl_tools "${QXFL_CROSS_CXX}")
get_filename_component(qxfl_triple "${qxfl_tools}" NAME)
string(REPLACE "clang++" "clang" qxfl_cc "${QXFL_CLANG}")

# Where that GCC has its own. Left to itself, clang takes the newest that it finds, and of those for one version any
# thread model.
execute_process(COMMAND "${QXFL_CROSS_CXX}" -E -v -x c++ /dev/null
                OUTPUT_QUIET ERROR_VARIABLE qxfl_search OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REGEX MATCHALL "\n [^\n]*/c\\+\\+[^\n]*" qxfl_search "${qxfl_search}")  # Its C++ headers: three folders.
set(qxfl_cxx_headers "-nostdinc++")
foreach(folder IN LISTS qxfl_search)
  string(STRIP "${folder}" folder)
  if(IS_DIRECTORY "${folder}")
    string(APPEND qxfl_cxx_headers " -isystem ${folder}")
  endif()
endforeach()
execute_process(COMMAND "${QXFL_CROSS_CXX}" -print-file-name=libstdc++.dll.a
                OUTPUT_VARIABLE qxfl_gcc_folder OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(qxfl_gcc_folder "${qxfl_gcc_folder}" DIRECTORY)

set(CMAKE_C_COMPILER "${qxfl_cc}")
set(CMAKE_CXX_COMPILER "${QXFL_CLANG}")
set(CMAKE_C_COMPILER_TARGET "${qxfl_triple}")
set(CMAKE_CXX_COMPILER_TARGET "${qxfl_triple}")
# GCC keeps thread-local variables in its own way, and the run-time has some that its headers' inline functions use. Of
# what older headers of the system and clang's both have (<intrin.h>, <cpuid.h>), clang's is taken, without its warning.
set(CMAKE_C_FLAGS_INIT "-femulated-tls -B${qxfl_gcc_folder} \
-D__INTRINSIC_DEFINED___cpuidex -D_CLANG_DISABLE_CRT_DEPRECATION_WARNINGS")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} ${qxfl_cxx_headers}")
foreach(kind IN ITEMS EXE SHARED MODULE)  # That GCC links the threads always, as its run-time needs them.
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -L${qxfl_gcc_folder} -pthread")
endforeach()

# GCC's binutils for everything besides: what inspects the result reads their form of output.
set(CMAKE_RC_COMPILER "${qxfl_tools}-windres")
foreach(tool IN ITEMS ar nm objcopy objdump ranlib strip)
  string(TOUPPER "${tool}" variable)
  set(CMAKE_${variable} "${qxfl_tools}-${tool}")
endforeach()
set(CMAKE_FIND_ROOT_PATH "/usr/${qxfl_triple}")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../tools/wine")
