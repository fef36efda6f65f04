// What a process finds out about itself.

#include <fl/process/this_process.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <boost/system/system_error.hpp>

namespace this_process = foundation::core::process::this_process;
using test_support::injected;

TEST(ThisProcess, TellsItsIdWorkingSetAndPath) {
  EXPECT_EQ(this_process::id(), static_cast<long long>(GetCurrentProcessId()));
  EXPECT_GT(this_process::working_set_size(), 100000u);
  const fl::ustring path = this_process::absolute_path();
  const std::wstring wide(path.begin(), path.end());
  EXPECT_EQ(test_support::narrow(wide), test_support::child_path("process_impl_test"));
}

// The table of the system's answers is injected: how long a path is, and with which last error the call returns.
TEST(ThisProcess, GrowsTheBufferOnceForALongPathAndGoesByTheLastErrorAlone) {
  const std::wstring long_path(5000, L'x');
  injected<decltype(&GetModuleFileNameW)> name("GetModuleFileNameW");
  name.handle_with([&](auto, HMODULE, LPWSTR buffer, DWORD size) -> DWORD {
    if (size <= long_path.size()) {
      SetLastError(ERROR_INSUFFICIENT_BUFFER);
      return size;
    }
    std::memcpy(buffer, long_path.c_str(), (long_path.size() + 1) * sizeof(wchar_t));
    return static_cast<DWORD>(long_path.size());
  });
  SetLastError(ERROR_ACCESS_DENIED);  // of an earlier call
  EXPECT_EQ(this_process::absolute_path(), fl::ustring(5000, u'x'));
  EXPECT_EQ(name.calls(), 2u);

  name.reset();
  name.fail_always(0, ERROR_INSUFFICIENT_BUFFER);
  EXPECT_THROW(this_process::absolute_path(), boost::system::system_error);
  EXPECT_EQ(name.calls(), 2u) << "there is no third attempt";

  name.reset();
  name.fail_always(10, ERROR_ACCESS_DENIED);
  EXPECT_THROW(this_process::absolute_path(), boost::system::system_error);
}
