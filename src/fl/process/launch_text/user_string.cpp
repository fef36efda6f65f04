#include "process/launch_text/user_string.hpp"

#include <fl/process/errors.hpp>

namespace foundation::core::process {

boost::tuples::tuple<std::string, std::string> parse_user(const std::string& text) {
  std::string user = text;
  std::string domain = ".";
  if (const std::size_t backslash = text.find('\\'); backslash != std::string::npos) {
    domain = text.substr(0, backslash);
    user = text.substr(backslash + 1);
  } else if (const std::size_t at = text.find('@'); at != std::string::npos) {
    user = text.substr(0, at);
    domain = text.substr(at + 1);
  }
  if (user.empty() || domain.empty()) {
    throw process_bad_user("Failed to parse user string \"" + text +
                           "\". User must be specified as either USER@DOMAIN, DOMAIN\\USER or USER.");
  }
  return boost::tuples::make_tuple(user, domain);
}

}  // namespace foundation::core::process
