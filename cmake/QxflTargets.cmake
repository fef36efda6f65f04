# How every target of this project is made: warnings, debug information, export macros, version resource.

find_package(Threads REQUIRED)

# What the libraries and all their users are compiled with. Boost.System consists of headers: each module has its own copy
# of what fetches the system's messages, and it is to give them in UTF-8 everywhere, as all text of ours is.
if(WIN32)
  set(qxfl_public_definitions BOOST_SYSTEM_USE_UTF8)
endif()

# Debug information. DWARF 4 is what the symbol service of the emulated system reads; at its first level names lack their
# classes and namespaces, which the native reports take from elsewhere. Clang and lld write a PDB file beside each module
# instead, which the system's own reads, too. The module names it without its folder, and has no debug information itself,
# not even what the compiler's archives bring along.
if(NOT WIN32)
  set(qxfl_debug_information -g1)
elseif(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  set(qxfl_debug_information -g -gcodeview -fno-file-reproducible)  # The last: __FILE__ keeps its slashes.
  set(qxfl_link_options LINKER:--pdb=,-s LINKER:--Xlink=-pdbaltpath:%_PDB%)
else()
  set(qxfl_debug_information -gdwarf-4)
endif()

# Compiler settings of our own targets.
add_library(qxfl_options INTERFACE)
target_compile_options(qxfl_options INTERFACE -Wall -Wextra -Wconversion -Wshadow
                       ${qxfl_debug_information}
                       -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
                       $<$<BOOL:${QXFL_WERROR}>:-Werror>)
if(WIN32)
  target_compile_definitions(qxfl_options INTERFACE _WIN32_WINNT=0x0A00 WINVER=0x0A00 NOMINMAX WIN32_LEAN_AND_MEAN UNICODE _UNICODE
                                                    ${qxfl_public_definitions})
endif()
# Sections begin on pages of the file, too: the emulated system maps those, and reads all others when a module is loaded,
# debug information included, which took longer than everything else about the start of a program.
if(WIN32)
  list(APPEND qxfl_link_options LINKER:--file-alignment,4096)
  target_link_options(qxfl_options INTERFACE ${qxfl_link_options})
endif()
if(QXFL_SANITIZE)
  target_compile_options(qxfl_options INTERFACE -fsanitize=${QXFL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(qxfl_options INTERFACE -fsanitize=${QXFL_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # Names of one source hide those of another that is compiled with it. The build for Windows looks at each by itself.
    target_compile_options(qxfl_options INTERFACE $<$<BOOL:${QXFL_UNITY}>:-Wno-shadow>)
  endif()
endif()

# Adds the Windows version resource of a DLL to its sources.
function(qxfl_add_version_resource target file_name description)
  set(QXFL_RC_FILE_NAME "${file_name}")
  set(QXFL_RC_DESCRIPTION "${description}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/version.rc.in" "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc" @ONLY)
  target_sources(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
endfunction()

# qxfl_add_library(NAME DESCRIPTION text [OUTPUT name] INCLUDE dir LOGIC sources… WINDOWS sources… PUBLIC libraries…
#                  PRIVATE libraries… DEFINES definitions…)
#
# On Windows: the shared library libqx<OUTPUT>.dll (OUTPUT is NAME unless given), target NAME with the alias qxfl::NAME
# (qxfl_NAME inside another project, whose own targets may well be called so), and NAME_static, the same objects as an
# archive, for tests of the internal rules, which the DLL does not export. The macro <NAME>_BUILD is defined while the
# sources are compiled, <NAME>_STATIC for users of the archive. Elsewhere: an archive of the LOGIC sources alone, under
# all these names. DEFINES are seen by the sources and by all users.
function(qxfl_add_library library)
  cmake_parse_arguments(arg "" "DESCRIPTION;OUTPUT;INCLUDE" "LOGIC;WINDOWS;PUBLIC;PRIVATE;DEFINES" ${ARGN})
  set(name "${qxfl_prefix}${library}")
  string(TOUPPER "${library}" upper)
  if(NOT arg_OUTPUT)
    set(arg_OUTPUT "${library}")
  endif()
  set(common "${PROJECT_SOURCE_DIR}/src/common/include")  # for "common/…", which all libraries share
  if(WIN32)
    add_library(${name}_objects OBJECT ${arg_LOGIC} ${arg_WINDOWS})
    target_compile_definitions(${name}_objects PRIVATE ${upper}_BUILD ${arg_DEFINES})
    target_include_directories(${name}_objects PRIVATE "${arg_INCLUDE}" "${CMAKE_CURRENT_SOURCE_DIR}" ${common})
    target_link_libraries(${name}_objects PRIVATE ${arg_PUBLIC} ${arg_PRIVATE} qxfl_options)

    add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
    set_target_properties(${name} PROPERTIES OUTPUT_NAME qx${arg_OUTPUT} EXPORT_NAME ${library} LINKER_LANGUAGE CXX
                                             ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
    target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
    target_link_options(${name} PRIVATE ${qxfl_link_options})
    qxfl_add_version_resource(${name} libqx${arg_OUTPUT}.dll "${arg_DESCRIPTION}")
    set_property(GLOBAL APPEND PROPERTY QXFL_DLLS "$<TARGET_FILE:${name}>")
    if(QXFL_INSTALL)
      install(TARGETS ${name} EXPORT qxfl)
      install(DIRECTORY "${arg_INCLUDE}/" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.hpp")
      qxfl_install_pkg_config(${arg_OUTPUT} "${arg_DESCRIPTION}" "${arg_PUBLIC}" "${arg_DEFINES}")
    endif()

    add_library(${name}_static STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:${name}_objects>)
    set_target_properties(${name}_static PROPERTIES LINKER_LANGUAGE CXX)
    target_link_libraries(${name}_static PUBLIC ${arg_PUBLIC} ${arg_PRIVATE})
    target_compile_definitions(${name}_static PUBLIC ${upper}_STATIC ${qxfl_public_definitions} ${arg_DEFINES})
    target_include_directories(${name}_static PUBLIC "${arg_INCLUDE}" "${CMAKE_CURRENT_SOURCE_DIR}" ${common})
  else()
    if(NOT arg_LOGIC)
      return()
    endif()
    add_library(${name} STATIC ${arg_LOGIC})
    set_target_properties(${name} PROPERTIES UNITY_BUILD ${QXFL_UNITY} UNITY_BUILD_MODE GROUP)
    foreach(source IN LISTS arg_LOGIC)
      get_filename_component(folder "${source}" DIRECTORY)
      set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "${name}/${folder}")
    endforeach()
    target_compile_definitions(${name} PUBLIC ${upper}_STATIC)
    target_link_libraries(${name} PUBLIC qxfl::boost_headers PRIVATE qxfl_options)
    target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}")
    add_library(${name}_static ALIAS ${name})
  endif()
  add_library(qxfl::${library} ALIAS ${name})
  target_compile_definitions(${name} PUBLIC ${qxfl_public_definitions} ${arg_DEFINES})
  target_compile_features(${name} PUBLIC cxx_std_17)
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${arg_INCLUDE}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endfunction()

# qxfl_export_typeinfo(LIBRARY mangled_class_names…)
#
# Exports the type information of classes that a template declared extern is instantiated for. Modules of GCC's ask for
# it there, and GCC exports it with the class; clang does neither, and its DLLs would not go with GCC's programs.
function(qxfl_export_typeinfo library)
  if(WIN32 AND CMAKE_CXX_COMPILER_ID MATCHES Clang)
    foreach(class IN LISTS ARGN)
      target_link_options(${qxfl_prefix}${library} PRIVATE "SHELL:-Xlinker --Xlink=-export:_ZTI${class},DATA")
    endforeach()
  endif()
endfunction()
