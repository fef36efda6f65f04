// which: shows which file a command name stands for.

#include <fl/process/which.hpp>
#include <i18n/convert.hpp>

#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace process = foundation::core::process;

extern "C" {
int _dowildcard = 0;  // A name is looked up as it was written.
}

namespace {

constexpr int exit_not_found = 1;
constexpr int exit_usage = 2;

const char* const usage_text =
    "usage: which [--all] NAME...\n"
    "\n"
    "Prints the file that each NAME stands for: NAME itself, a file of this name in a directory of PATH, or one of\n"
    "these with an extension of PATHEXT behind it. With --all prints all such files, in the order of the search.\n"
    "\n"
    "QX_LOG='fl::process::which=all' which NAME   shows how the search goes\n"
    "\n"
    "exit status: 0 each was found, 1 one was not, 2 wrong usage\n";

using strings = std::vector<std::string>;  // UTF-8

struct options {
  bool all = false;
  bool help = false;
  strings names;
};

std::string to_utf8(const std::wstring& text) {
  return fl::i18n::ustring_to_utf8(fl::ustring(text.begin(), text.end()));
}

std::filesystem::path to_path(const std::string& text) {
  const fl::ustring units = fl::i18n::utf8_to_ustring(text);
  return std::wstring(units.begin(), units.end());
}

options parse_options(int argc, wchar_t** argv) {
  options chosen;
  for (int i = 1; i < argc; ++i) {
    const std::wstring word(argv[i]);
    if (word == L"--all") {
      chosen.all = true;
    } else if (word == L"--help") {
      chosen.help = true;
    } else if (word.rfind(L"--", 0) == 0) {
      throw std::invalid_argument("there is no such option");
    } else {
      chosen.names.push_back(to_utf8(word));
    }
  }
  if (chosen.names.empty() && !chosen.help) {
    throw std::invalid_argument("no command is named");
  }
  return chosen;
}

strings entries_of(const wchar_t* variable) {
  strings entries;
  const wchar_t* const value = _wgetenv(variable);
  std::istringstream list(value ? to_utf8(value) : std::string());
  for (std::string entry; std::getline(list, entry, ';');) {
    entries.push_back(entry);
  }
  return entries;
}

/// Whether the library accepts `file` as a command. One that is missing is not asked for: it would be searched for.
bool is_command(const std::string& file) {
  return std::filesystem::exists(to_path(file)) && process::which(file) == file;
}

/// Every file that `name` can stand for, in the order of the search, each once.
strings all_hits(const std::string& name) {
  strings extensions = entries_of(L"PATHEXT");
  extensions.insert(extensions.begin(), "");
  const strings directories = entries_of(L"PATH");
  strings hits;
  const auto add = [&](const std::string& file) {
    if (is_command(file) && std::find(hits.begin(), hits.end(), file) == hits.end()) {
      hits.push_back(file);
    }
  };
  for (const std::string& extension : extensions) {
    add(name + extension);
    for (const std::string& directory : directories) {
      add(to_utf8((to_path(directory) / to_path(name + extension)).native()));
    }
  }
  return hits;
}

strings first_hit(const std::string& name) {
  const auto file = process::which(name);
  return file ? strings{*file} : strings{};
}

int print_hits(const options& chosen) {
  int status = 0;
  for (const std::string& name : chosen.names) {
    const strings hits = chosen.all ? all_hits(name) : first_hit(name);
    for (const std::string& file : hits) {
      std::puts(file.c_str());
    }
    if (hits.empty()) {
      std::fprintf(stderr, "which: no %s in PATH\n", name.c_str());
      status = exit_not_found;
    }
  }
  return status;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  try {
    const options chosen = parse_options(argc, argv);
    if (!chosen.help) {
      return print_hits(chosen);
    }
    std::fputs(usage_text, stdout);
    return 0;
  } catch (const std::invalid_argument& e) {
    std::fprintf(stderr, "which: %s\n\n%s", e.what(), usage_text);
    return exit_usage;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "which: %s\n", e.what());
    return exit_not_found;
  }
}
