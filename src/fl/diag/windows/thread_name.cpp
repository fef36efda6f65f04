#include <conc_common/thread_name.hpp>
#include <fl/diag/thread_name.hpp>

namespace foundation::core::diag {

void setCurrentThreadName(const std::string& name) {
  concurrent::common::setCurrentThreadName(name);
}

bool getCurrentThreadName(char* buffer, std::size_t size) {
  return concurrent::common::getCurrentThreadName(buffer, size);
}

}  // namespace foundation::core::diag
