#include "windows_support.hpp"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstdint>
#include <random>

namespace bench {
namespace {

std::string make_wire_text() {
  std::mt19937 random(20240229);
  std::uniform_int_distribution<std::size_t> length(20, 100);
  std::uniform_int_distribution<int> letter('!', '~');
  std::string text;
  while (text.size() < std::size_t{4} << 20) {
    for (std::size_t count = length(random); count != 0; --count) {
      text.push_back(static_cast<char>(letter(random)));
    }
    text += "\r\n";
  }
  return text;
}

void write_all(HANDLE pipe, std::string_view text) {
  constexpr std::size_t block = 64 * 1024;
  while (!text.empty()) {
    DWORD written = 0;
    if (!WriteFile(pipe, text.data(), static_cast<DWORD>(std::min(block, text.size())), &written, nullptr)) {
      return;  // The reader has gone, and finds for itself that bytes are missing.
    }
    text.remove_prefix(written);
  }
}

std::wstring find_child() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"bench_child.exe";
}

}  // namespace

pipe_ends make_pipe() {
  SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, FALSE};
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  check(CreatePipe(&read, &write, &attributes, 0), "CreatePipe");
  return {unique_handle(read), unique_handle(write)};
}

DWORD read_some(HANDLE pipe, char* buffer, DWORD size) {
  DWORD count = 0;
  if (!ReadFile(pipe, buffer, size, &count, nullptr)) {
    check(GetLastError() == ERROR_BROKEN_PIPE, "ReadFile");
    return 0;
  }
  return count;
}

const std::string& wire_text() {
  static const std::string text = make_wire_text();
  return text;
}

std::jthread start_writer(HANDLE write_end, std::string_view text) {
  return std::jthread([write_end, text] {
    const unique_handle owner(write_end);
    write_all(write_end, text);
  });
}

std::unique_ptr<std::FILE, file_closer> open_text_file(unique_handle pipe, std::vector<char>& buffer) {
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(pipe.get()), _O_RDONLY | _O_TEXT);
  check(descriptor != -1, "_open_osfhandle");
  pipe.release();
  std::unique_ptr<std::FILE, file_closer> file(_fdopen(descriptor, "rt"));
  check(file != nullptr, "_fdopen");
  check(std::setvbuf(file.get(), buffer.data(), _IOFBF, buffer.size()) == 0, "setvbuf");
  return file;
}

const std::wstring& child_path() {
  static const std::wstring path = find_child();
  return path;
}

// The child starts in ".", as one of the library does: a directory that is named costs the system more than none.
child start_child(const wchar_t* argument, HANDLE input) {
  pipe_ends output = make_pipe();
  check(SetHandleInformation(output.write.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT), "SetHandleInformation");
  std::wstring command_line = L'"' + child_path() + L'"';
  if (argument) {
    command_line.append(L" ").append(argument);
  }
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input ? input : GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = output.write.get();
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION started{};
  check(CreateProcessW(child_path().c_str(), command_line.data(), nullptr, nullptr, TRUE, 0, nullptr, L".", &startup,
                       &started),
        "CreateProcessW");
  CloseHandle(started.hThread);
  return {unique_handle(started.hProcess), std::move(output.read)};
}

}  // namespace bench
