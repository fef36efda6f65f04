# What is said of faults in message catalogs when a program is built, all at once, and what is made of good ones. Run by
# CTest as
#   cmake -D SCRIPT=QxflCompileMessages.cmake -D WORK=folder -P messages_test.cmake

cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE "${WORK}")
set(files "")

# A catalog of the next call of `expect`.
function(catalog path content)
  file(WRITE "${WORK}/${path}" "${content}")
  list(APPEND files "${WORK}/${path}")
  set(files "${files}" PARENT_SCOPE)
endfunction()

# Reads the catalogs. The faults are these, without the folder, in this order; with none, files are written.
function(expect)
  file(REMOVE "${WORK}/made.hpp" "${WORK}/made.cpp")
  file(WRITE "${WORK}/settings.cmake" "set(files [[${files}]])\nset(header [[${WORK}/made.hpp]])\n"
       "set(source [[${WORK}/made.cpp]])\nset(include made.hpp)\nset(namespace test)\nset(generator Ninja)\n")
  execute_process(COMMAND "${CMAKE_COMMAND}" -D "SETTINGS=${WORK}/settings.cmake" -P "${SCRIPT}"
                  RESULT_VARIABLE result ERROR_VARIABLE output)
  string(JOIN "\n" expected ${ARGN})
  string(REPLACE "${WORK}/" "" output "${output}")
  string(REGEX REPLACE "\nCMake Error at .*" "" said "${output}")
  if(expected STREQUAL "")
    set(is_right (result EQUAL 0 AND EXISTS "${WORK}/made.hpp" AND EXISTS "${WORK}/made.cpp"))
  else()
    set(is_right (NOT result EQUAL 0 AND NOT EXISTS "${WORK}/made.hpp" AND NOT EXISTS "${WORK}/made.cpp"
                  AND output MATCHES "Faults in the message catalogs: ${ARGC}\n"))
  endif()
  if(NOT (${is_right}) OR NOT said STREQUAL expected)
    message(NOTICE "${output}\n---- in place of\n${expected}")
    message(FATAL_ERROR "other faults than expected, result ${result}")
  endif()
  set(files "" PARENT_SCOPE)
endfunction()

# ---- nothing wrong ----

string(ASCII 239 187 191 mark)
catalog(en/A.x.json "${mark}{ \"b\": \"[{1};\\\\{{0}}\\u007b0}\", \"c_1\"\n:\r\n\t\"\\ud83d\\ude00 \\\"${mark}\\\\\" }\n")
catalog(de-AT/A.x.json "{\"b\": \"{1}{0} {1}]\"}")
catalog(de/A.x.json "{\"c_1\": \"\", \"b\": \"{0}{1}\"}")
catalog(en/B.json " {\n} ")
catalog(de/B.json "{}")
expect()
file(READ "${WORK}/made.hpp" header)
foreach(part IN ITEMS "namespace A::x {" "\n/// \"[{1};\\\\{{0}}\\u007b0}\"\n" "::resource_core::BaseMsgID c_1() {"
                      "b(const ::fl::i18n::message_argument& argument0, const ::fl::i18n::message_argument& argument1) {")
  string(FIND "${header}" "${part}" position)
  if(position EQUAL -1)
    message(FATAL_ERROR "${part} is missing in\n${header}")
  endif()
endforeach()

# ---- each file has a fault of its own ----

