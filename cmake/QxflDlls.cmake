# Programs find their DLLs beside themselves. Installed beside the package configuration.

# qxfl_place_dlls(programs…)
#
# Copies the DLLs of the libraries and of their run-times, and the helper that writes dumps, beside each program, a
# target of this directory, when it has been linked. All of them: which ones a program loads may change as it runs.
function(qxfl_place_dlls)
  get_property(files GLOBAL PROPERTY QXFL_DLLS)
  foreach(program IN LISTS ARGN)
    add_custom_command(TARGET ${program} POST_BUILD
      COMMAND "${CMAKE_COMMAND}" -E copy_if_different ${files} "$<TARGET_FILE_DIR:${program}>"
      VERBATIM)
  endforeach()
endfunction()
