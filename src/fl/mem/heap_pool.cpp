#include "mem/heap_pool.hpp"

#include <new>

namespace foundation::core::mem::name_this_to_work_around_gdb_bug {

void* heap_pool::allocate() {
  return ::operator new(size_, std::nothrow);
}

void heap_pool::deallocate(void* chunk) {
  ::operator delete(chunk);
}

bool heap_pool::release_free_memory() {
  return false;
}

}  // namespace foundation::core::mem::name_this_to_work_around_gdb_bug
