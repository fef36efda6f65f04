# Boost.Thread of the build machine, for the native build. The headers are those that the Windows build uses, so that the
# run-time library has to be of their version; the distribution's package of that library alone has it only under its
# numbered name. Makes the target qxfl::boost_thread. QXFL_BOOST_THREAD may be set to a library of another name.

file(STRINGS "${QXFL_BOOST_INCLUDE}/boost/version.hpp" version REGEX "^#define BOOST_VERSION [0-9]+")
string(REGEX MATCH "[0-9]+$" version "${version}")
math(EXPR minor "${version} / 100 % 1000")
math(EXPR patch "${version} % 100")
set(file "libboost_thread.so.1.${minor}.${patch}")

find_library(QXFL_BOOST_THREAD NAMES "${file}")
mark_as_advanced(QXFL_BOOST_THREAD)
if(NOT QXFL_BOOST_THREAD)
  message(FATAL_ERROR "The native build needs Boost.Thread of the version of the headers in ${QXFL_BOOST_INCLUDE}: \
${file} was not found. Install Debian's package libboost-thread1.${minor}.${patch}, as tools/packages does, or set \
QXFL_BOOST_THREAD to that library.")
endif()

add_library(qxfl::boost_thread SHARED IMPORTED)
set_target_properties(qxfl::boost_thread PROPERTIES
  IMPORTED_LOCATION "${QXFL_BOOST_THREAD}"
  INTERFACE_COMPILE_DEFINITIONS "BOOST_THREAD_DYN_LINK;BOOST_CHRONO_HEADER_ONLY"
  INTERFACE_LINK_LIBRARIES "qxfl::boost_headers;Threads::Threads")
