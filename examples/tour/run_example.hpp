// How stops of the tour run the other examples, as child processes, and look at what these print.
#pragma once

#include <fl/process/context.hpp>

#include <string>
#include <vector>

using lines = std::vector<std::string>;

/// The file that a command name stands for.
std::string find_program(const std::string& name);

struct run_result {
  lines output;  ///< of both output streams
  unsigned long status;
};

/// `settings`: what the child finds in its environment besides what the tour has.
run_result run_example(const std::string& name, const lines& arguments = {},
                       const foundation::core::process::environment_map& settings = {});

/// The first line that holds `part`.
lines::const_iterator find(const lines& output, const std::string& part);

void print(const lines& output);
