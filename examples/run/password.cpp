#include "password.hpp"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace {

constexpr std::size_t longest = 256;               // UTF-16 units: more than that no password of the system has
constexpr std::size_t longest_utf8 = 3 * longest;  // bytes

[[noreturn]] void refuse_length() {
  throw std::runtime_error("the password is too long");
}

class without_echo {
 public:
  without_echo(HANDLE console, DWORD mode) : console_(console), mode_(mode) {
    if (!SetConsoleMode(console, (mode & ~DWORD{ENABLE_ECHO_INPUT}) | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT)) {
      throw std::runtime_error("the console cannot read a password without showing it");
    }
  }
  without_echo(const without_echo&) = delete;
  without_echo& operator=(const without_echo&) = delete;
  ~without_echo() {
    SetConsoleMode(console_, mode_);
    std::fputs("\n", stderr);  // The user's own was not shown either.
  }

 private:
  HANDLE console_;
  DWORD mode_;  // from before
};

// Ctrl-C, for which the program has a handler, makes the system give up the reading. Wine goes on with it.
void read_from_console(HANDLE console, DWORD mode, std::string& text) {
  const without_echo quiet(console, mode);
  wchar_t line[longest + 2];  // and the two units of the line end
  DWORD length = 0;
  SetLastError(ERROR_SUCCESS);
  if (!ReadConsoleW(console, line, std::size(line), &length, nullptr) || length == 0) {
    if (GetLastError() == ERROR_OPERATION_ABORTED) {
      throw password_interrupted();
    }
    throw std::runtime_error("no password was given");
  }
  const wchar_t* const end = std::find_if(line, line + length, [](wchar_t c) { return c == L'\r' || c == L'\n'; });
  const auto size = static_cast<std::size_t>(end - line);
  const bool whole = size < length && size <= longest;
  if (whole) {
    text.resize(longest_utf8);
    text.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, line, static_cast<int>(size), text.data(), longest_utf8, nullptr, nullptr)));
  }
  SecureZeroMemory(line, sizeof line);
  if (!whole) {
    refuse_length();
  }
}

void read_from_stream(HANDLE stream, std::string& text) {
  char c = 0;
  DWORD read = 0;
  while (ReadFile(stream, &c, 1, &read, nullptr) && read == 1 && c != '\n') {
    if (text.size() == longest_utf8) {
      refuse_length();
    }
    text.push_back(c);
  }
  std::fputs("\n", stderr);
  if (read == 0 && text.empty()) {
    throw std::runtime_error("no password was given");
  }
  if (!text.empty() && text.back() == '\r') {
    text.pop_back();
  }
}

}  // namespace

password::password() {
  text_.reserve(longest_utf8);
}

// Built upon the other constructor, so that the destructor runs also for what was read before a failure.
password::password(const std::string& user) : password() {
  std::fprintf(stderr, "Password for %s: ", user.c_str());
  std::fflush(stderr);
  const HANDLE in = GetStdHandle(STD_INPUT_HANDLE);
  DWORD mode = 0;
  if (GetConsoleMode(in, &mode)) {
    read_from_console(in, mode, text_);
  } else {
    read_from_stream(in, text_);
  }
}

password::~password() {
  text_.resize(text_.capacity());  // What lies behind a shortened text, too.
  SecureZeroMemory(text_.data(), text_.size());
}
