// The encoding of a command for the system, mostly thin, logged covers of the pure rules.

#include <fl/sysdep/windows/process_impl.hpp>

#include "loggers.hpp"
#include "process/launch_text/argument_quoting.hpp"
#include "process/launch_text/user_string.hpp"

namespace foundation::core::sysdep::windows {

std::string process_impl::escape_copy(std::string text) {
  std::string quoted = process::quote_argument(std::move(text));
  loggers::process_impl.log(log::severity::note, " str=", quoted);
  return quoted;
}

void process_impl::append_env_var(std::vector<char>& block, const std::pair<std::string, std::string>& entry) {
  block.insert(block.end(), entry.first.begin(), entry.first.end());
  block.push_back('=');
  block.insert(block.end(), entry.second.begin(), entry.second.end());
  block.push_back('\0');
}

boost::tuples::tuple<std::string, std::string> process_impl::parse_user(const std::string& text) {
  return process::parse_user(text);
}

}  // namespace foundation::core::sysdep::windows
