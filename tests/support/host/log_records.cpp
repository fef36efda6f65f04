#include "host/log_records.hpp"

#include "platform.hpp"
#include "record_pipeline.hpp"

#include <cerrno>
#include <mutex>
#include <utility>

namespace {

std::mutex record_lock;
std::vector<test_support::log_record> records;  // guarded
thread_local unsigned depth = 0;

}  // namespace

std::vector<test_support::log_record> test_support::drain_log_records() {
  const std::lock_guard lock(record_lock);
  return std::exchange(records, {});
}

namespace foundation::log {

bool push_record(const std::string& channel, unsigned severity, const std::string& text) {
  const std::lock_guard lock(record_lock);
  records.push_back({channel, severity, text, depth});
  return true;
}

bool core_enabled() noexcept {
  return test_support::log_takes_records;
}

namespace platform {

std::optional<std::string> environment_variable(const char*) {
  if (test_support::log_lacks_memory) {
    throw std::bad_alloc();
  }
  return test_support::log_environment;
}

unsigned thread_depth() noexcept {
  return depth;
}

void set_thread_depth(unsigned value) noexcept {
  depth = value;
}

bool process_is_ending() noexcept {
  return false;
}

void stay_loaded() noexcept {}

void write_standard_error(std::string_view text) noexcept {
  push_record("standard error", 0, std::string(text));
}

error_keeper::error_keeper() noexcept : last_error_(0), errno_(errno) {}

error_keeper::~error_keeper() {
  static_cast<void>(last_error_);  // Only Windows has one.
  errno = errno_;
}

}  // namespace platform

}  // namespace foundation::log
