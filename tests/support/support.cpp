#include "support.hpp"

#include <windows.h>
// Behind windows.h, whose types they use.
#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace test_support {
namespace {

[[noreturn]] void throw_last_error(const char* call) {
  throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), call);
}

struct close_handle {
  void operator()(HANDLE handle) const noexcept { ::CloseHandle(handle); }
};
using unique_handle = std::unique_ptr<void, close_handle>;

unique_handle open_file(const std::string& path, DWORD access, DWORD disposition) {
  const HANDLE file = ::CreateFileW(widen(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE)
    throw_last_error(("CreateFileW " + path).c_str());
  return unique_handle(file);
}

std::wstring program_path() {
  std::wstring path(32768, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace

std::wstring widen(std::string_view utf8) {
  const int given = static_cast<int>(utf8.size());
  std::wstring wide(utf8.size(), L'\0');  // UTF-16 never has more units than UTF-8
  wide.resize(static_cast<std::size_t>(
      ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), given, wide.data(), static_cast<int>(wide.size()))));
  return wide;
}

std::string narrow(std::wstring_view utf16) {
  const int given = static_cast<int>(utf16.size());
  std::string bytes(utf16.size() * 3, '\0');
  bytes.resize(static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, utf16.data(), given, bytes.data(),
                                                              static_cast<int>(bytes.size()), nullptr, nullptr)));
  return bytes;
}

std::string child_path(std::string_view name) {
  std::wstring path = program_path();
  path.erase(path.find_last_of(L'\\') + 1);
  return narrow(path) + std::string(name) + ".exe";
}

std::string read_file(const std::string& path) {
  const unique_handle file = open_file(path, GENERIC_READ, OPEN_EXISTING);
  std::string content;
  char chunk[65536];
  for (DWORD got = 0;; content.append(chunk, got)) {
    if (!::ReadFile(file.get(), chunk, sizeof chunk, &got, nullptr))
      throw_last_error(("ReadFile " + path).c_str());
    if (got == 0)
      return content;
  }
}

void write_file(const std::string& path, std::string_view content) {
  const unique_handle file = open_file(path, GENERIC_WRITE, CREATE_ALWAYS);
  DWORD put = 0;
  if (!::WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &put, nullptr))
    throw_last_error(("WriteFile " + path).c_str());
}

temp_dir::temp_dir(std::string_view stem) {
  static std::atomic<unsigned> made{0};
  std::wstring base(MAX_PATH + 1, L'\0');
  base.resize(::GetTempPathW(static_cast<DWORD>(base.size()), base.data()));
  const std::string start = narrow(base) + std::string(stem) + "-" + std::to_string(::GetCurrentProcessId()) + "-";
  // An earlier process with this number may have left a folder behind.
  do
    path_ = start + std::to_string(++made);
  while (!::CreateDirectoryW(widen(path_).c_str(), nullptr) && ::GetLastError() == ERROR_ALREADY_EXISTS);
  if (::GetFileAttributesW(widen(path_).c_str()) == INVALID_FILE_ATTRIBUTES)
    throw_last_error(("CreateDirectoryW " + path_).c_str());
}

temp_dir::~temp_dir() {
  std::error_code ignored;
  std::filesystem::remove_all(std::filesystem::path(widen(path_)), ignored);
}

std::string temp_dir::file(std::string_view name) const {
  return path_ + "\\" + std::string(name);
}

temp_file::temp_file(std::string_view content, std::string_view name) : path_(folder_.file(name)) {
  write_file(path_, content);
}

namespace {

std::optional<std::wstring> variable(const std::wstring& name) {
  ::SetLastError(ERROR_SUCCESS);
  std::wstring value(32768, L'\0');
  value.resize(::GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size())));
  if (value.empty() && ::GetLastError() == ERROR_ENVVAR_NOT_FOUND)
    return std::nullopt;
  return value;
}

// The C run-time keeps a copy for getenv, and takes an empty value for a removal: the system's is set behind it.
void set_variable(const std::wstring& name, const std::optional<std::wstring>& value) {
  ::_wputenv((name + L"=" + value.value_or(L"")).c_str());
  ::SetEnvironmentVariableW(name.c_str(), value ? value->c_str() : nullptr);
}

}  // namespace

scoped_variable::scoped_variable(std::string_view name, std::optional<std::string_view> value)
    : name_(widen(name)), former_(variable(name_)) {
  set_variable(name_, value ? std::optional(widen(*value)) : std::nullopt);
}

scoped_variable::~scoped_variable() {
  set_variable(name_, former_);
}

namespace {

// SystemExtendedHandleInformation, which winternl.h leaves out: a count, an unused word, and the entries.
constexpr int extended_handle_information = 64;
constexpr auto length_mismatch = static_cast<NTSTATUS>(0xC0000004);
struct handle_entry {
  void* object;
  ULONG_PTR process_id;
  ULONG_PTR handle;
  ULONG access;
  USHORT creator;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};
struct handle_table {
  ULONG_PTR count;
  ULONG_PTR reserved;
  handle_entry entries[1];
};

using query_function = NTSTATUS(NTAPI*)(int kind, void* memory, ULONG size, ULONG* needed);

std::uint32_t count_in_system_table() {
  const auto query = reinterpret_cast<query_function>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<std::byte> memory(1 << 18);
  NTSTATUS status;
  while ((status = query(extended_handle_information, memory.data(), static_cast<ULONG>(memory.size()), nullptr)) ==
         length_mismatch)
    memory.resize(memory.size() * 2);
  if (status < 0)
    throw std::runtime_error("NtQuerySystemInformation failed");
  const auto& table = *reinterpret_cast<const handle_table*>(memory.data());
  return static_cast<std::uint32_t>(
      std::count_if(table.entries, table.entries + table.count,
                    [](const handle_entry& each) { return each.process_id == ::GetCurrentProcessId(); }));
}

}  // namespace

std::uint32_t handle_count() {
  DWORD count = 0;
  if (!::GetProcessHandleCount(::GetCurrentProcess(), &count))
    throw_last_error("GetProcessHandleCount");
  // Wine 8 reports success and 0, which cannot be; its table of all handles is right.
  return count != 0 ? count : count_in_system_table();
}

std::uint32_t thread_count() {
  const unique_handle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  std::uint32_t count = 0;
  for (BOOL more = ::Thread32First(snapshot.get(), &entry); more; more = ::Thread32Next(snapshot.get(), &entry))
    count += entry.th32OwnerProcessID == ::GetCurrentProcessId();
  return count;
}

}  // namespace test_support
