#include "process/child/process_reaper_instance.hpp"

#include "process/child/give_up_waits_at_exit.hpp"

#include <atomic>
#include <mutex>
#include <utility>

namespace foundation::core::sysdep::windows {

using process::implementation_qos;

namespace {

constinit std::atomic<implementation_qos> requested_qos{implementation_qos{}};  // what the test hook asks for

struct reaper_holder {
  std::mutex mutex;          // guards what follows; never held while a reaper gives up its waits
  implementation_qos qos{};  // what the reaper was made for
  std::shared_ptr<process_reaper> reaper = std::make_shared<process_reaper>();
};

// Never destroyed: objects that go later than the waits may still detach from a child.
reaper_holder& the_holder() {
  static reaper_holder& holder = *new reaper_holder;
  return holder;
}

std::shared_ptr<process_reaper> reaper_in_force() {
  reaper_holder& holder = the_holder();
  const std::lock_guard<std::mutex> lock(holder.mutex);
  return holder.reaper;
}

}  // namespace

std::shared_ptr<process_reaper> process_reaper_instance() {
  reaper_holder& holder = the_holder();
  static const give_up_waits_at_exit at_exit(&reaper_in_force);
  std::unique_lock<std::mutex> lock(holder.mutex);
  const implementation_qos wanted = requested_qos.load();
  if (holder.qos == wanted) {
    return holder.reaper;
  }
  const auto made = std::make_shared<process_reaper>();
  const auto former = std::exchange(holder.reaper, made);
  holder.qos = wanted;
  lock.unlock();
  former->give_up_waits();
  return made;
}

void request_implementation_qos(implementation_qos value) noexcept {
  requested_qos.store(value);
}

}  // namespace foundation::core::sysdep::windows
