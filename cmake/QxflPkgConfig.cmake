# The files of pkg-config: one a library, and qxfl-boost.pc for the parts of Boost in their interfaces.

set(qxfl_pkg_config_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# Writes NAME.pc, which follows the installed folder wherever it is moved.
function(qxfl_write_pkg_config name description version lines)
  file(RELATIVE_PATH prefix "/${qxfl_pkg_config_dir}" "/")
  string(REGEX REPLACE "/$" "" prefix "${prefix}")
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc" @ONLY CONTENT
"prefix=\${pcfiledir}/@prefix@
includedir=\${prefix}/@CMAKE_INSTALL_INCLUDEDIR@
libdir=\${prefix}/@CMAKE_INSTALL_LIBDIR@

Name: @name@
Description: @description@
Version: @version@
@lines@")
  install(FILES "${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc" DESTINATION "${qxfl_pkg_config_dir}")
endfunction()

# For libqx<OUTPUT>.dll, with the libraries that its interface needs and the definitions that its users have.
function(qxfl_install_pkg_config output description libraries definitions)
  set(needs "")
  foreach(library IN LISTS libraries)
    if(library MATCHES "^qxfl::boost_")
      list(APPEND needs qxfl-boost)
    else()
      get_target_property(name ${library} OUTPUT_NAME)
      list(APPEND needs "${name}")
    endif()
  endforeach()
  list(REMOVE_DUPLICATES needs)
  list(TRANSFORM needs APPEND " = ${PROJECT_VERSION}" REGEX "^qx[^-]*$")
  list(JOIN needs ", " needs)
  list(TRANSFORM definitions PREPEND "-D")
  list(JOIN definitions " " definitions)
  list(TRANSFORM qxfl_public_definitions PREPEND "-D" OUTPUT_VARIABLE everywhere)
  string(STRIP "${everywhere} ${definitions}" definitions)
  qxfl_write_pkg_config(qx${output} "${description}" ${PROJECT_VERSION}
"Requires: ${needs}
Cflags: -I\${includedir} ${definitions}
Libs: -L\${libdir} -lqx${output}
")
endfunction()
