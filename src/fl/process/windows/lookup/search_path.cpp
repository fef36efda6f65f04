#include "process/windows/lookup/search_path.hpp"

#include "loggers.hpp"
#include "process/windows/lookup/environment_list.hpp"
#include "process/windows/native_text.hpp"

#include <string>

namespace foundation::core::process::windows {

namespace {

search_path_cache::directories split_search_path(const std::wstring& value) {
  if (value.empty()) {
    loggers::which.log(log::severity::note, "Environment variable PATH is empty.");
    return {};
  }
  auto directories = split_list<boost::filesystem::path>(value);
  loggers::which.log(log::severity::note, " path_val=", sysdep::windows::from_native(value),
                     " search_path.size()=", directories.size());
  return directories;
}

}  // namespace

std::shared_ptr<const search_path_cache::directories> search_path_cache::current() {
  return kept_.get(read_variable(L"PATH"), split_search_path);
}

}  // namespace foundation::core::process::windows
