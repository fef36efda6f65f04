# The headers say their version themselves, so that it is there for whoever has nothing but them. That it is the project's
# is seen to here.

set(header "${PROJECT_SOURCE_DIR}/src/fl/include/fl/version.hpp")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${header}")
file(STRINGS "${header}" lines REGEX "^#define QXFL_VERSION_(MAJOR|MINOR|PATCH|STRING) ")
set(expected
    "#define QXFL_VERSION_MAJOR ${PROJECT_VERSION_MAJOR}"
    "#define QXFL_VERSION_MINOR ${PROJECT_VERSION_MINOR}"
    "#define QXFL_VERSION_PATCH ${PROJECT_VERSION_PATCH}"
    "#define QXFL_VERSION_STRING \"${PROJECT_VERSION}\"")
if(NOT lines STREQUAL expected)
  list(JOIN expected "\n  " expected)
  message(FATAL_ERROR "the project's version is ${PROJECT_VERSION}, and ${header} says another. It must say:\n  ${expected}")
endif()
