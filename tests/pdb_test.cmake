# A crash report names functions by PDB files alone: those of the program and of a DLL. Without them it still says where in
# which module. Run by CTest as
#   cmake -D PROGRAMS=… -D OBJDUMP=… -D WORK=… -D EMULATOR=… -P pdb_test.cmake

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
file(GLOB libraries RELATIVE "${PROGRAMS}" "${PROGRAMS}/lib*.dll" "${PROGRAMS}/libqx*.pdb")
foreach(name IN ITEMS crash_report.exe crash_report.pdb ${libraries})
  file(COPY_FILE "${PROGRAMS}/${name}" "${WORK}/${name}")
endforeach()

foreach(name IN ITEMS crash_report.exe libqxfl.dll libqxkit.dll)
  execute_process(COMMAND "${OBJDUMP}" -h -p "${WORK}/${name}" OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
  get_filename_component(stem "${name}" NAME_WE)
  if(headers MATCHES "\\.debug_" OR NOT headers MATCHES " pdb ${stem}\\.pdb\\)")
    message(FATAL_ERROR "${name} has debug information of its own, or names no PDB file without its folder:\n${headers}")
  endif()
endforeach()

# expect_stack(KIND module functions…): the stack that the report of this death shows begins, or goes on, with these
# functions of the module; "-" is a line without a function.
function(expect_stack kind module)
  execute_process(COMMAND ${EMULATOR} "${WORK}/crash_report.exe" ${kind} RESULT_VARIABLE status OUTPUT_QUIET
                  ERROR_VARIABLE report)
  if(status EQUAL 0 OR NOT report MATCHES "Stack Trace [^\n]*\n(.*)")
    message(FATAL_ERROR "crash_report ${kind} ended with ${status} and without a stack:\n${report}")
  endif()
  set(stack "${CMAKE_MATCH_1}")
  set(pattern "")
  foreach(function IN LISTS ARGN)
    string(APPEND pattern "[^\n]*${module}\\+[0-9]+")
    if(NOT function STREQUAL "-")
      string(APPEND pattern " ${function}\\+[0-9]+")
    endif()
    string(APPEND pattern "\r?\n")
  endforeach()
  if(NOT stack MATCHES "${pattern}")
    message(FATAL_ERROR "no lines with ${ARGN} of ${module} stand in\n${stack}")
  endif()
  # The offset is that from where the module lies, which is at a multiple of 64 KB.
  string(REGEX MATCH "(0x[0-9a-f]+) [^\n]*crash_report\\.exe\\+0*([0-9]+)" line "${stack}")
  math(EXPR rest "(${CMAKE_MATCH_1} - ${CMAKE_MATCH_2}) % 65536")
  if(NOT rest EQUAL 0)
    message(FATAL_ERROR "a wrong offset: ${line}")
  endif()
endfunction()

set(core "foundation::core::diag")
expect_stack(fault crash_report.exe distance_of length_of plan_route)
expect_stack(assert libqxfl.dll ${core}::stacktrace_base::capture ${core}::write_report)
file(RENAME "${WORK}/crash_report.pdb" "${WORK}/away.pdb")
expect_stack(fault crash_report.exe - - -)
file(RENAME "${WORK}/libqxfl.pdb" "${WORK}/away.pdb")
expect_stack(assert libqxfl.dll - -)
