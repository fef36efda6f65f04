// The end of the process, as a test plays it.
#pragma once

namespace test_support {

/// What util::process_is_ending returns; false at first.
void set_process_is_ending(bool value);

}  // namespace test_support
