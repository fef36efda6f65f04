# The installed package serves projects of their own: installs into a fresh folder, builds examples/first against it as
# the README says, and runs the program there. Another has messages, which are checked again when one changes. Run by
# CTest as
#   cmake -D SOURCE=… -D BUILD=… -D PREFIX_PATH=… -D TOOLCHAIN=… -D EMULATOR=… -P package_test.cmake

set(work "${BUILD}/package_test")
file(REMOVE_RECURSE "${work}")

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed: ${result}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run("the installation" "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${work}/elsewhere")
file(RENAME "${work}/elsewhere" "${work}/installed")  # It may be moved.
set(configure "${CMAKE_COMMAND}" -S "${SOURCE}/examples/first" -G Ninja --toolchain "${TOOLCHAIN}"
              -D "CMAKE_RUNTIME_OUTPUT_DIRECTORY=${work}/installed/bin")
# In the environment the folders are parted by colons, which no list here takes apart.
set(ENV{CMAKE_PREFIX_PATH} "${work}/installed")
execute_process(COMMAND ${configure} -B "${work}/refused" OUTPUT_QUIET RESULT_VARIABLE result ERROR_VARIABLE output)
if(result EQUAL 0 OR NOT output MATCHES "headers of Boost were not found\\. +Set +Boost_ROOT")
  message(FATAL_ERROR "without Boost the configuration ended otherwise: ${result}\n${output}")
endif()
set(ENV{CMAKE_PREFIX_PATH} "${work}/installed:${PREFIX_PATH}")
run("the configuration" ${configure} -B "${work}/build")
file(STRINGS "${work}/build/CMakeCache.txt" walked REGEX "^[Bb]oost.*_DIR")
if(walked)
  message(FATAL_ERROR "package files of Boost were read, which takes most of a minute: ${walked}")
endif()
run("the build" "${CMAKE_COMMAND}" --build "${work}/build")
run("the program" "${EMULATOR}" "${work}/installed/bin/first.exe")
if(NOT output MATCHES "[1-9][0-9]* lines, exit status 0")
  message(FATAL_ERROR "the program printed something else:\n${output}")
endif()

# ---- messages ----

set(shop "${work}/shop")
file(WRITE "${shop}/CMakeLists.txt" "cmake_minimum_required(VERSION 3.25)
project(shop LANGUAGES CXX)
find_package(qxfl REQUIRED)
add_executable(shop shop.cpp)
target_link_libraries(shop PRIVATE qxfl::kit)
qxfl_add_message_catalog(TARGET shop DIRECTORY messages)
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
  run("the program" "${CMAKE_COMMAND}" -E env QX_MESSAGE_PATH= "${EMULATOR}" "${work}/installed/bin/shop.exe")
  if(NOT output MATCHES "^${text}")
    message(FATAL_ERROR "${text} is expected, but the program printed\n${output}")
  endif()
endfunction()

file(WRITE "${shop}/messages/en/SHOP.json" "{\"few\": \"Only {0} are left\"}")
list(TRANSFORM configure REPLACE "^.*/examples/first$" "${shop}")
run("the configuration" ${configure} -B "${work}/shop_build")
expect_said("Only 3 are left")
file(WRITE "${shop}/messages/en/SHOP.json" "{\"few\": \"{0} are left\"}")
expect_said("3 are left")
file(WRITE "${shop}/messages/de/SHOP.json" "{\"few\": \"Noch wenige\"}")
execute_process(COMMAND "${CMAKE_COMMAND}" --build "${work}/shop_build" RESULT_VARIABLE result OUTPUT_VARIABLE output
                ERROR_VARIABLE output)
if(result EQUAL 0 OR NOT output MATCHES "de/SHOP.json:1: error: the marks of \"few\" are none, but {0} in ")
  message(FATAL_ERROR "a fault in a new catalog did not end the build: ${result}\n${output}")
endif()
