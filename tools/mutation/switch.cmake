# Runs right after project(): every program and library that is linked from here on has the switch.
set(switch "${CMAKE_BINARY_DIR}/qxfl_mutation_switch.o")
execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -O1 -fPIC -c "${CMAKE_CURRENT_LIST_DIR}/switch.cpp" -o "${switch}"
                COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_CXX_STANDARD_LIBRARIES "\"${switch}\" ${CMAKE_CXX_STANDARD_LIBRARIES}")
