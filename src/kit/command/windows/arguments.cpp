#include <i18n/convert.hpp>

#include "command/command_line.hpp"

#include <kit/arguments.hpp>

#include <windows.h>

#include <string_view>

namespace foundation::kit {

std::vector<std::string> utf8_arguments() {
  const std::wstring_view line = ::GetCommandLineW();
  std::vector<std::string> all;
  for (const fl::ustring& argument : split_command_line(fl::ustring(line.begin(), line.end()))) {
    all.push_back(fl::i18n::ustring_to_utf8(argument));
  }
  return all;
}

}  // namespace foundation::kit
