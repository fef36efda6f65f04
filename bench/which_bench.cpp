// Looks up a program that lies in the last of 20 directories of PATH, by its name with the extension. The peers are
// given where to look: one has the paths of all candidates ready, the other gets the directories as one text.

#include <fl/process/which.hpp>

#include "row.hpp"

#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr const wchar_t* name = L"qxfl-bench-tool.exe";

std::string narrow(const std::wstring& ascii) {
  std::string text;
  for (const wchar_t c : ascii) {
    text.push_back(static_cast<char>(c));
  }
  return text;
}

/// Twenty new directories that are the PATH of this process, the program in the last of them.
class search_path {
 public:
  search_path() {
    for (int i = 0; i != 20; ++i) {
      directories_.push_back(root_ / ("directory of a program " + std::to_string(i)));
      std::filesystem::create_directories(directories_.back());
      text_ += (text_.empty() ? L"" : L";") + directories_.back().wstring();
    }
    std::ofstream(directories_.back() / name) << "MZ";
    ::_wputenv((L"PATH=" + text_).c_str());
  }
  search_path(const search_path&) = delete;
  search_path& operator=(const search_path&) = delete;
  ~search_path() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  const std::wstring& text() const { return text_; }
  /// What a lookup has to try, in its order.
  std::vector<std::wstring> candidates() const {
    std::vector<std::wstring> made{name};
    for (const auto& directory : directories_) {
      made.push_back((directory / name).wstring());
    }
    return made;
  }

 private:
  std::filesystem::path root_ =
      std::filesystem::temp_directory_path() / ("qxfl-which-" + std::to_string(::GetCurrentProcessId()));
  std::vector<std::filesystem::path> directories_;
  std::wstring text_;
};

void look_up_ours(bench::product& result) {
  static const std::string command = narrow(name);
  result.add(foundation::core::process::which(command).value_or("nothing"));
}

bench::contender get_attributes(const search_path& where) {
  return {[candidates = where.candidates()](bench::product& result) {
    for (const std::wstring& candidate : candidates) {
      const DWORD attributes = ::GetFileAttributesW(candidate.c_str());
      if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return result.add(narrow(candidate));
      }
    }
  }};
}

bench::contender search(const search_path& where) {
  return {[path = where.text()](bench::product& result) {
    wchar_t found[MAX_PATH];
    const DWORD length = ::SearchPathW(path.c_str(), name, nullptr, MAX_PATH, found, nullptr);
    result.add(narrow({found, length}));
  }};
}

}  // namespace

int main(int argc, char** argv) {
  const search_path where;
  bench::add_row("which_20_vs_getfileattributes", {look_up_ours}, get_attributes(where));
  bench::add_row("which_20_vs_searchpath", {look_up_ours}, search(where));
  return bench::run(argc, argv);
}
