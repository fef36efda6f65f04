// What the other tests take on trust: the reports of the test main, and fault injection.
#include "test_main.hpp"

#include "as_written.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <windows.h>

namespace {

using namespace test_support;

volatile int* volatile nowhere = nullptr;
volatile bool for_ever = true;

AS_WRITTEN void write_through_null() {
  *nowhere = 1;
}

AS_WRITTEN void throw_where_nobody_catches() {
  throw std::runtime_error("thrown on purpose");
}

AS_WRITTEN void spin_for_ever() {
  while (for_ever) {
  }
}

TEST(TestMain, SaysWhereATestCrashesTerminatesOrHangsAndEndsWithAFailure) {
  using testing::ExitedWithCode;
  const auto told = [](const char* what, const char* where) {
    return testing::AllOf(testing::HasSubstr(what), testing::HasSubstr(where),
                          testing::HasSubstr("test_main_test.cpp:"));
  };
  EXPECT_EXIT(write_through_null(), ExitedWithCode(crash_exit_code), told("0xc0000005", "write_through_null"));
  EXPECT_EXIT(std::thread(throw_where_nobody_catches).join(), ExitedWithCode(abort_exit_code),
              told("thrown on purpose", "throw_where_nobody_catches"));
  const scoped_variable limit("QXFL_TEST_TIMEOUT", "3");
  EXPECT_EXIT((std::jthread(spin_for_ever).join()), ExitedWithCode(hang_exit_code),
              testing::AllOf(told("hang: a test", "spin_for_ever"), testing::HasSubstr("::TestBody")));
}

// What the program calls as SetEvent.
import_patch::any_function imported_set_event() {
  std::atomic<import_patch::any_function> found;
  import_patch(nullptr, "SetEvent", nullptr, found);
  return found;
}

TEST(Injected, LivesOnceOfATypeAndRestoresTheImport) {
  using set_event = injected<decltype(&::SetEvent)>;
  const import_patch::any_function real = imported_set_event();
  {
    const set_event set(nullptr, "SetEvent");
    EXPECT_THROW(set_event(nullptr, "SetEvent"), std::logic_error) << "both would be found through one place";
    EXPECT_FALSE(::SetEvent(nullptr));
    EXPECT_EQ(set.calls(), 1u);
    EXPECT_NE(imported_set_event(), real);
  }
  EXPECT_EQ(imported_set_event(), real);
}

}  // namespace
