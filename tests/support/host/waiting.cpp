#include "util/waiting.hpp"

#include <chrono>
#include <thread>

void foundation::core::util::wait_turn(unsigned) noexcept {
  std::this_thread::yield();
}

std::uint64_t foundation::core::util::milliseconds_passed() noexcept {
  using namespace std::chrono;
  return static_cast<std::uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}
