#include <fl/process/command.hpp>
#include <i18n/convert.hpp>

#include <ostream>
#include <utility>

namespace foundation::core::process {

command::command(const std::string& name) : name_(name) {}
command::command(const ustring& name) : name_(fl::i18n::ustring_to_utf8(name)) {}
command::command(const command&) = default;
command::command(command&&) noexcept = default;
command& command::operator=(const command&) = default;
command& command::operator=(command&&) noexcept = default;
command::~command() = default;

const std::string& command::name() const {
  return name_;
}

command& command::name(const std::string& name) {
  name_ = name;
  return *this;
}

std::vector<std::string>& command::args() {
  return args_;
}
const std::vector<std::string>& command::args() const {
  return args_;
}

bool operator==(const command& left, const command& right) {
  return left.name() == right.name() && left.args() == right.args();
}

bool operator<(const command& left, const command& right) {
  const int names = left.name().compare(right.name());
  return names != 0 ? names < 0 : left.args() < right.args();
}

std::ostream& operator<<(std::ostream& stream, const command& value) {
  stream << value.name();
  for (const std::string& argument : value.args()) {
    stream << ' ' << argument;
  }
  return stream;
}

const std::string& detail::unspecified() noexcept {
  static const std::string empty;
  return empty;
}

command make_command(const std::string& name, const std::string& arg1, const std::string& arg2, const std::string& arg3,
                     const std::string& arg4, const std::string& arg5, const std::string& arg6, const std::string& arg7,
                     const std::string& arg8, const std::string& arg9, const std::string& arg10) {
  command result(name);
  result.args().push_back(arg1);
  for (const std::string* argument : {&arg2, &arg3, &arg4, &arg5, &arg6, &arg7, &arg8, &arg9, &arg10}) {
    if (argument == &detail::unspecified()) {
      break;
    }
    result.args().push_back(*argument);
  }
  return result;
}

}  // namespace foundation::core::process
