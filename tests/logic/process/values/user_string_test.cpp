#include "process/values/user_string.hpp"

#include <fl/process/errors.hpp>

#include "every_test.hpp"

namespace {

using namespace foundation::core::process;

TEST(UserString, GivesUserAndDomainAndRefusesAnEmptyPart) {
  const char* const cases[][3] = {{"x", "x", "."},        {"d\\u", "u", "d"},     {"u@d", "u", "d"},
                                  {"A\\b@c", "b@c", "A"}, {"a@b\\c", "c", "a@b"}, {"a\\b\\c", "b\\c", "a"},
                                  {"a@b@c", "a", "b@c"},  {" ", " ", "."}};
  for (const auto& [text, user, domain] : cases) {
    const auto parts = parse_user(text);
    EXPECT_EQ(parts.get<0>(), user) << text;
    EXPECT_EQ(parts.get<1>(), domain) << text;
  }
  for (const std::string text : {"", "x@", "@x", "x\\", "\\x", "\\", "@", "\\a@b"}) {
    EXPECT_THAT([&] { parse_user(text); },
                testing::ThrowsMessage<process_bad_user>(
                    "Failed to parse user string \"" + text +
                    "\". User must be specified as either USER@DOMAIN, DOMAIN\\USER or USER."));
  }
}

}  // namespace
