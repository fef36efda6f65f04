// Objects that live until the process ends. Thread safety: any number of threads may ask first.
#pragma once

#include <new>

namespace fl::i18n::detail {

/// The only object of its type of this kind: made at the first call, never destroyed, and not in the heap, so that
/// making it cannot fail.
template <class T>
const T& immortal() noexcept {
  alignas(T) static unsigned char storage[sizeof(T)];
  static const T* const object = new (storage) T;
  return *object;
}

}  // namespace fl::i18n::detail
