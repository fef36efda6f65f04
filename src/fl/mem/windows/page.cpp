#include <fl/mem/page.hpp>

#include <windows.h>

std::size_t foundation::core::mem::get_page_size() {
  SYSTEM_INFO system = {};
  ::GetSystemInfo(&system);
  return system.dwPageSize;
}
