#include "host/environment.hpp"

#include <safe_env/environment.hpp>

namespace test_support {

std::vector<std::string>& host_environment() {
  static std::vector<std::string> entries;
  return entries;
}

}  // namespace test_support

std::vector<std::string> safe_env::get_environment_copy() {
  return test_support::host_environment();
}
