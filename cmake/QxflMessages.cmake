# Message catalogs that a program brings along. Installed beside the package configuration.

# qxfl_add_message_catalog(TARGET target [FILES files…] [DIRECTORY folders…] [IDENTIFIERS header] [NAMESPACE name])
#
# Checks catalogs <language>/<catalog>.json, as <i18n/message_catalog.hpp> describes them, against each other whenever
# one has changed, and compiles them into the target, which is of this directory and links qxfl::i18n (qxfl::fl brings it
# along). FILES names them one by one, with their folders; DIRECTORY takes all in the folders of languages there, also
# those that come later.
#
# The target's sources include HEADER ("<target>_messages.hpp" unless given). It has for each message a function that
# makes its id and takes as many arguments, numbers or texts, as its text has marks, so that neither a name nor an
# argument can be forgotten; NAME is "<target>_messages" unless given, and no two targets of a program have the same:
#
#     qxfl_add_message_catalog(TARGET shop DIRECTORY messages IDENTIFIERS messages.hpp NAMESPACE messages)
#
#     messages::SHOP::outOfStock(wanted, item, left)     // "outOfStock" of the catalog SHOP
#     messages::PLANNER::solver::tooManySteps(500)       // "tooManySteps" of PLANNER:solver, from PLANNER.solver.json
#
# The texts are known to MessageCatalog from the first of these calls on; who makes ids in another way calls
# messages::add_catalogs() before. A file in a directory of catalogs replaces what is compiled in.
#
# The build fails, with file, line and reason for each fault, unless
# - each file is UTF-8, one object from names to texts, each name once; a byte order mark may be there;
# - names, and the parts of a catalog's, are letters, digits and "_" behind a letter, and no words of C++;
# - in each text the marks {0}, {1} and so on are those of the English one, without a gap, and any other brace is doubled;
# - each catalog is there in English, which all languages fall back to;
# - each language has all of the messages and no others. One that falls back to another of them, as de-AT does to de,
#   may have fewer.
function(qxfl_add_message_catalog)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "TARGET;IDENTIFIERS;NAMESPACE" "FILES;DIRECTORY")
  if(NOT TARGET "${arg_TARGET}" OR arg_UNPARSED_ARGUMENTS OR NOT (arg_FILES OR arg_DIRECTORY))
    message(FATAL_ERROR "qxfl_add_message_catalog(TARGET target [FILES files…] [DIRECTORY folders…] "
                        "[IDENTIFIERS header] [NAMESPACE name]) got: ${ARGV}")
  endif()
  string(MAKE_C_IDENTIFIER "${arg_TARGET}_messages" name)
  if(NOT arg_IDENTIFIERS)
    set(arg_IDENTIFIERS "${name}.hpp")
  endif()
  if(NOT arg_NAMESPACE)
    set(arg_NAMESPACE "${name}")
  endif()

  set(files "")
  foreach(file IN LISTS arg_FILES)
    get_filename_component(file "${file}" ABSOLUTE)
    list(APPEND files "${file}")
  endforeach()
  foreach(folder IN LISTS arg_DIRECTORY)
    get_filename_component(folder "${folder}" ABSOLUTE)
    file(GLOB found CONFIGURE_DEPENDS "${folder}/*/*.json")
    if(NOT found)
      message(FATAL_ERROR "qxfl_add_message_catalog: there is no catalog <language>/<catalog>.json in ${folder}")
    endif()
    list(APPEND files ${found})
  endforeach()

  set(script "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/QxflCompileMessages.cmake")
  set(folder "${CMAKE_CURRENT_BINARY_DIR}/${name}")
  set(header "${folder}/include/${arg_IDENTIFIERS}")
  set(source "${folder}/${name}.cpp")
  # Written only if it changes, as it does when a file has come or gone.
  file(CONFIGURE OUTPUT "${folder}/settings.cmake" @ONLY CONTENT
       "set(files [[@files@]])\nset(include [[@arg_IDENTIFIERS@]])\nset(namespace [[@arg_NAMESPACE@]])
set(header [[@header@]])\nset(source [[@source@]])\nset(generator [[@CMAKE_GENERATOR@]])\n")
  add_custom_command(
    OUTPUT "${header}" "${source}"
    COMMAND "${CMAKE_COMMAND}" -D "SETTINGS=${folder}/settings.cmake" -P "${script}"
    DEPENDS ${files} "${folder}/settings.cmake" "${script}"
    COMMENT "Checking the message catalogs of ${arg_TARGET}"
    VERBATIM)
  set_source_files_properties("${source}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)  # Its names are short.
  target_sources(${arg_TARGET} PRIVATE "${source}" "${header}")
  target_include_directories(${arg_TARGET} PRIVATE "${folder}/include")
endfunction()
