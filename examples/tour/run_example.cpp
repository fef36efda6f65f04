#include "run_example.hpp"

#include <fl/process.hpp>

#include "check.hpp"

#include <algorithm>
#include <cstdio>

namespace process = foundation::core::process;

std::string find_program(const std::string& name) {
  const auto file = process::which(name);
  check(file.has_value(), ("a program named " + name).c_str());
  return *file;
}

run_result run_example(const std::string& name, const lines& arguments, const process::environment_map& settings) {
  process::iopipe output(0);
  process::context how;
  for (const auto& [variable, value] : settings) {
    how.environment()[variable] = value;
  }
  how.std_out(process::pipe_to(output));
  how.std_err(process::merge_with_stdout());
  how.explicitlyInheritHandles(true);
  process::command what(find_program(name));
  what.args() = arguments;
  process::process child(what, how);
  run_result result;
  for (std::string line; std::getline(output, line);) {
    result.output.push_back(line);
  }
  result.status = static_cast<unsigned long>(child.exit_status());
  return result;
}

lines::const_iterator find(const lines& output, const std::string& part) {
  const auto holds_part = [&](const std::string& line) { return line.find(part) != std::string::npos; };
  return std::find_if(output.begin(), output.end(), holds_part);
}

void print(const lines& output) {
  for (const std::string& line : output) {
    std::printf("  %s\n", line.c_str());
  }
}
