# Whether a compiler goes with the libraries. Installed beside the package configuration, which compares a client's
# compiler with the one that the package was made with.

# qxfl_ask_compiler(CRT LIBRARY)
#
# CRT: the C run-time that the compiler's programs use, "msvcrt" or "UCRT". LIBRARY: its C++ library, "libstdc++" or
# "libc++", with what is peculiar behind it. Both are empty if that cannot be told. Only preprocesses: a twentieth of a
# second.
function(qxfl_ask_compiler crt library)
  set(${crt} "" PARENT_SCOPE)
  set(${library} "" PARENT_SCOPE)
  set(source "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/qxfl_compiler.cpp")
  file(WRITE "${source}" "#include <cstdlib>\n")
  separate_arguments(flags NATIVE_COMMAND "${CMAKE_CXX_COMPILER_ARG1} ${CMAKE_CXX_FLAGS}")
  if(CMAKE_CXX_COMPILER_TARGET)
    list(APPEND flags "--target=${CMAKE_CXX_COMPILER_TARGET}")
  endif()
  if(CMAKE_SYSROOT)
    list(APPEND flags "--sysroot=${CMAKE_SYSROOT}")
  endif()
  execute_process(COMMAND "${CMAKE_CXX_COMPILER}" ${flags} -E -dM "${source}"
                  OUTPUT_VARIABLE macros ERROR_QUIET RESULT_VARIABLE failed)
  if(failed)
    return()
  endif()
  if(macros MATCHES "#define _UCRT[ \r\n]")
    set(${crt} UCRT PARENT_SCOPE)
  else()
    set(${crt} msvcrt PARENT_SCOPE)
  endif()
  if(macros MATCHES "#define _LIBCPP_VERSION ")
    set(${library} libc++ PARENT_SCOPE)
  elseif(macros MATCHES "#define __GLIBCXX__ ")
    set(text "libstdc++")
    if(NOT macros MATCHES "#define _GLIBCXX_USE_CXX11_ABI 1")
      string(APPEND text " with its old strings")
    endif()
    if(NOT macros MATCHES "#define _GLIBCXX_HAS_GTHREADS 1")
      string(APPEND text " without threads")
    endif()
    if(NOT macros MATCHES "#define __SEH__ 1")
      string(APPEND text " without SEH")
    endif()
    set(${library} "${text}" PARENT_SCOPE)
  endif()
endfunction()

# qxfl_check_compiler(PROBLEM CRT LIBRARY): what keeps the compiler of this project from using libraries that were made for
# that C run-time and that C++ library, or nothing.
function(qxfl_check_compiler problem crt library)
  set(${problem} "" PARENT_SCOPE)
  set(wanted "GCC or clang for 64-bit MinGW, with the C run-time ${crt} and the C++ library ${library}")
  if(NOT CMAKE_CXX_COMPILER_LOADED)
    set(${problem} "qxfl is a library for C++: enable the language CXX before find_package(qxfl)." PARENT_SCOPE)
  elseif(NOT WIN32 OR NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(${problem} "This qxfl is for 64-bit Windows, and ${CMAKE_CXX_COMPILER} makes programs for something else. It needs \
${wanted}; in a cross build, name it by a toolchain file." PARENT_SCOPE)
  elseif(MSVC OR NOT CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    set(${problem} "This qxfl needs ${wanted}: programs of ${CMAKE_CXX_COMPILER_ID} (${CMAKE_CXX_COMPILER}) name and throw \
otherwise, and cannot be linked with it." PARENT_SCOPE)
  else()
    qxfl_ask_compiler(my_crt my_library)
    set(remedy "Take a compiler of that kind, or a qxfl that was built with yours: CMake builds it from its sources.")
    if(my_crt AND NOT my_crt STREQUAL crt)
      set(${problem} "This qxfl was made for the C run-time ${crt}, and ${CMAKE_CXX_COMPILER} makes programs for ${my_crt}: \
memory, files and the environment of the one are not those of the other. It needs ${wanted}. ${remedy}" PARENT_SCOPE)
    elseif(my_library AND NOT my_library STREQUAL library)
      set(${problem} "This qxfl was made with the C++ library ${library}, and ${CMAKE_CXX_COMPILER} uses ${my_library}: their \
strings, streams and exceptions differ. It needs ${wanted}. ${remedy}" PARENT_SCOPE)
    endif()
  endif()
endfunction()
