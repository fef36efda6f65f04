#include "util/thread_slot.hpp"

#include <pthread.h>

#include <cstdlib>

namespace foundation::core::util {

thread_slot::thread_slot() noexcept {
  pthread_key_t key;
  if (pthread_key_create(&key, nullptr) != 0) {
    std::abort();
  }
  index_ = key;
}

void* thread_slot::get() const noexcept {
  return pthread_getspecific(static_cast<pthread_key_t>(index_));
}

void thread_slot::set(void* value) {
  pthread_setspecific(static_cast<pthread_key_t>(index_), value);
}

}  // namespace foundation::core::util
