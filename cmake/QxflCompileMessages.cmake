# Checks message catalogs against each other and writes them as C++; see QxflMessages.cmake, which runs this as
#   cmake -D SETTINGS=settings.cmake -P QxflCompileMessages.cmake
# The settings are
#   files      the catalogs, …/<language>/<catalog>.json
#   header     where the functions for the ids go; source: where the texts go. Neither is written if there is a fault
#   include    how the source includes the header
#   namespace  what the functions are in
#   generator  the generator of the build
#
# Texts never become elements of lists, which brackets and semicolons in them would confuse. A file is one object of
# strings, so regular expressions read it; CMake's own reader knows neither lines nor whether a name stands twice.
cmake_minimum_required(VERSION 3.25)
include("${SETTINGS}")

set(ws "[ \t\r\n]*")
set(string "\"([^\"\\]*(\\\\.[^\"\\]*)*)\"")
set(name "[A-Za-z][A-Za-z0-9_]*")
set(words_of_cxx
    alignas alignof and and_eq asm auto bitand bitor bool break case catch char char16_t char32_t char8_t class co_await
    co_return co_yield compl concept const const_cast consteval constexpr constinit continue decltype default delete do
    double dynamic_cast else enum explicit export extern false float for friend goto if inline int long mutable
    namespace new noexcept not not_eq nullptr operator or or_eq private protected public register reinterpret_cast
    requires return short signed sizeof static static_assert static_cast struct switch template this thread_local throw
    true try typedef typeid typename union unsigned using virtual void volatile wchar_t while xor xor_eq)
set_property(GLOBAL PROPERTY faults 0)

function(complain place text)
  get_property(faults GLOBAL PROPERTY faults)
  math(EXPR faults "${faults} + 1")
  set_property(GLOBAL PROPERTY faults ${faults})
  message(NOTICE "${place}: error: ${text}")
endfunction()

# RESULT: the number LINE and as many more as there are line ends in the text.
function(lines_behind result line text)
  string(REGEX REPLACE "[^\n]" "" ends "${text}")
  string(LENGTH "${ends}" count)
  math(EXPR count "${line} + ${count}")
  set(${result} ${count} PARENT_SCOPE)
endfunction()

# RESULT: whether the bytes of the file are well-formed UTF-8 without control characters that JSON forbids.
function(check_bytes result file)
  set(${result} FALSE PARENT_SCOPE)
  file(READ "${file}" bytes HEX)
  if(bytes MATCHES "^(fffe|feff)")
    complain("${file}:1" "the file is in UTF-16, and not in UTF-8")
    return()
  endif()
  string(REGEX REPLACE "(..)" "\\1 " bytes "${bytes}")  # So that all that follows begins at a byte.
  string(REPLACE "0a " "\n" bytes "${bytes}")
  string(REGEX REPLACE "(09|0d|[2-7].) " "." bytes "${bytes}")
  set(rest "[89ab]. ")
  foreach(sequence IN ITEMS "(c[2-9a-f]|d.) " "e0 [ab]. " "(e[1-9a-cef]) ${rest}" "ed [89]. "
                            "f0 [9ab]. ${rest}" "f[1-3] ${rest}${rest}" "f4 8. ${rest}")
    string(REGEX REPLACE "${sequence}${rest}" "." bytes "${bytes}")
  endforeach()
  if(NOT bytes MATCHES "^([\n.]*)([0-9a-f]+)")
    set(${result} TRUE PARENT_SCOPE)
    return()
  endif()
  set(byte "${CMAKE_MATCH_2}")
  lines_behind(line 1 "${CMAKE_MATCH_1}")
  if(byte MATCHES "^[01]")
    complain("${file}:${line}" "a control character (byte ${byte})")
  else()
    complain("${file}:${line}" "the file is not in UTF-8 (byte ${byte})")
  endif()
endfunction()

