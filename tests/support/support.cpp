#include "support.hpp"

#include <boost/locale/encoding_utf.hpp>

#include <windows.h>
#include <tlhelp32.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace test_support {

std::wstring widen(std::string_view utf8) {
  return boost::locale::conv::utf_to_utf<wchar_t>(utf8.data(), utf8.data() + utf8.size());
}

std::string narrow(std::wstring_view utf16) {
  return boost::locale::conv::utf_to_utf<char>(utf16.data(), utf16.data() + utf16.size());
}

std::string child_path(std::string_view name) {
  std::wstring program(32768, L'\0');
  program.resize(::GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
  return narrow(std::filesystem::path(program).replace_filename(widen(name) + L".exe").native());
}

namespace {

template <class Stream>
Stream open(const std::string& path) {
  Stream file(std::filesystem::path(widen(path)), std::ios::binary);
  if (!file) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  file.exceptions(std::ios::badbit);
  return file;
}

}  // namespace

std::string read_file(const std::string& path) {
  auto file = open<std::ifstream>(path);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void write_file(const std::string& path, std::string_view content) {
  open<std::ofstream>(path).write(content.data(), static_cast<std::streamsize>(content.size())).flush();
}

temp_dir::temp_dir(std::string_view stem) {
  static std::atomic<unsigned> made{0};
  const std::string start = std::string(stem) + "-" + std::to_string(::GetCurrentProcessId()) + "-";
  std::filesystem::path path;
  // An earlier process with this number may have left a folder behind.
  do {
    path = std::filesystem::temp_directory_path() / widen(start + std::to_string(++made));
  } while (!std::filesystem::create_directory(path));
  path_ = narrow(path.native());
}

temp_dir::~temp_dir() {
  std::error_code ignored;
  std::filesystem::remove_all(widen(path_), ignored);
}

namespace {

// The C run-time keeps a copy for getenv, and takes an empty value for a removal: the system's is set behind it.
void set_variable(const std::wstring& name, const std::optional<std::wstring>& value) {
  ::_wputenv((name + L"=" + value.value_or(L"")).c_str());
  ::SetEnvironmentVariableW(name.c_str(), value ? value->c_str() : nullptr);
}

}  // namespace

scoped_variable::scoped_variable(std::string_view name, std::optional<std::string_view> value) : name_(widen(name)) {
  if (const wchar_t* const former = ::_wgetenv(name_.c_str())) {
    former_ = former;
  }
  set_variable(name_, value ? std::optional(widen(*value)) : std::nullopt);
}

scoped_variable::~scoped_variable() {
  set_variable(name_, former_);
}

unsigned long handle_count() {
  DWORD count = 0;
  if (::GetProcessHandleCount(::GetCurrentProcess(), &count) && count != 0) {
    return count;
  }
  // Wine 8 reports success and 0, which cannot be. (Its table of all processes' handles must not be asked for: its
  // server crashes over a process that has none at the moment.) It gives out the lowest free number, so that none
  // stands behind a long gap.
  constexpr std::uintptr_t step = 4;
  constexpr std::uintptr_t long_gap = 256 * step;
  for (std::uintptr_t number = step, last = 0; number <= last + long_gap; number += step) {
    if (DWORD flags; ::GetHandleInformation(reinterpret_cast<HANDLE>(number), &flags)) {
      last = number;
      ++count;
    }
  }
  return count;
}

namespace {

/// The count, once it is no more than `wanted`; or half a second later. Callbacks of the system's pool close handles,
/// too.
DWORD settled_handle_count(DWORD wanted) {
  DWORD count = handle_count();
  for (int i = 0; count > wanted && i != 50; ++i) {
    ::Sleep(10);
    count = handle_count();
  }
  return count;
}

}  // namespace

testing::AssertionResult loses_no_handle(const std::function<void()>& work) {
  testing::AssertionResult lost = testing::AssertionFailure() << "handles before and after each run:";
  for (int run = 0; run != 4; ++run) {
    const auto before = handle_count();
    work();
    const auto after = settled_handle_count(before);
    if (after <= before) {
      return testing::AssertionSuccess();
    }
    lost << " " << before << ", " << after << ";";
  }
  return lost;
}

child_result run_child(const std::string& name, const std::string& argument) {
  const temp_dir folder;
  const std::string out = folder.file("out"), err = folder.file("err");
  const std::string line = "\"" + child_path(name) + "\" " + argument + " >\"" + out + "\" 2>\"" + err + "\"";
  const int code = ::_wsystem(widen("\"" + line + "\"").c_str());
  return {static_cast<std::uint32_t>(code), read_file(out), read_file(err)};
}

std::vector<unsigned long> thread_ids() {
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  std::vector<unsigned long> ids;
  for (BOOL more = ::Thread32First(snapshot, &entry); more; more = ::Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == ::GetCurrentProcessId()) {
      ids.push_back(entry.th32ThreadID);
    }
  }
  ::CloseHandle(snapshot);
  return ids;
}

}  // namespace test_support
