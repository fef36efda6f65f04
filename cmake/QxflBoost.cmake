# Finds Boost by its headers and import libraries. Boost's own package files are left alone: each of them reads those of
# all the libraries that its own needs, again for every path that leads there, which took most of a minute.
#
# Installed beside the package configuration, which needs the same libraries of a client's Boost as our interface does.

# qxfl_find_boost(PROBLEM libraries…)
#
# Makes the targets Boost::headers and Boost::<library>, those excepted that the project has already. Looked for under
# Boost_ROOT and CMAKE_PREFIX_PATH (variables or of the environment), and where the compiler's own libraries lie; the
# libraries lie in "lib" beside the folder of the headers. The cache variables QXFL_BOOST_INCLUDE and
# QXFL_BOOST_<LIBRARY> say where they were found, and may be set to find what has another name. Sets PROBLEM to what is
# wrong, or to nothing.
function(qxfl_find_boost problem)
  set(${problem} "" PARENT_SCOPE)
  set(remedy "Set Boost_ROOT or CMAKE_PREFIX_PATH to the folder that Boost 1.81 or newer is installed in")

  # Folders as they are named; those alone that are meant for Boost first. Then those of the cross compiler.
  find_path(QXFL_BOOST_INCLUDE boost/version.hpp HINTS ${Boost_ROOT} ENV Boost_ROOT PATH_SUFFIXES include
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  find_path(QXFL_BOOST_INCLUDE boost/version.hpp
            NO_CMAKE_FIND_ROOT_PATH NO_CMAKE_SYSTEM_PATH NO_SYSTEM_ENVIRONMENT_PATH)
  find_path(QXFL_BOOST_INCLUDE boost/version.hpp)
  mark_as_advanced(QXFL_BOOST_INCLUDE)
  if(NOT QXFL_BOOST_INCLUDE)
    set(${problem} "The headers of Boost were not found. ${remedy}." PARENT_SCOPE)
    return()
  endif()
  file(STRINGS "${QXFL_BOOST_INCLUDE}/boost/version.hpp" version REGEX "^#define BOOST_VERSION [0-9]+")
  if(NOT version MATCHES "([0-9]+)$" OR CMAKE_MATCH_1 LESS 108100)
    set(${problem} "The headers in ${QXFL_BOOST_INCLUDE} are of an older Boost. ${remedy}." PARENT_SCOPE)
    unset(QXFL_BOOST_INCLUDE CACHE)  # The next try may look elsewhere.
    return()
  endif()
  if(NOT TARGET Boost::headers)
    add_library(Boost::headers INTERFACE IMPORTED)
    set_target_properties(Boost::headers PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${QXFL_BOOST_INCLUDE}")
  endif()

  get_filename_component(library_folder "${QXFL_BOOST_INCLUDE}/../lib" ABSOLUTE)
  set(CMAKE_FIND_LIBRARY_SUFFIXES .dll.a)  # Futures have state in Boost's DLL, which both sides must share.
  foreach(library IN LISTS ARGN)
    if(TARGET Boost::${library})
      continue()
    endif()
    string(TOUPPER "${library}" upper)
    find_library(QXFL_BOOST_${upper} NAMES boost_${library} boost_${library}-mt boost_${library}-mt-x64
                 HINTS "${library_folder}" NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    mark_as_advanced(QXFL_BOOST_${upper})
    if(NOT QXFL_BOOST_${upper})
      set(${problem} "The headers of Boost are in ${QXFL_BOOST_INCLUDE}, but ${library_folder} has no \
libboost_${library}.dll.a, -mt.dll.a or -mt-x64.dll.a. ${remedy}, or QXFL_BOOST_${upper} to that library." PARENT_SCOPE)
      unset(QXFL_BOOST_INCLUDE CACHE)
      return()
    endif()
    add_library(Boost::${library} UNKNOWN IMPORTED)
    set_target_properties(Boost::${library} PROPERTIES
      IMPORTED_LOCATION "${QXFL_BOOST_${upper}}"
      INTERFACE_COMPILE_DEFINITIONS BOOST_${upper}_DYN_LINK
      INTERFACE_LINK_LIBRARIES Boost::headers)
  endforeach()
endfunction()
