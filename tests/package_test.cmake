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

run("the installation" "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${work}/installed")
# In the environment the folders are parted by colons, which no list here takes apart.
set(ENV{CMAKE_PREFIX_PATH} "${work}/installed:${PREFIX_PATH}")
run("the configuration" "${CMAKE_COMMAND}" -S "${SOURCE}/examples/first" -B "${work}/build" -G Ninja
    --toolchain "${TOOLCHAIN}" -D "CMAKE_RUNTIME_OUTPUT_DIRECTORY=${work}/installed/bin")
run("the build" "${CMAKE_COMMAND}" --build "${work}/build")
run("the program" "${EMULATOR}" "${work}/installed/bin/first.exe")
if(NOT output MATCHES "[1-9][0-9]* lines, exit status 0")
  message(FATAL_ERROR "the program printed something else:\n${output}")
endif()
