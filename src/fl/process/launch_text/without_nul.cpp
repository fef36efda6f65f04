#include "process/launch_text/without_nul.hpp"

#include <stdexcept>

namespace foundation::core::process {

const std::string& without_nul(const std::string& text, const char* what) {
  if (text.find('\0') != std::string::npos) {
    throw std::invalid_argument(std::string("the ") + what + " holds a NUL character");
  }
  return text;
}

}  // namespace foundation::core::process
