#include "host/child_system.hpp"

#include "process/child/exit_code.hpp"
#include "process/child/launched_child.hpp"
#include "process/child/process_reaper_impl.hpp"
#include "util/process_end.hpp"

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/system/system_error.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace test_support {

using foundation::core::process::exit_status_variant;
using foundation::core::sysdep::windows::end_callback;

struct child_system::state {
  struct wait {
    void* process;
    long long child;
    end_callback callback;
    void* context;
    std::thread::id thread;  // of the callback, once it runs
    bool finished = false;
  };

  std::mutex mutex;  // guards everything below
  std::condition_variable changed;
  std::map<long long, std::optional<unsigned>> children;  // their exit codes
  std::map<void*, long long> handles;
  std::map<void*, wait> waits;
  std::vector<std::thread> threads;
  std::map<std::string, unsigned> calls;
  std::map<std::string, std::function<void()>> before;
  std::uintptr_t last_handle = 0x1000;

  void* next_handle() { return reinterpret_cast<void*>(last_handle += 4); }

  template <class Map>
  static typename Map::iterator must_find(Map& map, void* handle) {
    const auto place = map.find(handle);
    if (place == map.end()) {
      std::abort();
    }
    return place;
  }

  void* open(long long child) {
    void* const handle = next_handle();
    handles[handle] = child;
    return handle;
  }

  void* make_child() {
    const auto id = static_cast<long long>(children.size() + 1);
    children[id];
    return open(id);
  }

  std::optional<unsigned>& code(void* handle) { return children[must_find(handles, handle)->second]; }

  void end(long long child, unsigned code) {
    if (children[child]) {
      return;
    }
    children[child] = code;
    for (const auto& [key, waiting] : waits) {
      if (waiting.child == child) {
        threads.emplace_back(&state::run_callback, this, key);
      }
    }
    changed.notify_all();
  }

  void run_callback(void* key) {
    std::unique_lock lock(mutex);
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
};

static child_system* current = nullptr;

static child_system& the_system() {
  if (current == nullptr) {
    std::abort();
  }
  return *current;
}

// Counts the call and runs what the test put before it.
static child_system::state& called(const char* function) {
  child_system::state& inside = *the_system().inside;
  std::unique_lock lock(inside.mutex);
  ++inside.calls[function];
  if (const std::function<void()> run = inside.before[function]) {
    lock.unlock();
    run();
  }
  return inside;
}

static exit_status_variant as_status(const std::optional<unsigned>& code) {
  constexpr unsigned still_active = 259;
  if (code.value_or(still_active) == still_active) {
    return foundation::core::process::detail::unknown{};
  }
  return foundation::core::process::detail::exited{*code, *code};
}

child_system::child_system() : inside(std::make_unique<state>()) {
  if (current != nullptr) {
    std::abort();
  }
  current = this;
}

child_system::~child_system() {
  end_all();
  current = nullptr;
}

void child_system::end_all() {
  std::unique_lock lock(inside->mutex);
  for (const auto& [child, code] : inside->children) {
    inside->end(child, code.value_or(0));
  }
  while (!inside->threads.empty()) {  // A callback may register a wait that makes another one.
    std::thread thread = std::move(inside->threads.back());
    inside->threads.pop_back();
    lock.unlock();
    thread.join();
    lock.lock();
  }
}

void* child_system::make_child() {
  const std::lock_guard lock(inside->mutex);
  return inside->make_child();
}

void child_system::end(long long child, unsigned code) {
  const std::lock_guard lock(inside->mutex);
  inside->end(child, code);
}

std::size_t child_system::open_handles() const {
  const std::lock_guard lock(inside->mutex);
  return inside->handles.size();
}

std::size_t child_system::registered_waits() const {
  const std::lock_guard lock(inside->mutex);
  return inside->waits.size();
}

unsigned child_system::calls(const std::string& function) const {
  const std::lock_guard lock(inside->mutex);
  return inside->calls[function];
}

void child_system::before(const std::string& function, std::function<void()> run) {
  const std::lock_guard lock(inside->mutex);
  inside->before[function] = std::move(run);
}

std::function<void()> refusal(const std::string& text) {
  return [text] { throw boost::system::system_error(5, boost::system::system_category(), text); };
}

static std::atomic<bool> process_ends{false};

void set_process_is_ending(bool value) {
  process_ends = value;
}

namespace {

// What stands behind a process_impl here.
struct record {
  explicit record(void* opened) : handle(opened), id(the_system().inside->handles[opened]) {}
  record(const record&) = delete;
  record& operator=(const record&) = delete;
  ~record() { foundation::core::sysdep::windows::close_process_handle(handle); }

  void* handle;
  long long id;
};

}  // namespace

}  // namespace test_support

namespace foundation::core::sysdep::windows {

using test_support::called;
using test_support::record;
using test_support::the_system;
using state = test_support::child_system::state;

static const record& of(const process_impl& child) {
  return reinterpret_cast<const record&>(child);
}

boost::shared_ptr<process_impl> launch_child(const process::command&, const process::context&) {
  state& inside = called("launch_child");
  const std::lock_guard lock(inside.mutex);
  const auto made = boost::make_shared<record>(inside.make_child());
  return {made, reinterpret_cast<process_impl*>(made.get())};
}

process::exit_status_variant poll_child(process_impl& child) {
  state& inside = called("poll_child");
  const std::lock_guard lock(inside.mutex);
  return test_support::as_status(inside.code(of(child).handle));
}

process::exit_status_variant wait_for_child(process_impl& child) {
  state& inside = called("wait_for_child");
  std::unique_lock lock(inside.mutex);
  inside.changed.wait(lock, [&] { return inside.code(of(child).handle).has_value(); });
  return test_support::as_status(inside.code(of(child).handle));
}

bool child_has_ended(const process_impl& child) noexcept {
  state& inside = called("child_has_ended");
  const std::lock_guard lock(inside.mutex);
  return inside.code(of(child).handle).has_value();
}

long long child_id(const process_impl& child) {
  return of(child).id;
}

void* duplicate_child_handle(const process_impl& child) {
  state& inside = called("duplicate_child_handle");
  const std::lock_guard lock(inside.mutex);
  return inside.open(of(child).id);
}

void kill_child(const process_impl& child) {
  called("kill_child");
  the_system().end(of(child).id, 1);
}

unsigned long long child_working_set_size(process_impl&) {
  called("child_working_set_size");
  return 4096;
}

void prepare_callbacks() noexcept {
  called("prepare_callbacks");
}

void* register_wait(void* process, end_callback callback, void* context) {
  state& inside = called("register_wait");
  const std::lock_guard lock(inside.mutex);
  void* const key = inside.next_handle();
  const bool ended = inside.code(process).has_value();
  inside.waits[key] = {process, inside.handles[process], callback, context, {}};
  if (ended) {
    inside.threads.emplace_back(&state::run_callback, &inside, key);
  }
  return key;
}

void unregister_wait(void* wait) noexcept {
  state& inside = called("unregister_wait");
  std::unique_lock lock(inside.mutex);
  const auto place = state::must_find(inside.waits, wait);
  if (place->second.thread == std::this_thread::get_id()) {
    std::abort();
  }
  inside.changed.wait(lock, [&] { return place->second.thread == std::thread::id() || place->second.finished; });
  inside.waits.erase(place);
}

void unregister_wait_in_callback(void* wait) noexcept {
  state& inside = called("unregister_wait_in_callback");
  const std::lock_guard lock(inside.mutex);
  const auto place = state::must_find(inside.waits, wait);
  if (place->second.thread != std::this_thread::get_id()) {
    std::abort();
  }
  inside.waits.erase(place);
}

void close_process_handle(void* process) noexcept {
  state& inside = called("close_process_handle");
  const std::lock_guard lock(inside.mutex);
  for (const auto& [key, waiting] : inside.waits) {
    if (waiting.process == process) {
      std::abort();
    }
  }
  inside.handles.erase(state::must_find(inside.handles, process));
}

process::exit_status_variant read_exit_status(void* handle) {
  state& inside = called("read_exit_status");
  const std::lock_guard lock(inside.mutex);
  return test_support::as_status(inside.code(handle));
}

}  // namespace foundation::core::sysdep::windows

bool foundation::core::util::process_is_ending() noexcept {
  return test_support::process_ends;
}
