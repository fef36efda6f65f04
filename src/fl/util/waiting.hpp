// Waiting for another thread by looking again and again. The run-time's own calls for it will not do on the fatal path:
// they allocate something for each thread that sleeps.
#pragma once

#include <cstdint>

namespace foundation::core::util {

constexpr unsigned short_turns = 20;

/// Gives the processor to other threads before the caller looks again: in the first `short_turns` to those that are
/// ready, then to all of them, for a millisecond, so that one of a lower priority goes on too. `turn` counts from 0.
/// Allocates nothing.
void wait_turn(unsigned turn) noexcept;

/// Since some moment before the process began. Allocates nothing.
std::uint64_t milliseconds_passed() noexcept;

}  // namespace foundation::core::util
