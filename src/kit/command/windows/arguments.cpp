#include <i18n/convert.hpp>

#include <kit/arguments.hpp>

#include <windows.h>

#include <string_view>

namespace foundation::kit {

std::vector<std::string> utf8_arguments() {
  const std::wstring_view line = ::GetCommandLineW();
  return split_command_line(fl::i18n::ustring_to_utf8(fl::ustring(line.begin(), line.end())));
}

}  // namespace foundation::kit
