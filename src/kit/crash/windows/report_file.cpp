#include "crash/windows/report_file.hpp"

#include "common/windows/system_error.hpp"
#include "crash/windows/file_name.hpp"

#include <windows.h>
#include <winternl.h>

#include <algorithm>

namespace foundation::kit {

namespace {

ustring kernel_name(const ustring& name) {
  if (name.empty()) {
    return {};
  }
  const std::wstring absolute = absolute_file_name(name);
  UNICODE_STRING made{};
  if (!RtlDosPathNameToNtPathName_U(absolute.c_str(), &made, nullptr, nullptr)) {
    core::sysdep::windows::throw_system_error(ERROR_INVALID_NAME, "RtlDosPathNameToNtPathName_U");
  }
  try {
    ustring result(made.Buffer, made.Buffer + made.Length / sizeof(wchar_t));
    RtlFreeUnicodeString(&made);
    return result;
  } catch (...) {
    RtlFreeUnicodeString(&made);
    throw;
  }
}

}  // namespace

bool write_whole(void* file, std::string_view text) noexcept {
  constexpr std::size_t most = 1U << 20;  // at once
  while (!text.empty()) {
    DWORD put = 0;
    if (!WriteFile(file, text.data(), static_cast<DWORD>(std::min(text.size(), most)), &put, nullptr) || put == 0) {
      return false;
    }
    text.remove_prefix(put);
  }
  return true;
}

report_file::report_file(const ustring& name) : name_(kernel_name(name)) {}

report_file::~report_file() {
  if (file_ != nullptr) {
    CloseHandle(file_);
  }
}

bool report_file::make() noexcept {
  const auto size = static_cast<USHORT>(name_.size() * sizeof(wchar_t));
  UNICODE_STRING name{size, size, reinterpret_cast<wchar_t*>(name_.data())};
  OBJECT_ATTRIBUTES attributes{};
  attributes.Length = sizeof attributes;
  attributes.ObjectName = &name;
  attributes.Attributes = OBJ_CASE_INSENSITIVE;
  IO_STATUS_BLOCK status{};
  HANDLE made = nullptr;
  if (NtCreateFile(&made, FILE_GENERIC_WRITE, &attributes, &status, nullptr, FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ,
                   FILE_OVERWRITE_IF, FILE_SYNCHRONOUS_IO_NONALERT | FILE_NON_DIRECTORY_FILE, nullptr, 0) < 0) {
    return false;
  }
  file_ = made;
  return true;
}

bool report_file::write(std::string_view text) noexcept {
  return (file_ != nullptr || make()) && write_whole(file_, text);
}

}  // namespace foundation::kit
