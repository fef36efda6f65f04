#include "util/thread_slot.hpp"

#include <pthread.h>

#include <new>

namespace foundation::core::util {

namespace {

unsigned long make_key() noexcept {
  pthread_key_t key = 0;
  ::pthread_key_create(&key, nullptr);
  return key;
}

}  // namespace

thread_slot::thread_slot() noexcept : index_(make_key()) {}

void* thread_slot::get() const noexcept {
  return ::pthread_getspecific(static_cast<pthread_key_t>(index_));
}

void thread_slot::set(void* value) {
  if (::pthread_setspecific(static_cast<pthread_key_t>(index_), value) != 0) {
    throw std::bad_alloc();
  }
}

}  // namespace foundation::core::util
