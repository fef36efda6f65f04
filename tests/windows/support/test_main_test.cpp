// What the other tests take on trust: the reports of the test main, and fault injection.
#include "test_main.hpp"

#include "import_patch.hpp"
#include "run_child.hpp"
#include "support.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

namespace {

using namespace test_support;

TEST(TestMain, SaysWhereATestCrashesTerminatesOrHangsAndEndsWithAFailure) {
  const scoped_variable limit("QXFL_TEST_TIMEOUT", "3");
  const struct {
    std::string test;
    unsigned exit_code;
    std::vector<std::string> named;
  } cases[] = {
      {"WritesThroughNull", crash_exit_code, {"0xc0000005", "WritesThroughNull_Test::TestBody", "child_faults.cpp"}},
      {"Terminates", abort_exit_code, {"thrown on purpose", "child_faults::throw_where_nobody_catches"}},
      {"Hangs", hang_exit_code, {"hang: ChildFaults.Hangs", "Hangs_Test::TestBody", "child_faults::spin_for_ever"}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.test);
    const child_result result = run_child("child_faults", "--gtest_filter=ChildFaults." + each.test);
    EXPECT_EQ(result.exit_code, each.exit_code);
    EXPECT_THAT(result.out, testing::HasSubstr("[ RUN      ] ChildFaults." + each.test));
    for (const std::string& part : each.named) {
      EXPECT_THAT(result.err, testing::HasSubstr(part));
    }
  }
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
