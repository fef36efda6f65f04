# The installed package: `find_package(qxfl)` gives the targets qxfl::fl, qxfl::i18n and so on.

include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/qxfl")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/qxflConfig.cmake.in" "${CMAKE_BINARY_DIR}/qxflConfig.cmake"
                              INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/qxflConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_BINARY_DIR}/qxflConfig.cmake" "${CMAKE_BINARY_DIR}/qxflConfigVersion.cmake"
              "${CMAKE_CURRENT_LIST_DIR}/QxflBoost.cmake" "${CMAKE_CURRENT_LIST_DIR}/QxflMessages.cmake"
              "${CMAKE_CURRENT_LIST_DIR}/QxflCompileMessages.cmake" DESTINATION "${package_dir}")
install(EXPORT qxfl NAMESPACE qxfl:: DESTINATION "${package_dir}" FILE qxflTargets.cmake)
install(FILES ${qxfl_runtime_dlls} DESTINATION ${CMAKE_INSTALL_BINDIR})

# Who passes libqxi18n.dll on passes simdutf on, too, if that is static.
# It is where simdutf was found, which simdutf_ROOT alone may have told.
find_file(QXFL_SIMDUTF_LICENCE LICENSE-MIT HINTS "${simdutf_DIR}/../../.." PATH_SUFFIXES share/licenses/simdutf
          NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(QXFL_SIMDUTF_LICENCE)
if(QXFL_SIMDUTF_LICENCE)
  install(FILES "${QXFL_SIMDUTF_LICENCE}" DESTINATION "${CMAKE_INSTALL_DATADIR}/licenses/qxfl" RENAME simdutf.txt)
endif()
