# The umbrella package of the Boost that tools/dependencies builds: its CMake project installs a package for each
# library, but not this one. The version file beside it is written by the script.

if(NOT TARGET Boost::headers)
  add_library(Boost::headers INTERFACE IMPORTED)
  set_target_properties(Boost::headers PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${CMAKE_CURRENT_LIST_DIR}/../../../include")
endif()
set(Boost_headers_FOUND TRUE)

foreach(component IN LISTS Boost_FIND_COMPONENTS)
  if(NOT component STREQUAL "headers")
    find_package(boost_${component} ${Boost_VERSION} EXACT CONFIG QUIET PATHS "${CMAKE_CURRENT_LIST_DIR}/.." NO_DEFAULT_PATH)
    set(Boost_${component}_FOUND ${boost_${component}_FOUND})
  endif()
  if(Boost_FIND_REQUIRED_${component} AND NOT Boost_${component}_FOUND)
    set(Boost_FOUND FALSE)
    string(APPEND Boost_NOT_FOUND_MESSAGE "Boost.${component} was not built in ${CMAKE_CURRENT_LIST_DIR}. ")
  endif()
endforeach()
