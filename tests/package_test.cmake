# The package serves projects of their own: its archive is made twice, unpacked elsewhere, and used by find_package and by
# pkg-config, and what it cannot serve is refused in words. Run by CTest as
#   cmake -D SOURCE=… -D BUILD=… -D COMPILER=… -D FLAGS=… -D TOOLCHAIN=… -D EMULATOR=… -P package_test.cmake
cmake_policy(VERSION 3.25)

set(work "${BUILD}/package test")  # Any path does, also one with a blank.
file(REMOVE_RECURSE "${work}")
unset(ENV{CMAKE_PREFIX_PATH})

include("${CMAKE_CURRENT_LIST_DIR}/run.cmake")

# The command fails, and says why.
function(expect_refusal text)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  string(REGEX REPLACE "[ \r\n]+" " " output "${output}")
  if(result EQUAL 0)
    message(FATAL_ERROR "what is to be refused was accepted:\n${output}")
  endif()
  expect("${text}")
endfunction()

# ---- archives ----

foreach(folder IN ITEMS first second)
  run("the packaging" "${SOURCE}/tools/package" "${BUILD}" "${work}/${folder}")
  file(GLOB archives RELATIVE "${work}/${folder}" "${work}/${folder}/*.zip")
  list(LENGTH archives count)
  if(NOT count EQUAL 2)
    message(FATAL_ERROR "two archives are expected, but there are ${archives}")
  endif()
  foreach(archive IN LISTS archives)
    file(SHA256 "${work}/${folder}/${archive}" sum)
    list(APPEND ${folder}_sums "${archive} ${sum}")
  endforeach()
endforeach()
if(NOT first_sums STREQUAL second_sums)
  message(FATAL_ERROR "the same build gave other archives:\n${first_sums}\n${second_sums}")
endif()
list(FILTER archives EXCLUDE REGEX symbols)
file(ARCHIVE_EXTRACT INPUT "${work}/first/${archives}" DESTINATION "${work}/elsewhere")
get_filename_component(name "${archives}" NAME_WLE)
string(REGEX MATCH "^.*-win64" name "${archives}")
set(package "${work}/elsewhere/${name}")

# ---- find_package ----

set(configure "${CMAKE_COMMAND}" -G Ninja --toolchain "${TOOLCHAIN}" -D "CMAKE_PREFIX_PATH=${package}")
string(TIMESTAMP start "%s%f")
run("the configuration" ${configure} -S "${package}/examples/first" -B "${work}/first_build"
    -D "CMAKE_RUNTIME_OUTPUT_DIRECTORY=${package}/bin")
string(TIMESTAMP end "%s%f")
math(EXPR milliseconds "(${end} - ${start}) / 1000")
message(STATUS "configuring examples/first took ${milliseconds} ms")
run("the build" "${CMAKE_COMMAND}" --build "${work}/first_build")
run("the program" "${EMULATOR}" "${package}/bin/first.exe")
expect("[1-9][0-9]* lines, exit status 0")
expect_refusal("does not hold the headers of Boost 1" ${configure} -S "${package}/examples/first"
               -B "${work}/first_build" -D "QXFL_BOOST_INCLUDE=${work}")