# What keeps REST, which begins in that line, from going on with a member of the object.
function(complain_of_syntax file line rest)
  set(expected "a name in double quotes")
  if(rest MATCHES "^${ws}")
    set(good "${CMAKE_MATCH_0}")
  endif()
  if(rest MATCHES "^${ws}${string}${ws}")
    set(good "${CMAKE_MATCH_0}")
    set(subject "\"${CMAKE_MATCH_1}\"")
    set(expected "\":\" behind ${subject}")
    if(rest MATCHES "^${ws}${string}${ws}:${ws}")
      set(good "${CMAKE_MATCH_0}")
      set(expected "a text in double quotes for ${subject}")
      if(rest MATCHES "^${ws}${string}${ws}:${ws}${string}${ws}")
        set(good "${CMAKE_MATCH_0}")
        set(expected "\",\" or \"}\" behind the text of ${subject}")
      endif()
    endif()
  endif()
  string(LENGTH "${good}" length)
  string(SUBSTRING "${rest}" ${length} -1 bad)
  lines_behind(line "${line}" "${good}")
  if(bad STREQUAL "")
    complain("${file}:${line}" "the file ends where ${expected} is expected")
  elseif(bad MATCHES "^\"" AND NOT bad MATCHES "^${string}")
    complain("${file}:${line}" "a closing double quote is missing")
  else()
    complain("${file}:${line}" "${expected} is expected")
  endif()
endfunction()

# Whether the name can be one in C++.
function(check_name place subject text)
  if(NOT text MATCHES "^${name}$")
    complain("${place}" "${subject} \"${text}\" is ill-formed: letters, digits and \"_\" behind a letter are expected")
  elseif(text IN_LIST words_of_cxx)
    complain("${place}" "${subject} \"${text}\" is a word of C++")
  endif()
endfunction()

# RESULT: the numbers of the marks in the text, in order, each once.
function(read_marks result place text)
  string(REPLACE [=[\\]=] "_" text "${text}")
  string(REGEX REPLACE [=[\\u007[bB]]=] "{" text "${text}")
  string(REGEX REPLACE [=[\\u007[dD]]=] "}" text "${text}")
  string(REGEX MATCHALL "{{|}}|{[0-9]+}|[{}]" braces "${text}")
  set(numbers "")
  foreach(brace IN LISTS braces)
    if(brace MATCHES "^{(0|[1-9][0-9]?)}$")
      list(APPEND numbers ${CMAKE_MATCH_1})
    elseif(NOT brace MATCHES "^({{|}})$")
      complain("${place}" "\"${brace}\" is neither a mark such as {0} nor a doubled brace")
    endif()
  endforeach()
  list(REMOVE_DUPLICATES numbers)
  list(SORT numbers COMPARE NATURAL)
  set(${result} "${numbers}" PARENT_SCOPE)
endfunction()

