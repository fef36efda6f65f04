#include <fl/mem/managed_pool.hpp>

namespace foundation::core::mem {

managed_pool::managed_pool() = default;
managed_pool::~managed_pool() = default;

}  // namespace foundation::core::mem
