# The installed package: `find_package(qxfl)` gives the targets qxfl::fl, qxfl::i18n and so on, as does pkg-config.
# tools/package makes an archive of it.

include(CMakePackageConfigHelpers)
include(QxflCompiler)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/qxfl")
set(qxfl_boost_dir "${CMAKE_INSTALL_INCLUDEDIR}/qxfl-boost")  # A folder of their own, lest they are taken for a whole Boost.
qxfl_ask_compiler(qxfl_crt qxfl_cxx_library)
qxfl_read_boost_version(qxfl_boost_version "${QXFL_BOOST_INCLUDE}")
set(qxfl_boost_imports "")
set(boost_links "")
foreach(library IN ITEMS THREAD CHRONO)
  get_filename_component(name "${QXFL_BOOST_${library}}" NAME)
  list(APPEND qxfl_boost_imports "${name}")
  string(REGEX REPLACE "^lib(.*)\\.dll\\.a$" "-l\\1" link "${name}")
  string(APPEND boost_links " ${link}")
endforeach()
string(REPLACE ";" " " qxfl_boost_imports "${qxfl_boost_imports}")

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/qxflConfig.cmake.in" "${PROJECT_BINARY_DIR}/qxflConfig.cmake"
                              INSTALL_DESTINATION "${package_dir}"
                              PATH_VARS qxfl_boost_dir CMAKE_INSTALL_BINDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/qxflConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/qxflConfig.cmake" "${PROJECT_BINARY_DIR}/qxflConfigVersion.cmake"
              "${CMAKE_CURRENT_LIST_DIR}/QxflBoost.cmake" "${CMAKE_CURRENT_LIST_DIR}/QxflCompiler.cmake"
              "${CMAKE_CURRENT_LIST_DIR}/QxflDlls.cmake" "${CMAKE_CURRENT_LIST_DIR}/QxflMessages.cmake"
              "${CMAKE_CURRENT_LIST_DIR}/QxflCompileMessages.cmake" DESTINATION "${package_dir}")
install(EXPORT qxfl NAMESPACE qxfl:: DESTINATION "${package_dir}" FILE qxflTargets.cmake)

qxfl_print_boost_version(boost_version ${qxfl_boost_version})
# No -isystem: pkg-config writes a blank in a path so that a shell understands it behind -I alone.
set(boost_place "-I\${prefix}/${qxfl_boost_dir}")
set(boost_libraries_place "-L\${libdir}")
if(NOT QXFL_BUNDLE)
  set(boost_place "-I${QXFL_BOOST_INCLUDE}")
  get_filename_component(folder "${QXFL_BOOST_THREAD}" DIRECTORY)
  set(boost_libraries_place "-L${folder}")
endif()
qxfl_write_pkg_config(qxfl-boost "Those parts of Boost that the interfaces of libqxfl need" ${boost_version}
"Cflags: ${boost_place} -DBOOST_THREAD_DYN_LINK -DBOOST_CHRONO_DYN_LINK
Libs: ${boost_libraries_place}${boost_links}
")

# Licences: ours, and those of what ends up inside the libraries. Who passes libqxi18n.dll on passes simdutf on, too, if
# that is static. It is where simdutf was found, which simdutf_ROOT alone may have told.
set(licences "${CMAKE_INSTALL_DATADIR}/licenses/qxfl")
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${licences}")
find_file(QXFL_SIMDUTF_LICENCE LICENSE-MIT HINTS "${simdutf_DIR}/../../.." PATH_SUFFIXES share/licenses/simdutf
          NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(QXFL_SIMDUTF_LICENCE)
if(QXFL_SIMDUTF_LICENCE)
  install(FILES "${QXFL_SIMDUTF_LICENCE}" DESTINATION "${licences}" RENAME simdutf.txt)
endif()

if(QXFL_BUNDLE)
  install(FILES "${QXFL_BOOST_THREAD}" "${QXFL_BOOST_CHRONO}" DESTINATION "${CMAKE_INSTALL_LIBDIR}")
  install(FILES "${PROJECT_SOURCE_DIR}/tools/licences/boost.txt" DESTINATION "${licences}")
  get_property(dlls GLOBAL PROPERTY QXFL_DLLS)
  get_filename_component(thread "${QXFL_BOOST_THREAD}" NAME_WLE)
  get_filename_component(chrono "${QXFL_BOOST_CHRONO}" NAME_WLE)
  file(GLOB_RECURSE headers RELATIVE "${PROJECT_SOURCE_DIR}/src" CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/src/*/include/*.hpp")
  list(FILTER headers EXCLUDE REGEX "^common/")
  file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/bundle.cmake" CONTENT
"cmake_policy(VERSION 3.25)
set(CMAKE_OBJDUMP [[${CMAKE_OBJDUMP}]])
set(compiler [[${CMAKE_CXX_COMPILER}]])
set(flags [[${CMAKE_CXX_FLAGS}]])
set(target [[${CMAKE_CXX_COMPILER_TARGET}]])
set(work [[${PROJECT_BINARY_DIR}]])
set(source [[${PROJECT_SOURCE_DIR}/src]])
set(headers [[${headers}]])
set(boost [[${QXFL_BOOST_INCLUDE}]])
set(boost_dir [[${qxfl_boost_dir}]])
set(bin_dir [[${CMAKE_INSTALL_BINDIR}]])
set(modules [[${dlls}]])
set(interface_dlls [[${thread};${chrono}]])
set(run_time_dlls [[${qxfl_runtime_dlls}]])
include([[${CMAKE_CURRENT_LIST_DIR}/DllImports.cmake]])
include([[${CMAKE_CURRENT_LIST_DIR}/Bundle.cmake]])
")
  install(SCRIPT "${PROJECT_BINARY_DIR}/bundle.cmake")
endif()
