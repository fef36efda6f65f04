// The command line of `run`.
#pragma once

#include <fl/process/command.hpp>

#include <boost/optional/optional.hpp>

#include <chrono>
#include <string>

struct run_options {
  boost::optional<std::string> input_file;   // UTF-8
  boost::optional<std::string> output_file;  // UTF-8
  boost::optional<std::chrono::milliseconds> timeout;
  foundation::core::process::command command;  // the program and its arguments
};

/// Reads the arguments after the program's own name. Throws std::invalid_argument that says what is wrong.
run_options parse_options(int argc, wchar_t** argv);

/// How to call the program.
extern const char* const usage_text;
