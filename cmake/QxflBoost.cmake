# Finds Boost by its headers and import libraries. Boost's own package files are left alone: each of them reads those of
# all the libraries that its own needs, again for every path that leads there, which took most of a minute.
#
# Installed beside the package configuration, which asks for a client's Boost if the package brings none.

# qxfl_find_boost(PROBLEM libraries…)
#
# Makes the targets qxfl::boost_headers and qxfl::boost_<library>, seen everywhere: names of our own, so that a project
# may find a Boost for itself, before or after. Where it has a target Boost::<library> already, ours stands for that.
# Looked for under Boost_ROOT and CMAKE_PREFIX_PATH (variables or of the environment), and where the compiler's own
# libraries lie; "lib" beside the folder of the headers has the libraries. The cache variables QXFL_BOOST_INCLUDE and
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
  qxfl_read_boost_version(version "${QXFL_BOOST_INCLUDE}")
  if(version LESS 108100)
    set(${problem} "The headers in ${QXFL_BOOST_INCLUDE} are of an older Boost. ${remedy}." PARENT_SCOPE)
    unset(QXFL_BOOST_INCLUDE CACHE)  # The next try may look elsewhere.
    return()
  endif()
  if(NOT TARGET qxfl::boost_headers)
    add_library(qxfl::boost_headers INTERFACE IMPORTED GLOBAL)
    set_target_properties(qxfl::boost_headers PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${QXFL_BOOST_INCLUDE}")
  endif()

  get_filename_component(library_folder "${QXFL_BOOST_INCLUDE}/../lib" ABSOLUTE)
  set(CMAKE_FIND_LIBRARY_SUFFIXES .dll.a)  # Futures have state in Boost's DLL, which both sides must share.
  foreach(library IN LISTS ARGN)
    if(TARGET qxfl::boost_${library})
      continue()
    endif()
    if(TARGET Boost::${library})
      add_library(qxfl::boost_${library} INTERFACE IMPORTED GLOBAL)
      set_target_properties(qxfl::boost_${library} PROPERTIES INTERFACE_LINK_LIBRARIES Boost::${library})
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
    add_library(qxfl::boost_${library} UNKNOWN IMPORTED GLOBAL)
    set_target_properties(qxfl::boost_${library} PROPERTIES
      IMPORTED_LOCATION "${QXFL_BOOST_${upper}}"
      INTERFACE_COMPILE_DEFINITIONS BOOST_${upper}_DYN_LINK
      INTERFACE_LINK_LIBRARIES qxfl::boost_headers)
  endforeach()
endfunction()

# VERSION: that of the headers in the folder, as Boost writes it (108100 is 1.81.0); 0 where there are none.
function(qxfl_read_boost_version version folder)
  set(${version} 0 PARENT_SCOPE)
  if(EXISTS "${folder}/boost/version.hpp")
    file(STRINGS "${folder}/boost/version.hpp" line REGEX "^#define BOOST_VERSION [0-9]+")
    if(line MATCHES "([0-9]+)$")
      set(${version} ${CMAKE_MATCH_1} PARENT_SCOPE)
    endif()
  endif()
endfunction()

# The macro BOOST_LIB_VERSION of such a number, with dots: 1.81.0.
function(qxfl_print_boost_version text version)
  math(EXPR major "${version} / 100000")
  math(EXPR minor "${version} / 100 % 1000")
  math(EXPR patch "${version} % 100")
  set(${text} "${major}.${minor}.${patch}" PARENT_SCOPE)
endfunction()

# qxfl_use_bundled_boost(PROBLEM version headers libraries thread chrono)
#
# Makes the same targets for what the package brings along: those headers that its own include, and the import libraries
# THREAD and CHRONO in the folder of libraries. With QXFL_BOOST_INCLUDE set, the headers there are used instead, which
# have to be of the same version: the libraries remain, as their state is that of the DLLs of the package. Sets PROBLEM to
# what is wrong, or to nothing.
function(qxfl_use_bundled_boost problem version headers libraries thread chrono)
  set(${problem} "" PARENT_SCOPE)
  if(QXFL_BOOST_INCLUDE)
    qxfl_read_boost_version(own "${QXFL_BOOST_INCLUDE}")
    if(NOT own EQUAL version)
      qxfl_print_boost_version(text ${version})
      set(${problem} "QXFL_BOOST_INCLUDE is ${QXFL_BOOST_INCLUDE}, which does not hold the headers of Boost ${text} that this \
qxfl was built with. Set it to the folder that has boost/version.hpp of that version, or unset it: qxfl brings the headers \
along that its own include." PARENT_SCOPE)
      return()
    endif()
    set(headers "${QXFL_BOOST_INCLUDE}")
  endif()
  if(NOT TARGET qxfl::boost_headers)
    add_library(qxfl::boost_headers INTERFACE IMPORTED GLOBAL)
    set_target_properties(qxfl::boost_headers PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${headers}")
    foreach(library IN ITEMS thread chrono)
      string(TOUPPER ${library} upper)
      add_library(qxfl::boost_${library} UNKNOWN IMPORTED GLOBAL)
      set_target_properties(qxfl::boost_${library} PROPERTIES
        IMPORTED_LOCATION "${libraries}/${${library}}"
        INTERFACE_COMPILE_DEFINITIONS BOOST_${upper}_DYN_LINK
        INTERFACE_LINK_LIBRARIES qxfl::boost_headers)
    endforeach()
  endif()
  # The project may look for its own Boost before or after; by the end of its folder that has been done.
  cmake_language(EVAL CODE "cmake_language(DEFER CALL qxfl_warn_of_other_boost ${version})")
endfunction()

# A target that uses both would take some headers of this version and some of that.
function(qxfl_warn_of_other_boost version)
  if(NOT TARGET Boost::headers)
    return()
  endif()
  get_target_property(folders Boost::headers INTERFACE_INCLUDE_DIRECTORIES)
  foreach(folder IN LISTS folders)
    qxfl_read_boost_version(other "${folder}")
    if(other AND NOT other EQUAL version)
      qxfl_print_boost_version(ours ${version})
      qxfl_print_boost_version(theirs ${other})
      message(WARNING "This project uses Boost ${theirs} (${folder}), and qxfl brings along and needs headers of Boost \
${ours}. No target may use both. Take Boost ${ours} for your own, or a qxfl that was built with yours.")
    endif()
  endforeach()
endfunction()
