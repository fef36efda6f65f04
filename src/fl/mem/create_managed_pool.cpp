// The choice between the kinds of managed pools. Apart from them, since it needs the memory manager.
#include <fl/mem/managed_pool.hpp>
#include <fl/mem/manager.hpp>

#include "mem/heap_pool.hpp"
#include "mem/pooled_pool.hpp"

namespace foundation::core::mem {

std::unique_ptr<managed_pool> create_managed_pool(std::size_t size, std::size_t initial_chunks) {
  using namespace name_this_to_work_around_gdb_bug;
  if (manager::get_feature(manager::feature::pooling))
    return std::make_unique<pooled_pool>(size, initial_chunks);
  return std::make_unique<heap_pool>(size);
}

}  // namespace foundation::core::mem
