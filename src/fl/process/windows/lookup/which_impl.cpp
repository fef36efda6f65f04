#include <fl/process/which.hpp>

#include "loggers.hpp"
#include "process/windows/lookup/environment_list.hpp"
#include "process/windows/lookup/search_path.hpp"
#include "process/windows/native_text.hpp"

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/optional/optional_io.hpp>

#include <algorithm>
#include <cctype>
#include <set>
#include <vector>

namespace foundation::core::process {

namespace windows {

namespace {

using boost::optional;
using boost::filesystem::path;
using sysdep::windows::from_native;
using sysdep::windows::to_native;

template <class... Parts>
void note(const Parts&... parts) {
  loggers::which.log(log::severity::note, parts...);
}

bool has_known_extension(const path& file) {
  static const std::set<std::string> known_extensions = {".COM", ".EXE", ".BAT", ".CMD", ".VBS", ".VBE",
                                                         ".JS",  ".JSE", ".WSF", ".WSH", ".MSC"};
  std::string extension = from_native(file.extension().native());
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return known_extensions.count(extension) != 0;
}

/// What the filesystem library throws, but in UTF-8: its own text has the path and the message in the active code page.
class refused_look : public boost::filesystem::filesystem_error {
 public:
  refused_look(const path& file, int code)
      : filesystem_error("boost::filesystem::status", file, {code, boost::system::system_category()}),
        text_(std::string(system_error::what()) + ": \"" + from_native(file.native()) + '"') {}
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

boost::filesystem::file_type type_of(const path& file) {
  boost::system::error_code failure;
  const auto type = boost::filesystem::status(file, failure).type();
  if (type == boost::filesystem::status_error) {
    throw refused_look(file, failure.value());
  }
  return type;
}

bool is_command(const path& file) {
  const boost::filesystem::file_type type = type_of(file);
  return type != boost::filesystem::file_not_found && type != boost::filesystem::directory_file &&
         has_known_extension(file);
}

std::vector<std::string> load_pathext() {
  const std::wstring value = read_variable(L"PATHEXT");
  std::vector<std::string> extensions;
  if (value.empty()) {
    note("The environment variable PATHEXT is empty.");
  } else {
    note("Using the environment variable PATHEXT.");
    for (const std::wstring& extension : split_list<std::wstring>(value)) {
      extensions.push_back(from_native(extension));
    }
  }
  note(" pathext_val=", from_native(value), " pathext.size()=", extensions.size());
  return extensions;
}

/// The file of exactly this name, as it stands or in a directory of PATH.
optional<std::string> search(const std::string& name) {
  const auto directories = search_path.current();
  const path file(to_native(name));
  if (is_command(file)) {
    note("Command exists: '", name, "'");
    return name;
  }
  note("Searching for ", name, " ...");
  path candidate;  // One for all, so that its memory serves the whole walk.
  for (const path& directory : *directories) {
    candidate = directory;
    candidate /= file;
    if (is_command(candidate)) {
      optional<std::string> found = from_native(candidate.native());
      note("which_impl: Found ", *found);
      return found;
    }
  }
  note("which_impl: Failed to find ", name);
  return boost::none;
}

optional<std::string> search_with_extensions(const std::string& command_name,
                                             const std::vector<std::string>& extensions) {
  if (extensions.empty()) {
    note("No extensions to try.");
    return boost::none;
  }
  note("Trying extensions... ");
  for (const std::string& extension : extensions) {
    note(" ext=", extension);
    if (optional<std::string> ans = search(command_name + extension)) {
      note(" ans=", ans);
      return ans;
    }
  }
  return boost::none;
}

optional<std::string> which_impl(const std::string& command_name) {
  const log::scope_trace trace(loggers::which, __PRETTY_FUNCTION__);
  loggers::which.log(log::severity::arguments, " command_name=", command_name);
  // Read once in a process: unlike PATH, a change of it later on has no effect.
  static const std::vector<std::string> pathext = load_pathext();
  if (optional<std::string> ans = search(command_name)) {
    note("Found ", command_name, "'", ans, "'");
    return ans;
  }
  note("Did not find '", command_name, "'.");
  return search_with_extensions(command_name, pathext);
}

}  // namespace

}  // namespace windows

boost::optional<std::string> which(const std::string& command_name) {
  return windows::which_impl(command_name);
}

}  // namespace foundation::core::process
