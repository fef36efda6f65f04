// The fatal path: the list of living termination handlers, and the end of the process.

#include <foundation_log/termination.hpp>

#include "platform.hpp"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace foundation::log::detail {

namespace {

termination_handler* newest = nullptr;  ///< Head of the list of living handlers.

/// Guards the list. Never destroyed: a handler may be the last object of the process.
std::mutex& handlers_lock() {
  static std::mutex& instance = *new std::mutex;
  return instance;
}

/// The function of `newest`, apart from the list so that the fatal path takes no lock.
constinit std::atomic<termination_handler::function_type> target = nullptr;

void write_last_words(const std::ostringstream& text, const char* file, int line, const char* function) noexcept {
  try {
    std::fprintf(stderr, "%s\n", text.str().c_str());
  } catch (...) {
    // The position still goes out.
  }
  std::fprintf(stderr, "( at line %d of %s in %s )\n", line, file != nullptr ? file : "<unknown>",
               function != nullptr ? function : "<unknown>");
  std::fflush(stderr);
}

}  // namespace

termination_handler::termination_handler(function_type function) : function_(function), older_(nullptr) {
  const platform::ending_aware_lock hold(handlers_lock());
  if (!hold) {
    return;
  }
  older_ = newest;
  newest = this;
  target.store(function_);
}

// One that lives as long as a library goes when the process has ended the other threads, perhaps one in this lock.
termination_handler::~termination_handler() {
  const platform::ending_aware_lock hold(handlers_lock());
  if (!hold) {
    return;
  }
  termination_handler** link = &newest;
  while (*link != nullptr && *link != this) {
    link = &(*link)->older_;
  }
  if (*link == nullptr) {
    return;  // It came when the lock was not to be had.
  }
  *link = older_;
  target.store(newest != nullptr ? newest->function_ : nullptr);
}

void terminate(const std::ostringstream& text, const char* file, int line, const char* function) {
  if (const auto handler = target.load()) {
    handler(text, file, line, function);
  }
  write_last_words(text, file, line, function);
  std::abort();
}

}  // namespace foundation::log::detail
