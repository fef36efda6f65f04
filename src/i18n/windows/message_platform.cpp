// The system's side of message catalogs.
#include "catalog/message_platform.hpp"

#include <foundation_log/logger.hpp>
#include <i18n/convert.hpp>
#include <i18n/path.hpp>

#include "catalog/bad_catalog.hpp"
#include "common/windows/handle_closer.hpp"

#include <boost/system/error_code.hpp>

#include <windows.h>

#include <algorithm>
#include <new>

namespace fl::i18n::detail {
namespace {

using foundation::core::sysdep::windows::HandleCloser;

/// Whether the code says that the way to the file leads nowhere, rather than something about the file.
bool is_unreachable(DWORD code) {
  switch (code) {
    case ERROR_INVALID_DRIVE:
    case ERROR_NOT_READY:
    case ERROR_REM_NOT_LIST:
    case ERROR_BAD_NETPATH:
    case ERROR_NETWORK_BUSY:
    case ERROR_DEV_NOT_EXIST:
    case ERROR_UNEXP_NET_ERR:
    case ERROR_NETNAME_DELETED:
    case ERROR_NETWORK_ACCESS_DENIED:
    case ERROR_BAD_NET_NAME:
    case ERROR_SEM_TIMEOUT:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_NO_NET_OR_BAD_PATH:
    case ERROR_NO_NETWORK:
    case ERROR_NETWORK_UNREACHABLE:
    case ERROR_HOST_UNREACHABLE:
    case ERROR_CONNECTION_REFUSED:
    case ERROR_LOGON_FAILURE:
      return true;
    default:
      return false;
  }
}

[[noreturn]] void refuse(const ustring& path, const char* call, DWORD code) {
  const boost::system::error_code error(static_cast<int>(code), boost::system::system_category());
  const std::string reason = std::string(call) + ": " + error.message();
  if (is_unreachable(code)) {
    throw unreachable_directory(reason);
  }
  throw_bad_catalog(path, reason);
}

/// Null if there is no such file.
HANDLE open(const ustring& path) {
  constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = CreateFileW(filesystem::path(path).native_access_form().c_str(), GENERIC_READ, share, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    return file;
  }
  const DWORD code = GetLastError();
  if (code != ERROR_FILE_NOT_FOUND && code != ERROR_PATH_NOT_FOUND) {
    refuse(path, "CreateFileW", code);
  }
  return nullptr;
}

}  // namespace

ustring message_path_variable() {
  std::wstring value(256, L'\0');
  for (;;) {
    const DWORD length = GetEnvironmentVariableW(L"QX_MESSAGE_PATH", value.data(), static_cast<DWORD>(value.size()));
    if (length < value.size()) {
      return {value.begin(), value.begin() + static_cast<std::ptrdiff_t>(length)};
    }
    value.resize(length);  // The needed size; another thread may make the value longer meanwhile.
  }
}

std::string display_language() {
  ULONG count = 0, size = 0;
  if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &size) == FALSE) {
    return {};
  }
  std::wstring names(size, L'\0');  // Zero-terminated each, the best first; empty at the end.
  if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, names.data(), &size) == FALSE) {
    return {};
  }
  return ustring_to_utf8(ustring(names.begin(), std::find(names.begin(), names.end(), L'\0')));
}

std::optional<std::string> read_catalog_file(const ustring& path) {
  HANDLE file = open(path);
  const HandleCloser closer(file);
  if (file == nullptr) {
    return std::nullopt;
  }
  // A name such as NUL.json is a device's on many systems; reading from one may wait for ever.
  if (GetFileType(file) != FILE_TYPE_DISK) {
    throw_bad_catalog(path, "it is not a file on a disk");
  }
  std::string content;
  std::string part(65536, '\0');
  for (DWORD count = 0;; content.append(part, 0, count)) {
    if (content.size() > largest_catalog_file) {
      throw_bad_catalog(path, "it is larger than 64 MiB");
    }
    if (ReadFile(file, part.data(), static_cast<DWORD>(part.size()), &count, nullptr) == FALSE) {
      refuse(path, "ReadFile", GetLastError());
    }
    if (count == 0) {
      return content;
    }
  }
}

std::uint64_t milliseconds() noexcept {
  return GetTickCount64();
}

void log_unreachable(const ustring& directory, const std::string& reason) noexcept {
  try {
    using logger = foundation::log::basic_diagnostic_logger<char>;
    static const logger& messages = *new logger("fl::i18n::messages");
    messages.log(foundation::log::severity::complaint, "Passing over the catalogs in ", ustring_to_utf8(directory),
                 " for now: ", reason);
  } catch (const std::bad_alloc&) {
    // As in the log: without memory there is no record.
  }
}

}  // namespace fl::i18n::detail
