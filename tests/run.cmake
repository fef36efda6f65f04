# For tests that are scripts of CMake.

# run(WHAT COMMAND…): the command succeeds; all that it writes is then in `output`.
function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed: ${result}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# What was run last wrote something that matches.
function(expect text)
  if(NOT output MATCHES "${text}")
    message(FATAL_ERROR "${text} is expected, but there is\n${output}")
  endif()
endfunction()
