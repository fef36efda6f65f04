#include "process/windows/lookup/search_path.hpp"

#include "loggers.hpp"
#include "process/windows/lookup/environment_list.hpp"
#include "process/windows/native_text.hpp"

#include <string_view>
#include <utility>

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
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::wstring_view value = read_variable(L"PATH");
  if (!directories_ || value != value_) {
    rebuild(std::wstring(value));
  }
  return directories_;
}

void search_path_cache::rebuild(std::wstring value) {
  directories_ = std::make_shared<const directories>(split_search_path(value));
  value_ = std::move(value);
}

}  // namespace foundation::core::process::windows
