// Commands that do to their streams whatever a command can do, and a system that refuses.

#include "children.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"

#include <kit/by_lines.hpp>
#include <kit/run.hpp>

#include <windows.h>

namespace kit = foundation::kit;
namespace process = foundation::core::process;
using namespace std::chrono_literals;
using children::command;
using children::common_event;
using test_support::injected;
using test_support::loses_no_handle;

namespace {

constexpr std::size_t huge = 3'000'000;  // far more than all pipes hold

}  // namespace

TEST(Run, GivesWhatTheCommandWroteAndHowItEnded) {
  kit::run_options options;
  options.input = "in\r\n\xE9";
  const kit::run_result echo = kit::run(command("echo", {"told"}), {}, {}, options);
  EXPECT_EQ(echo.out.bytes, "in\r\n\xE9");
  EXPECT_EQ(echo.out.text(), "in\n\uFFFD");
  EXPECT_EQ(echo.out.text("ISO-8859-1"), "in\n\u00E9");
  EXPECT_EQ(echo.err.wide_text(), u"told");
  EXPECT_TRUE(echo.succeeded() && !echo.input_refused && !echo.out.given_up);
  EXPECT_GT(echo.wall_time, 0s);

  const kit::run_result still_active = kit::run(command("exit", {"259"}));
  EXPECT_EQ(still_active.exit_code(), 259u);
  EXPECT_FALSE(still_active.succeeded());
}

TEST(Run, MovesMuchThroughAllStreamsAtOnce) {
  std::size_t pieces = 0, lines = 0;
  kit::run_options options;
  options.next_input = [&] { return ++pieces <= 30 ? std::string(huge / 30, 'i') : std::string(); };
  options.on_err = kit::by_lines([&](std::string_view line) { lines += line.size(); });
  const kit::run_result all = kit::run(command("flood", {std::to_string(huge)}), {}, {}, options);
  EXPECT_EQ(all.out.bytes, std::string(huge, 'x') + std::to_string(huge));
  EXPECT_TRUE(all.err.bytes.size() == huge && lines == huge);
  EXPECT_FALSE(all.input_refused);
}
