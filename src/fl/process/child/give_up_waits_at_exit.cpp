#include "process/child/give_up_waits_at_exit.hpp"

#include "util/process_end.hpp"

namespace foundation::core::sysdep::windows {

give_up_waits_at_exit::~give_up_waits_at_exit() {
  if (!util::process_is_ending()) {
    in_force_()->give_up_waits();
  }
}

}  // namespace foundation::core::sysdep::windows
