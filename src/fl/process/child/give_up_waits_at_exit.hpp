// The end of the background waits, when the library goes: they are given up, children go on, and open futures break.
// (They are also given up when another reaper replaces theirs: process_reaper_instance.hpp.)
#pragma once

#include "process/child/process_reaper.hpp"

#include <memory>

namespace foundation::core::sysdep::windows {

/// Its destruction gives up the waits of the reaper in force, unless the process is ending: then a pool thread may have
/// been ended inside a callback, with the reaper's mutex in its hands. Waiting for it would never end, and the system
/// is about to drop the waits and close the handles anyway.
class give_up_waits_at_exit {
 public:
  explicit give_up_waits_at_exit(std::shared_ptr<process_reaper> (*in_force)()) noexcept : in_force_(in_force) {}
  give_up_waits_at_exit(const give_up_waits_at_exit&) = delete;
  give_up_waits_at_exit& operator=(const give_up_waits_at_exit&) = delete;
  ~give_up_waits_at_exit();

 private:
  std::shared_ptr<process_reaper> (*in_force_)();  // gives the reaper in force
};

}  // namespace foundation::core::sysdep::windows
