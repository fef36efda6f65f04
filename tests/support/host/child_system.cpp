#include "host/child_system.hpp"

#include "process/child/exit_code.hpp"
#include "process/child/launched_child.hpp"
#include "process/child/process_reaper_impl.hpp"

#include <boost/system/system_error.hpp>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace test_support {

namespace {

using guard = std::unique_lock<std::recursive_mutex>;

child_system* current = nullptr;

// Runs what the test put before the call. Allocates nothing itself: memory may be short.
guard called(std::string_view function) {
  guard lock(current->mutex);
  const auto script = current->scripts.find(function);
  if (const auto run = script != current->scripts.end() ? script->second : nullptr) {
    lock.unlock();
    run();
    lock.lock();
  }
  return lock;
}

}  // namespace

child_system::child_system() {
  current = this;
}

child_system::~child_system() {
  end_all();
  EXPECT_TRUE(waits.empty() && handles.empty());
}

void* child_system::make_child() {
  const guard lock(mutex);
  const auto id = static_cast<long long>(children.size() + 1);
  children[id];
  return open(id);
}

void* child_system::open(long long child) {
  void* const handle = next_handle();
  handles[handle] = child;
  return handle;
}

void child_system::end(long long child, unsigned code) {
  const guard lock(mutex);
  if (children[child]) {
    return;
  }
  children[child] = code;
  for (const auto& [key, waiting] : waits) {
    if (handles.at(waiting.process) == child) {
      threads.emplace_back(&child_system::run_callback, this, key);
    }
  }
  changed.notify_all();
}

void child_system::end_all() {
  guard lock(mutex);
  for (const auto& [child, code] : children) {
    end(child);
  }
  while (!threads.empty()) {  // A callback may register a wait that makes another one.
    std::thread thread = std::move(threads.back());
    threads.pop_back();
    lock.unlock();
    thread.join();
    lock.lock();
  }
}

void child_system::run_callback(void* key) {
  guard lock(mutex);
  const auto place = waits.find(key);
  if (place == waits.end()) {
    return;
  }
  place->second.thread = std::this_thread::get_id();
  const wait found = place->second;
  lock.unlock();
  found.callback(found.context, 0);
  lock.lock();
  if (const auto left = waits.find(key); left != waits.end()) {
    left->second.finished = true;
    changed.notify_all();
  }
}

std::size_t child_system::open_handles() const {
  const guard lock(mutex);
  return handles.size();
}

std::size_t child_system::registered_waits() const {
  const guard lock(mutex);
  return waits.size();
}

void child_system::before(const std::string& function, std::function<void()> run) {
  const guard lock(mutex);
  scripts[function] = std::move(run);
}

std::function<void()> refusal(const std::string& text) {
  return [text] { throw boost::system::system_error(5, boost::system::system_category(), text); };
}

}  // namespace test_support

namespace foundation::core::sysdep::windows {

using test_support::called;
using test_support::current;

namespace {

// A child's object is at the address that its handle is.
void* handle_of(const process_impl& child) {
  return const_cast<process_impl*>(&child);
}

process::exit_status_variant status_of(void* handle) {
  constexpr unsigned still_active = 259;
  const unsigned code = current->code(handle).value_or(still_active);
  return code == still_active ? process::exit_status_variant(process::detail::unknown{})
                              : process::detail::exited{code, code};
}

}  // namespace

boost::shared_ptr<process_impl> launch_child(const process::command&, const process::context&) {
  const auto lock = called("launch_child");
  return {static_cast<process_impl*>(current->make_child()), close_process_handle};
}

process::exit_status_variant poll_child(process_impl& child) {
  const auto lock = called("poll_child");
  return status_of(handle_of(child));
}

process::exit_status_variant wait_for_child(process_impl& child) {
  auto lock = called("wait_for_child");
  current->changed.wait(lock, [&] { return current->code(handle_of(child)).has_value(); });
  return status_of(handle_of(child));
}

bool child_has_ended(const process_impl& child) noexcept {
  const auto lock = called("child_has_ended");
  return current->code(handle_of(child)).has_value();
}

long long child_id(const process_impl& child) {
  const auto lock = called("child_id");
  return current->handles.at(handle_of(child));
}

void* duplicate_child_handle(const process_impl& child) {
  const auto lock = called("duplicate_child_handle");
  return current->open(current->handles.at(handle_of(child)));
}

void kill_child(const process_impl& child) {
  const auto lock = called("kill_child");
  current->end(current->handles.at(handle_of(child)), 1);
}

unsigned long long child_working_set_size(process_impl&) {
  called("child_working_set_size");
  return 4096;
}

void prepare_callbacks() noexcept {
  called("prepare_callbacks");
}

void* register_wait(void* process, end_callback callback, void* context) {
  const auto lock = called("register_wait");
  void* const key = current->next_handle();
  const bool ended = current->code(process).has_value();
  current->waits[key] = {process, callback, context};
  if (ended) {
    current->threads.emplace_back(&test_support::child_system::run_callback, current, key);
  }
  return key;
}

void unregister_wait(void* key) noexcept {
  auto lock = called("unregister_wait");
  const auto& wait = current->waits.at(key);
  current->changed.wait(lock, [&] { return wait.thread == std::thread::id() || wait.finished; });
  current->waits.erase(key);
}

void unregister_wait_in_callback(void* key) noexcept {
  const auto lock = called("unregister_wait_in_callback");
  if (current->waits.at(key).thread != std::this_thread::get_id()) {
    std::abort();
  }
  current->waits.erase(key);
}

void close_process_handle(void* process) noexcept {
  const auto lock = called("close_process_handle");
  const bool waited_on = std::any_of(current->waits.begin(), current->waits.end(),
                                     [&](const auto& wait) { return wait.second.process == process; });
  if (waited_on || current->handles.erase(process) == 0) {
    std::abort();
  }
}

process::exit_status_variant read_exit_status(void* handle) {
  const auto lock = called("read_exit_status");
  return status_of(handle);
}

}  // namespace foundation::core::sysdep::windows
