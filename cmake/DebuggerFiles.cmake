# What debuggers read to show values of the library's types. gdb loads the file beside the DLL by itself, because of its
# name, where its settings allow that.
install(FILES "${PROJECT_SOURCE_DIR}/tools/gdb/qxfl_printers.py" DESTINATION "${CMAKE_INSTALL_DATADIR}/qxfl/gdb")
install(FILES "${PROJECT_SOURCE_DIR}/tools/gdb/qxfl_printers.py" DESTINATION "${CMAKE_INSTALL_BINDIR}" RENAME libqxfl.dll-gdb.py)
install(FILES "${PROJECT_SOURCE_DIR}/tools/natvis/qxfl.natvis" DESTINATION "${CMAKE_INSTALL_DATADIR}/qxfl/natvis")