string(ASCII 252 u_umlaut)
string(ASCII 237 160 128 surrogate)
string(ASCII 255 254 utf16)
string(ASCII 7 bell)
catalog(en/byte.json "{\"a\": \"ü\",\n\"b\": \"${u_umlaut}\"}")
catalog(en/half.json "{\"a\": \"${surrogate}\"}")
catalog(en/wide.json "${utf16}{")
catalog(en/bell.json "\n{\"a\": \"${bell}\"}")
catalog(en/empty.json "")
catalog(en/array.json "[]")
catalog(en/cut.json "{\"a\": \"1\",\n\n")
catalog(en/comma.json "{\"a\": \"1\",\n}")
catalog(en/colon.json "{\"a\"\n\"1\"}")
catalog(en/number.json "{\"a\":\n\n 1}")
catalog(en/two.json "{\"a\": \"1\"\n\"b\": \"2\"}")
catalog(en/open.json "{\"a\": \"1\",\n\"b\": \"2}")
catalog(en/more.json "{\"a\": \"1\"}\n}")
catalog(en/line.json "{\n\"a\": \"1\n\"}")
catalog(en/marks.json "${mark}${mark}{}")
catalog(en/escape.json "{\"a\": \"\\\\\\x\",\n\"b\": \"\\ud83d\", \"c\": \"\\u12\\n34\"}")
catalog(en/twice.json "{\"a\": \"1\", \"b\": \"2\",\n\"a\": \"3\"}")
catalog(en/names.json "{\"out-of-stock\": \"{0}\",\n\"delete\": \"{0}\", \"\\u0061\": \"{0}\", \"\": \"\"}")
catalog(en/braces.json "{\"a\": \"{0}}\",\n\"b\": \"{{}} {item} {01}\"}")
catalog(en/gap.json "{\"a\": \"{2} {0}\"}")
catalog(en/OUTER.json "{\"x\": \"\",\n\"inner\": \"\"}")
catalog(en/OUTER.inner.json "{}")
catalog(en/9.class.json "{}")
catalog(en_GB/a.json "{}")
catalog(other/en/gap.json "{}")
set(name "is ill-formed: letters, digits and \"_\" behind a letter are expected")
set(brace "is neither a mark such as {0} nor a doubled brace")
expect("en/byte.json:2: error: the file is not in UTF-8 (byte fc)"
       "en/half.json:1: error: the file is not in UTF-8 (byte ed)"
       "en/wide.json:1: error: the file is in UTF-16, and not in UTF-8"
       "en/bell.json:2: error: a control character (byte 07)"
       "en/empty.json:1: error: one object from names to texts is expected"
       "en/array.json:1: error: one object from names to texts is expected"
       "en/cut.json:3: error: the file ends where a name in double quotes is expected"
       "en/comma.json:2: error: a name in double quotes is expected"
       "en/colon.json:2: error: \":\" behind \"a\" is expected"
       "en/number.json:3: error: a text in double quotes for \"a\" is expected"
       "en/two.json:2: error: \",\" or \"}\" behind the text of \"a\" is expected"
       "en/open.json:2: error: a closing double quote is missing"
       "en/more.json:1: error: more stands behind the object"
       "en/line.json:2: error: a tab or the end of the line stands within double quotes"
       "en/marks.json:1: error: one object from names to texts is expected"
       "en/escape.json:1: error: \\x stands for no character"
       "en/escape.json:2: error: \\ud83d stands for no character"
       "en/escape.json:2: error: \\u12 stands for no character"
       "en/twice.json:2: error: \"a\" stands here again, after line 1"
       "en/names.json:1: error: the name \"out-of-stock\" ${name}"
       "en/names.json:2: error: the name \"delete\" is a word of C++"
       "en/names.json:2: error: the name \"\\u0061\" ${name}"
       "en/names.json:2: error: the name \"\" ${name}"
       "en/braces.json:1: error: \"}\" ${brace}"
       "en/braces.json:2: error: \"{\" ${brace}"
       "en/braces.json:2: error: \"}\" ${brace}"
       "en/braces.json:2: error: \"{01}\" ${brace}"
       "en/9.class.json:1: error: the catalog's name \"9\" ${name}"
       "en/9.class.json:1: error: the catalog's name \"class\" is a word of C++"
       "en_GB/a.json:1: error: the folder \"en_GB\" is no language tag such as de or de-AT"
       "other/en/gap.json:1: error: the same catalog in the same language is in en/gap.json"
       "en/OUTER.json:2: error: \"inner\" is also the name of the catalog in en/OUTER.inner.json"
       "en/gap.json:1: error: \"a\" has {2}, but not {1}")

# ---- languages that differ ----

catalog(en/A.json "{\"same\": \"{1} {0}\",\n\"gone\": \"\", \"fewer\": \"{0} {1}\"}")
catalog(de/A.json "{\"same\": \"{0} {1} {0}\",\n\"fewer\": \"{1}\", \"extra\": \"\"}")
catalog(de-AT/A.json "{\"same\": \"\"}")
catalog(en/B.json "{\"a\": \"\"}")
catalog(en-GB/B.json "{}")
catalog(fr/B.json "{\"a\": 1}")
catalog(fr/C.json "{\"a\": \"\"}")
expect("fr/B.json:1: error: a text in double quotes for \"a\" is expected"
       "de/A.json:2: error: the marks of \"fewer\" are {1}, but {0} {1} in en/A.json:2"
       "de/A.json:2: error: \"extra\" is not in en/A.json"
       "de/A.json:1: error: \"gone\" is missing, which stands in en/A.json:2"
       "de-AT/A.json:1: error: the marks of \"same\" are none, but {0} {1} in en/A.json:1"
       "en/A.json:1: error: there is no catalog fr/A.json beside it"
       "en/B.json:1: error: there is no catalog de/B.json beside it"
       "fr/C.json:1: error: there is no catalog en/C.json, which all languages fall back to")
