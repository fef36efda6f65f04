// The fatal path up to the handler, and the text of exceptions in flight.

#include <foundation_log/termination.hpp>

#include "every_test.hpp"

#include <boost/exception/all.hpp>

#include <csignal>

namespace {

using namespace foundation::log::detail;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

template <int Number>
void throwing_handler(const std::ostringstream& text, const char* file, int line, const char* function) {
  throw std::runtime_error(std::to_string(Number) + " " + text.str() + " " + file + " " + std::to_string(line) + " " +
                           function);
}

void expect_termination(const std::string& told) {
  const std::ostringstream text("condition");
  EXPECT_THAT([&] { terminate(text, "unit.cpp", 12, "f()"); }, ThrowsMessage<std::runtime_error>(told));
}

TEST(TerminationHandler, TheNewestLivingOneIsCalledInWhateverOrderTheyGo) {
  const termination_handler first(&throwing_handler<1>);
  std::optional<termination_handler> second(std::in_place, &throwing_handler<2>);
  std::optional<termination_handler> third(std::in_place, &throwing_handler<3>);
  expect_termination("3 condition unit.cpp 12 f()");
  second.reset();
  third.reset();
  expect_termination("1 condition unit.cpp 12 f()");  // Not the second, which is gone.
}

TEST(TerminationHandlerDeathTest, WithoutOneTheTextAndThePlaceAreTheLastWords) {
  EXPECT_EXIT(terminate(std::ostringstream("condition"), "unit.cpp", 12, "f()"), testing::KilledBySignal(SIGABRT),
              "condition\n\\( at line 12 of unit.cpp in f\\(\\) \\)");
}

namespace deep {
struct odd {};
}  // namespace deep

template <class Action>
std::string chain_of(Action action) {
  try {
    action();
  } catch (...) {
    return current_exception_chain_as_string();
  }
  return "nothing was thrown";
}

TEST(ExceptionChain, HasOneLineForEachNestedExceptionWithWhatItCarries) {
  const auto nested = chain_of([] {
    try {
      throw std::out_of_range("inner\nmost");
    } catch (...) {
      std::throw_with_nested(std::logic_error("outer"));
    }
  });
  EXPECT_THAT(nested, AllOf(HasSubstr("std::logic_error>: outer\n"), HasSubstr("std::out_of_range: inner; most")));
  using error_tag = boost::error_info<struct tag_of_test, int>;
  const auto boosted = chain_of([] { throw boost::enable_error_info(std::runtime_error("broken")) << error_tag(42); });
  EXPECT_THAT(boosted, AllOf(HasSubstr("broken"), HasSubstr("tag_of_test"), HasSubstr("= 42"), Not(HasSubstr("\n"))));
  EXPECT_THAT(chain_of([] { throw deep::odd(); }), HasSubstr("deep::odd"));
  EXPECT_EQ(current_exception_chain_as_string(), "");
}

}  // namespace
