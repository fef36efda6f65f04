#include "mem/checked_pool.hpp"

#include <fl/diag/terminate.hpp>

namespace foundation::core::mem::name_this_to_work_around_gdb_bug {

void* checked_pool::allocate() {
  void* const chunk = pool_.allocate();
  if (chunk == nullptr) {
    return nullptr;
  }
  try {
    out_.insert(chunk);
    return chunk;
  } catch (...) {  // The new handler may throw what it likes.
    pool_.deallocate(chunk);
    return nullptr;
  }
}

void checked_pool::deallocate(void* chunk) {
  if (chunk != nullptr && out_.erase(chunk) == 0) {
    diag::terminate(
        "A chunk that is not handed out was given back to a managed pool:\n"
        "it has been given back already, or did not come from this pool",
        "src/fl/mem/checked_pool", __LINE__, __PRETTY_FUNCTION__);
  }
  pool_.deallocate(chunk);
}

bool checked_pool::release_free_memory() {
  return pool_.release_free_memory();
}

}  // namespace foundation::core::mem::name_this_to_work_around_gdb_bug
