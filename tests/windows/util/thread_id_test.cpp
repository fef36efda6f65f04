// What the system tells of other threads.
#include "util/thread_id.hpp"

#include "every_test.hpp"
#include "import_patch.hpp"
#include "util/thread_slot.hpp"

#include <windows.h>

namespace {

using namespace foundation::core::util;
using test_support::injected;

DWORD WINAPI wait_for(void* event) {
  return WaitForSingleObject(event, INFINITE);
}

TEST(ThreadId, TellsWhetherAThreadIsSuspendedOrHasEndedAndNotWhereItMayNotBeAsked) {
  DWORD id = 0;
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const HANDLE thread = CreateThread(nullptr, 0, wait_for, event, 0, &id);
  EXPECT_FALSE(is_stopped(id));
  SuspendThread(thread);
  EXPECT_TRUE(is_stopped(id) && is_stopped(id));
  {
    injected<decltype(&SuspendThread)> suspend(nullptr, "SuspendThread");
    suspend.fail_always(static_cast<DWORD>(-1), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(is_stopped(id));
    injected<decltype(&OpenThread)> open(nullptr, "OpenThread");
    open.fail_always(nullptr, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(is_stopped(id));
  }
  EXPECT_EQ(ResumeThread(thread), 1u);
  EXPECT_FALSE(is_stopped(id));
  SetEvent(event);
  WaitForSingleObject(thread, INFINITE);
  EXPECT_TRUE(is_stopped(id)) << "its number lives with its handle";
  CloseHandle(thread);
  CloseHandle(event);
  EXPECT_TRUE(is_stopped(0));
}

TEST(ThreadSlot, IsEmptyAndTakesNothingIfTheSystemHasNone) {
  injected<decltype(&TlsAlloc)> allocate(nullptr, "TlsAlloc");
  allocate.fail_always(TLS_OUT_OF_INDEXES, ERROR_NOT_ENOUGH_MEMORY);
  thread_slot none;
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_THROW(none.set(&none), std::bad_alloc);
}

}  // namespace
