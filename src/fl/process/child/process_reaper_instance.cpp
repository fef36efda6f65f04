// The one reaper of the library and the test hooks that replace it.

#include <fl/process/testing.hpp>

#include "process/child/process_reaper.hpp"
#include "util/process_end.hpp"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

namespace foundation::core::sysdep::windows {

using process::implementation_qos;

namespace {

constinit std::atomic<implementation_qos> requested_qos{implementation_qos{}};  // what the test hook asks for

struct reaper_holder {
  std::mutex mutex;          // guards what follows; never held while a reaper is retired
  implementation_qos qos{};  // what the reaper was made for
  std::shared_ptr<process_reaper> reaper = std::make_shared<process_reaper>();
};

// Drops the waits at exit. In a process that ends, a pool thread may have been ended inside a callback, with the
// reaper's mutex in its hands: waiting for it would never end, and the system is about to drop the waits and close the
// handles anyway.
struct retirement {
  explicit retirement(reaper_holder& of) : holder(of) {}
  retirement(const retirement&) = delete;
  retirement& operator=(const retirement&) = delete;
  ~retirement() {
    if (util::process_is_ending()) {
      return;
    }
    std::unique_lock<std::mutex> lock(holder.mutex);
    const std::shared_ptr<process_reaper> last = holder.reaper;
    lock.unlock();
    last->retire();
  }

  reaper_holder& holder;
};

// Never destroyed: objects that go later than the waits may still give up a child.
reaper_holder& the_holder() {
  static reaper_holder& holder = *new reaper_holder;
  static const retirement at_exit(holder);
  return holder;
}

}  // namespace

std::shared_ptr<process_reaper> process_reaper_instance() {
  reaper_holder& holder = the_holder();
  std::unique_lock<std::mutex> lock(holder.mutex);
  const implementation_qos wanted = requested_qos.load();
  if (holder.qos == wanted) {
    return holder.reaper;
  }
  const auto made = std::make_shared<process_reaper>();
  const auto former = std::exchange(holder.reaper, made);
  holder.qos = wanted;
  lock.unlock();
  former->retire();
  return made;
}

}  // namespace foundation::core::sysdep::windows

namespace foundation::core::process::testing {

bool join_all_async_procs() noexcept {
  sysdep::windows::process_reaper_instance()->join();
  return true;
}

void set_implementation_qos(implementation_qos value) {
  sysdep::windows::requested_qos.store(value);
}

implementation_qos get_implementation_qos() {
  sysdep::windows::process_reaper_instance();
  return implementation_qos{2};
}

}  // namespace foundation::core::process::testing
