# The C++ run-time's demangler in the form that needs no heap, which termination reports use. The run-time's DLL has it
# but does not export it, so its one object is taken out of the static library of the same compiler: the rest of that
# library must not come along, or there would be two C++ run-times. Sets qxfl_demangler to an archive of it.

execute_process(COMMAND ${qxfl_run_time_compiler} -print-file-name=libsupc++.a
                OUTPUT_VARIABLE supcxx OUTPUT_STRIP_TRAILING_WHITESPACE)
set(folder "${PROJECT_BINARY_DIR}/demangler")
set(qxfl_demangler "${folder}/libqxfl_demangler.a")
if(NOT EXISTS "${qxfl_demangler}")
  file(MAKE_DIRECTORY "${folder}")
  execute_process(COMMAND ${CMAKE_AR} x "${supcxx}" cp-demangle.o WORKING_DIRECTORY "${folder}")
  execute_process(COMMAND ${CMAKE_AR} rcs "${qxfl_demangler}" cp-demangle.o WORKING_DIRECTORY "${folder}" RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "no demangler (cp-demangle.o) was found in the compiler's static C++ run-time (${supcxx})")
  endif()
endif()
