// The printed form of a launch context, for logs: one line, nothing escaped, no password.
#include <fl/process/context.hpp>

#include <boost/optional/optional_io.hpp>

#include <ostream>

namespace foundation::core::process {

namespace {

void print(std::ostream& stream, const environment_map& environment) {
  stream << "{ ";
  const char* separator = "";
  for (const auto& [name, value] : environment) {
    stream << separator << name << " : " << value;
    separator = ", ";
  }
  stream << " }";
}

void print(std::ostream& stream, const inherited_handles_type& handles) {
  stream << "{ ";
  const char* separator = "";
  for (const void* handle : handles) {
    stream << separator << handle;
    separator = ", ";
  }
  stream << " }";
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const context::User& value) {
  return stream << '(' << value.name << " <credentials>)";
}

std::ostream& operator<<(std::ostream& stream, const context& value) {
  stream << "context { environment : ";
  print(stream, value.environment());
  stream << ", std_in : " << value.std_in() << ", std_out : " << value.std_out() << ", std_err : " << value.std_err();
  stream << ", directory : ";
  if (value.directory()) {
    stream << '"' << *value.directory() << '"';
  } else {
    stream << "unspecified";
  }
  stream << ", user : ";
  if (value.user()) {
    stream << *value.user();
  } else {
    stream << "unspecified";
  }
  stream << ", inherited_handles : ";
  print(stream, value.inherited_handles());
  stream << ", detached_process : " << value.detached_process();
  stream << ", explicitly inherit handles : " << value.explicitlyInheritHandles();
  stream << ", create_no_window : " << value.create_no_window();
  stream << ", hide_windows : " << value.hide_windows();
  return stream << ", elevated : " << value.elevationLevel() << " }";
}

}  // namespace foundation::core::process
