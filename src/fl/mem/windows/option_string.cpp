#include "mem/option_string.hpp"

#include <cstdlib>

namespace foundation::core::sysdep::windows {

namespace {

constexpr const char* options_variable = "TESSEL_MEM_MGR";

std::string value_of(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr ? value : "";
}

/// What TESSEL_MEM_MGR_VALUE is set to: it stays for as long as the environment may refer to it.
const std::string& save(const std::string& options) {
  static const std::string saved = options;
  _putenv_s("TESSEL_MEM_MGR_VALUE", saved.c_str());
  return saved;
}

}  // namespace

const std::string& read_option_string() {
  static const std::string options = [] {
    std::string value = value_of(options_variable);
    save(value);
    _putenv_s(options_variable, "");
    return value;
  }();
  return options;
}

}  // namespace foundation::core::sysdep::windows
