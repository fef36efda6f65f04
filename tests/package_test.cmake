# The installed package serves a project of its own: installs into a fresh folder, builds examples/first against it as
# the README says, and runs the program there. Run by CTest as
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
