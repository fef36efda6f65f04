# Puts the shared run-time libraries (the compiler's and Boost's) beside the programs, at configure time.

function(qxfl_copy_beside_programs file)
  get_filename_component(name "${file}" NAME)
  file(MAKE_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
  file(COPY_FILE "${file}" "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}" ONLY_IF_DIFFERENT)
endfunction()

# The one whose run-time it is: clang uses that of a GCC, which toolchain-clang.cmake names.
set(qxfl_run_time_compiler "${CMAKE_CXX_COMPILER}")
if(CMAKE_CXX_COMPILER_ID MATCHES Clang AND QXFL_CROSS_CXX)
  set(qxfl_run_time_compiler "${QXFL_CROSS_CXX}")
endif()

foreach(name IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${qxfl_run_time_compiler} -print-file-name=${name} OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT EXISTS "${file}")
    set(file "${CMAKE_FIND_ROOT_PATH}/lib/${name}")
  endif()
  if(EXISTS "${file}")
    file(REAL_PATH "${file}" file)
    qxfl_copy_beside_programs("${file}")
    list(APPEND qxfl_runtime_dlls "${file}")
  elseif(CMAKE_CROSSCOMPILING)
    message(FATAL_ERROR "the compiler's run-time library ${name} was not found beside ${qxfl_run_time_compiler}")
  endif()
endforeach()

# Boost's libraries refer to each other, so the whole set is copied.
get_filename_component(boost_programs "${QXFL_BOOST_INCLUDE}/../bin" ABSOLUTE)
file(GLOB boost_dlls "${boost_programs}/libboost_*.dll" "${boost_programs}/boost_*.dll")
foreach(file IN LISTS boost_dlls)
  qxfl_copy_beside_programs("${file}")
  list(APPEND qxfl_runtime_dlls "${file}")
endforeach()
