#include "util/keep_loaded.hpp"

#include "common/windows/keep_loaded.hpp"

namespace foundation::core::util {

void keep_library_loaded() noexcept {
  sysdep::windows::keep_module_loaded();
}

}  // namespace foundation::core::util
