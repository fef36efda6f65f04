# The source tree serves a project that contains it, by add_subdirectory and by FetchContent, and leaves that project
# alone. Run by CTest as
#   cmake -D SOURCE=… -D BUILD=… -D SETTINGS=… -D EMULATOR=… -P tree_test.cmake
# SETTINGS has the initial cache. Objects that were compiled in the same way in BUILD are taken from there (reuse_object).
cmake_policy(VERSION 3.25)

set(work "${BUILD}/tree_test")
file(REMOVE_RECURSE "${work}")

include("${CMAKE_CURRENT_LIST_DIR}/run.cmake")

# The parent has targets with the names of ours, and settings of its own, which hold after ours have come.
set(parent "cmake_minimum_required(VERSION 3.25)
project(parent VERSION 7.8 LANGUAGES CXX)
foreach(name IN ITEMS fl kit i18n mobservation safe_env tests)
  add_custom_target(\${name})
endforeach()
@folder@
get_cmake_property(before VARIABLES)
@way@
foreach(name IN ITEMS CMAKE_CXX_STANDARD CMAKE_CXX_EXTENSIONS CMAKE_CXX_VISIBILITY_PRESET CMAKE_MODULE_PATH
                      CMAKE_RUNTIME_OUTPUT_DIRECTORY CMAKE_EXPORT_COMPILE_COMMANDS)
  if(DEFINED \${name} AND NOT name IN_LIST before AND NOT \"\${\${name}}\" STREQUAL \"\")
    message(FATAL_ERROR \"\${name} is set in the parent: \${\${name}}\")
  endif()
endforeach()
foreach(name IN ITEMS first tour launch_bench test_support qxfl_tests)
  if(TARGET \${name})
    message(FATAL_ERROR \"the parent got the target \${name}\")
  endif()
endforeach()
add_executable(program \"@source@\")
target_link_libraries(program PRIVATE @library@)
@end@
")

function(expect_program name way library source text)
  set(end "qxfl_place_dlls(program)")
  set(program "${work}/${name}_build/program.exe")
  if(name STREQUAL FetchContent)
    # A parent with one folder for all programs gets the DLLs there, those that it links.
    set(folder "set(CMAKE_RUNTIME_OUTPUT_DIRECTORY \"\${CMAKE_BINARY_DIR}/programs\")")
    set(end "")
    set(program "${work}/${name}_build/programs/program.exe")
  endif()
  string(CONFIGURE "${parent}" project @ONLY)
  file(WRITE "${work}/${name}/CMakeLists.txt" "${project}")
  run("the configuration by ${name}" "${CMAKE_COMMAND}" -S "${work}/${name}" -B "${work}/${name}_build" -G Ninja
      -C "${SETTINGS}")
  run("the build by ${name}" "${CMAKE_COMMAND}" --build "${work}/${name}_build" --target program)
  run("the program by ${name}" "${EMULATOR}" "${program}")
  expect("${text}")
endfunction()

expect_program(add_subdirectory "add_subdirectory(\"${SOURCE}\" tree)" qxfl::fl "${SOURCE}/examples/first/first.cpp"
               "[1-9][0-9]* lines, exit status 0")
file(WRITE "${work}/text.cpp" "#include <i18n/convert.hpp>
#include <iostream>
int main() { std::cout << fl::i18n::utf8_to_ustring(\"\\xe4\\xbd\\xa0\").size() << \" unit\"; }
")
expect_program(FetchContent "include(FetchContent)
FetchContent_Declare(qxfl SOURCE_DIR \"${SOURCE}\")
FetchContent_MakeAvailable(qxfl)" qxfl::i18n "${work}/text.cpp" "^1 unit")
