// The command line of `run`.
#pragma once

#include <fl/process/command.hpp>
#include <fl/process/elevation_level.hpp>

#include <boost/optional/optional.hpp>

#include <chrono>
#include <string>

struct run_options {
  bool help = false;                         // and nothing else
  boost::optional<std::string> input_file;   // UTF-8
  boost::optional<std::string> output_file;  // UTF-8
  boost::optional<std::chrono::milliseconds> timeout;
  boost::optional<std::string> user;  // UTF-8; whose password is to be asked for
  foundation::core::process::ElevationLevel elevation = foundation::core::process::ElevationLevel::Unset;
  bool detached = false;                                      // without this program's console
  bool no_window = false;                                     // with a console of its own that is not shown
  foundation::core::process::command command{std::string()};  // the program and its arguments

  /// Whether the system's shell starts the program, which then shares nothing with this one. A user leaves the request
  /// for elevation without effect.
  bool through_the_shell() const { return elevation == foundation::core::process::ElevationLevel::Elevated && !user; }
};

/// Reads the arguments after the program's own name. Throws std::invalid_argument that says what is wrong.
run_options parse_options(int argc, wchar_t** argv);

/// How to call the program.
extern const char* const usage_text;
