// The system's side of message catalogs.
#include "message_platform.hpp"

#include "catalog_file.hpp"

#include <i18n/convert.hpp>

#include <boost/system/error_code.hpp>

#include <memory>

#include <windows.h>

namespace fl::i18n::detail {
namespace {

struct close_handle {
  void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using file_handle = std::unique_ptr<void, close_handle>;

std::wstring to_wide(const ustring& text) {
  return {text.begin(), text.end()};
}

[[noreturn]] void refuse(const ustring& path, const char* call, DWORD code) {
  const boost::system::error_code error(static_cast<int>(code), boost::system::system_category());
  throw_bad_catalog(path, std::string(call) + ": " + error.message());
}

/// Null if there is no such file.
file_handle open(const ustring& path) {
  constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file =
      CreateFileW(to_wide(path).c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE)
    return file_handle(file);
  const DWORD code = GetLastError();
  if (code != ERROR_FILE_NOT_FOUND && code != ERROR_PATH_NOT_FOUND)
    refuse(path, "CreateFileW", code);
  return nullptr;
}

}  // namespace

ustring message_path_variable() {
  std::wstring value(256, L'\0');
  for (;;) {
    const DWORD length = GetEnvironmentVariableW(L"QX_MESSAGE_PATH", value.data(), static_cast<DWORD>(value.size()));
    if (length < value.size())
      return {value.begin(), value.begin() + static_cast<std::ptrdiff_t>(length)};
    value.resize(length);  // The needed size; another thread may make the value longer meanwhile.
  }
}

std::string user_locale_name() {
  wchar_t name[LOCALE_NAME_MAX_LENGTH];
  const int size = GetUserDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH);  // with the zero at the end, or 0
  return size > 0 ? ustring_to_utf8(ustring(name, name + size - 1)) : std::string();
}

std::optional<std::string> read_catalog_file(const ustring& path) {
  const file_handle file = open(path);
  if (!file)
    return std::nullopt;
  // A name such as NUL.json is a device's on many systems; reading from one may wait for ever.
  if (GetFileType(file.get()) != FILE_TYPE_DISK)
    throw_bad_catalog(path, "it is not a file on a disk");
  std::string content;
  std::string part(65536, '\0');
  for (DWORD taken = 0;; content.append(part, 0, taken)) {
    if (ReadFile(file.get(), part.data(), static_cast<DWORD>(part.size()), &taken, nullptr) == FALSE)
      refuse(path, "ReadFile", GetLastError());
    if (taken == 0)
      return content;
  }
}

}  // namespace fl::i18n::detail
