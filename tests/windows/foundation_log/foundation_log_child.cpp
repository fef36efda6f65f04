// What the tests of the log run as a separate process, since a process reads QX_LOG once: child MODE.
#include <foundation_log/logger.hpp>

#include <windows.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace log = foundation::log;
using logger = log::basic_diagnostic_logger<char>;

logger a("child::a");
logger b("child::b");

struct last_words {
  bool wanted = false;
  ~last_words() {
    if (wanted) {
      a.log(log::severity::note, "last words");
    }
  }
} words;

void in_threads(int count, void (*body)(int)) {
  std::vector<std::jthread> threads;
  for (int number = 0; number < count; ++number) {
    threads.emplace_back(body, number);
  }
}

}  // namespace

int main(int, char** arguments) {
  const std::string mode = arguments[1];
  if (mode == "records") {
    in_threads(4, [](int) {
      a.log(log::severity::note, "from a");
      b.log(log::severity::note, "from b");
    });
  } else if (mode == "late") {  // The environment is read at the first use, which leaves the error codes alone.
    SetEnvironmentVariableW(L"QX_LOG", L"child::a=note;oops");
    SetEnvironmentVariableW(L"QX_LOG_FILE", L"Z:\\no such folder\\file.log");
    SetLastError(4711);
    errno = 42;
    a.log(log::severity::note, "read late");
    return GetLastError() == 4711 && errno == 42 ? 0 : 1;
  } else if (mode == "flood") {
    in_threads(3, [](int thread) {
      for (int i = 0; i < 150; ++i) {
        logger("child::a")
            .log(log::severity::note, "<", thread, " ", i, " ", std::string(300, static_cast<char>('a' + thread)), ">");
      }
    });
  } else if (mode == "exit") {
    words.wanted = true;
  }
  return 0;
}
