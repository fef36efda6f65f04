#include "process/windows/launch/attribute_list.hpp"

#include <new>
#include <stdexcept>

namespace foundation::core::sysdep::windows {

LPPROC_THREAD_ATTRIBUTE_LIST make_attribute_list(std::size_t places) {
  const auto count = static_cast<DWORD>(places);
  SIZE_T size = 0;
  ::InitializeProcThreadAttributeList(nullptr, count, 0, &size);
  const auto list = static_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(::HeapAlloc(::GetProcessHeap(), 0, size));
  if (!list) {
    throw std::bad_alloc();
  }
  if (!::InitializeProcThreadAttributeList(list, count, 0, &size)) {
    ::HeapFree(::GetProcessHeap(), 0, list);
    throw std::logic_error("InitializeProcThreadAttributeList failed");
  }
  return list;
}

void delete_attribute_list(LPPROC_THREAD_ATTRIBUTE_LIST& list) {
  ::DeleteProcThreadAttributeList(list);
  ::HeapFree(::GetProcessHeap(), 0, list);
  list = nullptr;
}

}  // namespace foundation::core::sysdep::windows
