#include "host/diag_platform.hpp"

#include <fl/diag/stacktrace.hpp>
#include <fl/diag/thread_context.hpp>
#include <fl/diag/thread_name.hpp>

#include "diag/final_stage.hpp"
#include "diag/report/register_block.hpp"
#include "diag/stack_pointer.hpp"
#include "util/thread_id.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

namespace test_support {

static thread_local std::promise<std::string>* awaited = nullptr;

scripted_system& host_system() {
  static scripted_system system;
  return system;
}

std::future<std::string> run_to_final_stage(std::function<void()> work) {
  std::promise<std::string> words;
  auto result = words.get_future();
  std::thread([words = std::move(words), work = std::move(work)]() mutable {
    awaited = &words;
    work();
  }).detach();
  return result;
}

const void* make_fault(unsigned long long rip) {
  static unsigned long long latest;
  latest = rip;
  return &latest;
}

}  // namespace test_support

namespace foundation::core {

using test_support::host_system;

unsigned long util::current_thread_id() noexcept {
  static std::atomic<unsigned long> threads{0};
  thread_local const unsigned long own = ++threads;
  return host_system().thread_id != 0 ? host_system().thread_id : own;
}

bool util::is_stopped(unsigned long) noexcept {
  return false;
}

bool util::on_same_stack(const void*, const void*) noexcept {
  return false;
}

namespace diag {

void final_stage(const char* message, const char* file, int line, const char* function) noexcept {
  if (test_support::awaited == nullptr) {
    std::abort();
  }
  test_support::awaited->set_value(message + std::string("\n") + function + " " + file + " " + std::to_string(line));
  for (;;) {
    std::this_thread::sleep_for(std::chrono::hours(1));
  }
}

void write_failures_to_standard_error() noexcept {
  host_system().writes_to_standard_error = true;
}

bool getCurrentThreadName(char* buffer, std::size_t size) {
  const std::string& name = host_system().thread_name;
  if (name.empty()) {
    return false;
  }
  buffer[name.copy(buffer, size - 1)] = '\0';
  return true;
}

const void* stack_pointer_of(const thread_context&) noexcept {
  return nullptr;
}

bool windows::context_base::capture_data(const void*) noexcept {
  std::memset(data_, 0, record_size);
  std::memcpy(data_, &host_system().rip, sizeof host_system().rip);
  return true;
}

bool windows::context_base::set_data(const _EXCEPTION_POINTERS* pointers) noexcept {
  std::memset(data_, 0, record_size);
  std::memcpy(data_, pointers, sizeof host_system().rip);
  return true;
}

bool windows::context_base::compare_data(const context_base& other) const noexcept {
  return std::memcmp(data_, other.data_, record_size) == 0;
}

std::ostream& windows::context_base::format_data(std::ostream& os) const {
  registers values{};
  std::memcpy(&values.rip, data_, sizeof values.rip);
  write_register_block(os, values);
  return os;
}

void stacktrace_base::capture(std::size_t skip) noexcept {
  const auto& frames = host_system().stack;
  const std::size_t skipped = std::min(skip, frames.size());
  const std::size_t count = std::min(frames.size() - skipped, capacity_);
  std::copy_n(frames.data() + skipped, count, begin());
  resize(count);
}

void stacktrace_base::capture(const thread_context&, std::size_t skip) {
  if (host_system().before_capture) {
    host_system().before_capture();
  }
  capture(skip);
}

void prepare_symbols() noexcept {}
void keep_symbols() noexcept {}
void let_symbols_go() noexcept {}

symbol_lookup::symbol_lookup() noexcept : holding_(true) {
  ++host_system().lookups;
}

symbol_lookup::~symbol_lookup() {
  --host_system().lookups;
}

bool symbol_lookup::find_symbol(const void* frame, frame_description& known) const noexcept {
  known = {};
  if (host_system().describe) {
    host_system().describe(frame, known);
  }
  return !host_system().no_names;
}

void find_module(const void*, frame_description&) noexcept {}

}  // namespace diag

}  // namespace foundation::core