# Each example is a project of its own; here they share a build.
file(GLOB examples "${package}/examples/*")
set(probe "${work}/probe")
file(WRITE "${probe}/CMakeLists.txt" "cmake_minimum_required(VERSION 3.25)
project(probe LANGUAGES CXX)
if(VERSION)
  find_package(qxfl \${VERSION} REQUIRED)
endif()
foreach(example IN LISTS EXAMPLES)
  get_filename_component(name \"\${example}\" NAME)
  add_subdirectory(\"\${example}\" \${name})
endforeach()
")
file(WRITE "${probe}/examples.cmake" "set(EXAMPLES [[${examples}]] CACHE STRING \"\")\n")
expect_refusal("compatible with requested version \"9\"" ${configure} -S "${probe}" -B "${work}/probe_build" -D VERSION=9)
run("the configuration" ${configure} -S "${probe}" -B "${work}/probe_build" -U VERSION
    -C "${probe}/examples.cmake")
run("the build" "${CMAKE_COMMAND}" --build "${work}/probe_build")
run("the program" "${EMULATOR}" "${work}/probe_build/which/which.exe" cmd)
expect("cmd\\.exe")

# ---- messages ----

set(shop "${work}/shop")
file(WRITE "${shop}/CMakeLists.txt" "cmake_minimum_required(VERSION 3.25)
project(shop LANGUAGES CXX)
find_package(qxfl REQUIRED)
add_executable(shop shop.cpp)
target_link_libraries(shop PRIVATE qxfl::kit)
qxfl_add_message_catalog(TARGET shop DIRECTORY messages)
qxfl_place_dlls(shop)
")
file(WRITE "${shop}/shop.cpp" "#include <kit/user_error.hpp>
#include <shop_messages.hpp>
#include <iostream>
struct few : foundation::kit::user_error<few> {
  few() : user_error(shop_messages::SHOP::few(3)) {}
};
int main() try {
  throw few();
} catch (const std::exception& e) {
  std::cout << e.what();
}
")

# Builds and runs the program, which is to say this.
function(expect_said text)
  run("the build" "${CMAKE_COMMAND}" --build "${work}/shop_build")
  run("the program" "${CMAKE_COMMAND}" -E env QX_MESSAGE_PATH= "${EMULATOR}" "${work}/shop_build/shop.exe")
  expect("^${text}")
endfunction()

file(WRITE "${shop}/messages/en/SHOP.json" "{\"few\": \"Only {0} are left\"}")
run("the configuration" ${configure} -S "${shop}" -B "${work}/shop_build")
expect_said("Only 3 are left")
file(WRITE "${shop}/messages/en/SHOP.json" "{\"few\": \"{0} are left\"}")
expect_said("3 are left")
file(WRITE "${shop}/messages/de/SHOP.json" "{\"few\": \"Noch wenige\"}")
expect_refusal("de/SHOP.json:1: error: the marks of \"few\" are none, but {0} in " "${CMAKE_COMMAND}" --build "${work}/shop_build")

# ---- pkg-config ----

find_program(pkg_config NAMES pkg-config pkgconf REQUIRED)
set(ENV{PKG_CONFIG_LIBDIR} "${package}/lib/pkgconfig")
run("pkg-config" "${pkg_config}" --cflags --libs qxkit)
separate_arguments(flags UNIX_COMMAND "${FLAGS} ${output}")
run("the compiler" "${COMPILER}" "${package}/examples/first/first.cpp" -o "${package}/bin/second.exe" ${flags})
run("the program" "${EMULATOR}" "${package}/bin/second.exe")
expect("[1-9][0-9]* lines, exit status 0")
file(GLOB names RELATIVE "${package}/lib/pkgconfig" "${package}/lib/pkgconfig/*.pc")
list(TRANSFORM names REPLACE "\\.pc$" "")
run("pkg-config" "${pkg_config}" --validate ${names})

# ---- compilers that do not fit ----

include("${package}/lib/cmake/qxfl/QxflCompiler.cmake")
set(CMAKE_CXX_COMPILER "${COMPILER}")
set(CMAKE_CURRENT_BINARY_DIR "${work}")
set(WIN32 1)
set(CMAKE_CXX_COMPILER_LOADED 1)
set(CMAKE_CXX_COMPILER_ID GNU)
set(CMAKE_SIZEOF_VOID_P 8)

function(expect_problem text)
  qxfl_check_compiler(output ${crt} ${library})
  expect("${text}")
endfunction()

set(CMAKE_CXX_FLAGS "${FLAGS}")
qxfl_ask_compiler(crt library)
expect_problem("^$")
set(CMAKE_CXX_FLAGS "${FLAGS} -D_GLIBCXX_USE_CXX11_ABI=0")
expect_problem("uses libstdc\\+\\+ with its old strings")
set(CMAKE_CXX_FLAGS "${FLAGS} -D_UCRT")
set(crt msvcrt)
expect_problem("C run-time msvcrt, and .* makes programs for UCRT")
set(CMAKE_CXX_COMPILER_ID MSVC)
expect_problem("needs GCC or clang")
set(CMAKE_SIZEOF_VOID_P 4)
expect_problem("for 64-bit Windows")
