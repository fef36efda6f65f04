#include "children.hpp"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// Numbered lines on standard output; the C run-time makes each line end a carriage return and a line feed.
int lines(unsigned long count) {
  char line[64];
  for (unsigned long n = 1; n <= count; ++n) {
    format_line(line, n);
    std::puts(line);
  }
  return 0;
}

// Adds the numbers on standard input.
int sum() {
  unsigned long long total = 0;
  for (unsigned long long number = 0; std::scanf("%llu", &number) == 1;) {
    total += number;
  }
  std::printf("%llu\n", total);
  return 0;
}

// Writes to both output streams, one line each in turn.
int both(unsigned long count) {
  for (unsigned long n = 0; n < count; ++n) {
    std::fputs(n % 2 == 0 ? "out\n" : "err\n", n % 2 == 0 ? stdout : stderr);
    std::fflush(nullptr);  // Some run-times buffer standard error too when it is a file.
  }
  return 0;
}

int exit_later(unsigned long milliseconds, int code) {
  Sleep(milliseconds);
  return code;
}

// Signals an event that somebody waits for.
int signal_event(const wchar_t* name, unsigned long milliseconds) {
  Sleep(milliseconds);
  const HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, name);
  const bool done = event && SetEvent(event);
  return done ? 0 : 1;
}

}  // namespace

void format_line(char (&buffer)[64], unsigned long n) {
  std::snprintf(buffer, sizeof buffer, "line %06lu of the child's output", n);
}

int run_as_child(int argc, wchar_t** argv) {
  const std::wstring task = argc > 1 ? argv[1] : L"";
  const auto number = [&](int index) { return index < argc ? std::wcstoul(argv[index], nullptr, 10) : 0; };
  if (task == L"lines") {
    return lines(number(2));
  }
  if (task == L"sum") {
    return sum();
  }
  if (task == L"both") {
    return both(number(2));
  }
  if (task == L"exit") {
    return exit_later(number(2), static_cast<int>(number(3)));
  }
  if (task == L"signal" && argc > 3) {
    return signal_event(argv[2], number(3));
  }
  return -1;
}
