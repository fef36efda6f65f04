# What debuggers read to show values of the library's types.
install(FILES "${PROJECT_SOURCE_DIR}/tools/gdb/qxfl_printers.py" DESTINATION "${CMAKE_INSTALL_DATADIR}/qxfl/gdb")
install(FILES "${PROJECT_SOURCE_DIR}/tools/natvis/qxfl.natvis" DESTINATION "${CMAKE_INSTALL_DATADIR}/qxfl/natvis")