# Whether the string, as it stands between its quotes, is one of JSON.
function(check_string place text)
  # Blanks for what is right, lest what stands around it comes together.
  string(REPLACE [=[\\]=] " " text "${text}")
  string(REGEX REPLACE [=[\\["/bfnrt]]=] " " text "${text}")
  set(hex "[0-9a-fA-F]")
  string(REGEX REPLACE "\\\\u[dD][89abAB]${hex}${hex}\\\\u[dD][c-fC-F]${hex}${hex}" " " text "${text}")
  string(REGEX REPLACE "\\\\u([0-9abcefABCEF]${hex}|[dD][0-7])${hex}${hex}" " " text "${text}")
  if(text MATCHES "\\\\(u${hex}*|.)")
    complain("${place}" "${CMAKE_MATCH_0} stands for no character")
  endif()
  if(text MATCHES "[\t\r\n]")
    complain("${place}" "a tab or the end of the line stands within double quotes")
  endif()
endfunction()

# Reads a file. Sets mnemonics_<file>, a list, and for each of these line_, marks_ and text_<file>_<mnemonic>, the text
# as it stands between the quotes. Sets readable_<file> to whether it could be read to its end.
function(read_catalog file)
  set(readable_${file} FALSE PARENT_SCOPE)
  check_bytes(good "${file}")
  if(NOT good)
    return()
  endif()
  file(READ "${file}" rest)
  string(ASCII 239 187 191 byte_order_mark)
  if(rest MATCHES "^${byte_order_mark}(.*)")
    set(rest "${CMAKE_MATCH_1}")
  endif()
  string(REGEX MATCH "^${ws}{" start "${rest}")
  if(start STREQUAL "")
    complain("${file}:1" "one object from names to texts is expected")
    return()
  endif()
  lines_behind(line 1 "${start}")
  string(LENGTH "${start}" length)
  string(SUBSTRING "${rest}" ${length} -1 rest)
  set(mnemonics "")
  set(end ",")
  if(rest MATCHES "^${ws}}")
    set(end "}")
    string(LENGTH "${CMAKE_MATCH_0}" length)
    string(SUBSTRING "${rest}" ${length} -1 rest)
  endif()
  while(end STREQUAL ",")
    if(NOT rest MATCHES "^(${ws})${string}(${ws}:${ws}${string}${ws})([,}])")
      complain_of_syntax("${file}" ${line} "${rest}")
      return()
    endif()
    set(member "${CMAKE_MATCH_0}")
    set(before "${CMAKE_MATCH_1}")
    set(mnemonic "${CMAKE_MATCH_2}")
    set(text "${CMAKE_MATCH_5}")
    set(end "${CMAKE_MATCH_7}")
    lines_behind(at ${line} "${before}")
    lines_behind(line ${line} "${member}")
    string(LENGTH "${member}" length)
    string(SUBSTRING "${rest}" ${length} -1 rest)

    set(place "${file}:${at}")
    check_string("${place}" "${text}")
    if(NOT mnemonic MATCHES "^${name}$" OR NOT mnemonic IN_LIST mnemonics)
      check_name("${place}" "the name" "${mnemonic}")
      read_marks(marks "${place}" "${text}")
      if(mnemonic MATCHES "^${name}$")
        list(APPEND mnemonics ${mnemonic})
        set(line_${file}_${mnemonic} ${at})
        set(line_${file}_${mnemonic} ${at} PARENT_SCOPE)
        set(marks_${file}_${mnemonic} "${marks}" PARENT_SCOPE)
        set(text_${file}_${mnemonic} "${text}" PARENT_SCOPE)
      endif()
    else()
      complain("${place}" "\"${mnemonic}\" stands here again, after line ${line_${file}_${mnemonic}}")
    endif()
  endwhile()
  if(NOT rest MATCHES "^${ws}$")
    complain("${file}:${line}" "more stands behind the object")
  endif()
  set(mnemonics_${file} "${mnemonics}" PARENT_SCOPE)
  set(readable_${file} TRUE PARENT_SCOPE)
endfunction()

# RESULT: whether the language falls back to another of LANGUAGES.
function(has_fallback result language)
  set(${result} FALSE PARENT_SCOPE)
  while(language MATCHES "^(.*)-[^-]*$")
    set(language "${CMAKE_MATCH_1}")
    if(language IN_LIST languages)
      set(${result} TRUE PARENT_SCOPE)
      return()
    endif()
  endwhile()
endfunction()

# "{0} {1}", or "none".
function(show_marks result numbers)
  list(TRANSFORM numbers REPLACE "(.+)" "{\\1}")
  list(JOIN numbers " " text)
  if(text STREQUAL "")
    set(text "none")
  endif()
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

# What the texts of a catalog in another language have that the English ones have not, and the other way round.
function(compare_with_english file english language)
  foreach(mnemonic IN LISTS mnemonics_${file})
    set(place "${file}:${line_${file}_${mnemonic}}")
    if(NOT mnemonic IN_LIST mnemonics_${english})
      complain("${place}" "\"${mnemonic}\" is not in ${english}")
    elseif(NOT "${marks_${file}_${mnemonic}}" STREQUAL "${marks_${english}_${mnemonic}}")
      show_marks(here "${marks_${file}_${mnemonic}}")
      show_marks(there "${marks_${english}_${mnemonic}}")
      complain("${place}" "the marks of \"${mnemonic}\" are ${here}, but ${there} in \
${english}:${line_${english}_${mnemonic}}")
    endif()
  endforeach()
  has_fallback(may_lack ${language})
  if(may_lack)
    return()
  endif()
  foreach(mnemonic IN LISTS mnemonics_${english})
    if(NOT mnemonic IN_LIST mnemonics_${file})
      complain("${file}:1" "\"${mnemonic}\" is missing, which stands in ${english}:${line_${english}_${mnemonic}}")
    endif()
  endforeach()
endfunction()

# ---- the files ----

set(languages "")
set(catalogs "")
foreach(file IN LISTS files)
  if(NOT file MATCHES "([^/]+)/([^/]+)\\.json$")
    complain("${file}:1" "the path does not end in <language>/<catalog>.json")
    continue()
  endif()
  set(folder "${CMAKE_MATCH_1}")
  set(catalog "${CMAKE_MATCH_2}")
  string(TOLOWER "${folder}" language)  # Their letter case does not matter.
  if(NOT language MATCHES "^[a-z0-9]+(-[a-z0-9]+)*$")
    complain("${file}:1" "the folder \"${folder}\" is no language tag such as de or de-AT")
    continue()
  endif()
  string(REPLACE "." ";" parts "${catalog}")
  foreach(part IN LISTS parts)
    check_name("${file}:1" "the catalog's name" "${part}")
  endforeach()
  if(DEFINED file_${language}_${catalog})
    complain("${file}:1" "the same catalog in the same language is in ${file_${language}_${catalog}}")
    continue()
  endif()
  set(file_${language}_${catalog} "${file}")
  set(tag_${language} "${folder}")
  list(APPEND languages ${language})
  list(APPEND catalogs "${catalog}")
  read_catalog("${file}")
endforeach()
list(REMOVE_DUPLICATES languages)
list(SORT languages)
list(REMOVE_DUPLICATES catalogs)
list(SORT catalogs)

# ---- each against the English one ----

foreach(catalog IN LISTS catalogs)
  set(english "${file_en_${catalog}}")
  foreach(language IN LISTS languages)
    set(file "${file_${language}_${catalog}}")
    if(english STREQUAL "")
      if(NOT file STREQUAL "")
        complain("${file}:1" "there is no catalog en/${catalog}.json, which all languages fall back to")
        break()
      endif()
    elseif(file STREQUAL "")
      has_fallback(may_lack ${language})
      if(NOT may_lack)
        complain("${english}:1" "there is no catalog ${tag_${language}}/${catalog}.json beside it")
      endif()
    elseif(readable_${english} AND readable_${file} AND NOT language STREQUAL "en")
      compare_with_english("${file}" "${english}" ${language})
    endif()
  endforeach()
  set(inner_catalogs "${catalogs}")
  list(FILTER inner_catalogs INCLUDE REGEX "^${catalog}\\.")
  foreach(mnemonic IN LISTS mnemonics_${english})
    set(place "${english}:${line_${english}_${mnemonic}}")
    set(number 0)
    foreach(mark IN LISTS marks_${english}_${mnemonic})
      if(NOT mark EQUAL number)
        complain("${place}" "\"${mnemonic}\" has {${mark}}, but not {${number}}")
        break()
      endif()
      math(EXPR number "${number} + 1")
    endforeach()
    foreach(other IN LISTS inner_catalogs)
      string(FIND "${other}." "${catalog}.${mnemonic}." position)
      if(position EQUAL 0)
        complain("${place}" "\"${mnemonic}\" is also the name of the catalog in ${file_en_${other}}")
        break()
      endif()
    endforeach()
  endforeach()
endforeach()

get_property(faults GLOBAL PROPERTY faults)
if(NOT faults EQUAL 0)
  message(FATAL_ERROR "Faults in the message catalogs: ${faults}")
endif()

# ---- as C++ ----

# Names of other things stand from the outermost namespace on, since a message or a catalog may be called like them.

# Leaves a file that would be the same alone, so that nothing is compiled again for it.
function(write_changed file text)
  set(former "")
  if(EXISTS "${file}")
    file(READ "${file}" former)
  endif()
  if(NOT former STREQUAL text)
    file(WRITE "${file}" "${text}")
  elseif(NOT generator MATCHES "Ninja")  # The others look at times alone, and would run this again for each build.
    file(TOUCH_NOCREATE "${file}")
  endif()
endfunction()

set(made "// Made from message catalogs: change those and build.\n")

set(text "${made}#pragma once

#include <i18n/message_argument.hpp>
#include <resource_core/msg_id.hpp>

namespace ${namespace} {

/// Makes the texts known to \`fl::i18n::MessageCatalog\`, once; all functions here call it. From any thread. Throws
/// \`std::bad_alloc\`, and may be called again then.
void add_catalogs();
")
foreach(catalog IN LISTS catalogs)
  set(english "${file_en_${catalog}}")
  string(REPLACE "." "::" scope "${catalog}")
  string(REPLACE "." ":" id "${catalog}")
  string(APPEND text "\nnamespace ${scope} {\n")
  foreach(mnemonic IN LISTS mnemonics_${english})
    set(parameters "${marks_${english}_${mnemonic}}")
    set(arguments "${parameters}")
    list(TRANSFORM parameters PREPEND "const ::fl::i18n::message_argument& argument")
    list(TRANSFORM arguments REPLACE "(.+)" "argument\\1.value()")
    list(JOIN parameters ", " parameters)
    list(JOIN arguments ", " arguments)
    string(APPEND text "
/// \"${text_${english}_${mnemonic}}\"
inline ::resource_core::BaseMsgID ${mnemonic}(${parameters}) {
  ::${namespace}::add_catalogs();
  return {\"${id}\", \"${mnemonic}\", {${arguments}}};
}
")
  endforeach()
  string(APPEND text "\n}  // namespace ${scope}\n")
endforeach()
string(APPEND text "\n}  // namespace ${namespace}\n")
write_changed("${header}" "${text}")

# As numbers, since anything may stand in a text.
set(text "${made}#include <${include}>

#include <i18n/message_catalog.hpp>

#include <string_view>

namespace {

struct catalog {
  const char* language;
  const char* name;
  std::string_view json;
};

constexpr catalog catalogs[] = {
")
foreach(catalog IN LISTS catalogs)
  string(REPLACE "." ":" id "${catalog}")
  foreach(language IN LISTS languages)
    set(file "${file_${language}_${catalog}}")
    if(NOT file STREQUAL "")
      file(SIZE "${file}" size)
      file(READ "${file}" bytes HEX)
      string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
      string(REGEX REPLACE
             "(\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..\\\\x..)"
             "\\1\"\n     \"" bytes "${bytes}")
      string(APPEND text "    {\"${tag_${language}}\", \"${id}\",\n     {\"${bytes}\", ${size}}},\n")
    endif()
  endforeach()
endforeach()
string(APPEND text "};

bool add_all() {
  for (const catalog& each : catalogs) {
    fl::i18n::MessageCatalog::add_catalog(each.language, each.name, each.json);
  }
  return true;
}

}  // namespace

void ::${namespace}::add_catalogs() {
  [[maybe_unused]] static const bool added = add_all();
}
")
write_changed("${source}" "${text}")
