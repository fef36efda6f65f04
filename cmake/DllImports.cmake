# What a DLL or a program asks the loader for. Also for scripts, with CMAKE_OBJDUMP set.

# qxfl_dll_imports(NAMES file): the names of the DLLs, as the file spells them.
function(qxfl_dll_imports names file)
  execute_process(COMMAND "${CMAKE_OBJDUMP}" -p "${file}" OUTPUT_VARIABLE headers ERROR_VARIABLE error RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "${CMAKE_OBJDUMP} does not read ${file}: ${error}")
  endif()
  string(REGEX MATCHALL "DLL Name: [^\r\n]+" found "${headers}")
  list(TRANSFORM found REPLACE "^DLL Name: " "")
  set(${names} "${found}" PARENT_SCOPE)
endfunction()

# qxfl_needed_dlls(NEEDED "candidates…" files…): those of the candidates, files, that one of the files imports, or another
# that is needed. What else is imported is the system's.
function(qxfl_needed_dlls needed candidates)
  set(found "")
  set(files ${ARGN})
  while(files)
    list(POP_FRONT files file)
    qxfl_dll_imports(names "${file}")
    string(TOLOWER "${names}" names)
    foreach(candidate IN LISTS candidates)
      get_filename_component(name "${candidate}" NAME)
      string(TOLOWER "${name}" name)
      if(name IN_LIST names AND NOT candidate IN_LIST found)
        list(APPEND found "${candidate}")
        list(APPEND files "${candidate}")
      endif()
    endforeach()
  endwhile()
  set(${needed} "${found}" PARENT_SCOPE)
endfunction()
