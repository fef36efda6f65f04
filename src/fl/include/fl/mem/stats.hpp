// What this process has allocated: the bytes that the system has committed to it.
//
// Thread safety: a plain value; `GetStats` may be called from any thread.
#pragma once

#include <fl/export.hpp>

namespace foundation::core::mem {

/// A number of bytes; `GetStats` tells the present one.
class FL_API stats {
 public:
  /// Nothing allocated.
  stats();
  /// `alloced` in bytes.
  explicit stats(unsigned long long alloced);

  /// In bytes.
  unsigned long long GetAlloced() const;

  /// The present figure; 0 if the system gives none.
  static stats GetStats();
  /// Whether this platform has a figure at all.
  static bool IsSupported();

 private:
  unsigned long long alloced_;  ///< in bytes
};

}  // namespace foundation::core::mem
