// The choice between the kinds of managed pools. Apart from them, since it needs the memory manager.
#include <fl/mem/managed_pool.hpp>
#include <fl/mem/manager.hpp>

#include "mem/checked_pool.hpp"
#include "mem/heap_pool.hpp"
#include "mem/pooled_pool.hpp"

namespace foundation::core::mem {

std::unique_ptr<managed_pool> create_managed_pool(std::size_t size, std::size_t initial_chunks) {
  using namespace name_this_to_work_around_gdb_bug;
  const auto is_on = [](manager::feature::type type) { return manager::get_feature(type).is_enabled(); };
  if (!is_on(manager::feature::pooling)) {
    return std::make_unique<heap_pool>(size);
  }
  if (is_on(manager::feature::alignment_checking) || is_on(manager::feature::integrity_checking)) {
    return std::make_unique<checked_pool>(size, initial_chunks);
  }
  return std::make_unique<pooled_pool>(size, initial_chunks);
}

}  // namespace foundation::core::mem
