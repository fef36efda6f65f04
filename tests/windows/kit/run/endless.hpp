// Children that live until somebody ends them.
#pragma once

#include "every_test.hpp"

#include <windows.h>

// An event that is never set: what waits for it lives until it is ended.
class endless {
 public:
  endless() : event_(CreateEventA(nullptr, TRUE, FALSE, name_.c_str())) {}
  endless(const endless&) = delete;
  endless& operator=(const endless&) = delete;
  ~endless() { CloseHandle(event_); }
  const std::string& name() const { return name_; }

  /// Returns when no process but this one has the event any more. The test's watchdog sees to it if that never comes.
  void wait_until_alone() {
    CloseHandle(std::exchange(event_, nullptr));
    while (const HANDLE found = OpenEventA(SYNCHRONIZE, FALSE, name_.c_str())) {
      CloseHandle(found);
      Sleep(1);
    }
    event_ = CreateEventA(nullptr, TRUE, FALSE, name_.c_str());
  }

 private:
  static inline unsigned made_ = 0;
  std::string name_ = "qxfl-endless-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++made_);
  HANDLE event_;
};
