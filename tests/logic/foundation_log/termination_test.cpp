// The fatal path up to the handler, and the text of exceptions in flight.

#include <foundation_log/termination.hpp>

#include <boost/exception/all.hpp>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using namespace foundation::log::detail;

template <int Number>
void throwing_handler(const std::ostringstream& text, const char* file, int line, const char* function) {
  throw std::to_string(Number) + " " + text.str() + " " + file + " " + std::to_string(line) + " " + function;
}

std::string termination() {
  try {
    std::ostringstream text;
    text << "condition";
    terminate(text, "unit.cpp", 12, "f()");
  } catch (const std::string& end) {
    return end;
  }
}

TEST(TerminationHandler, TheNewestLivingOneIsCalledInWhateverOrderTheyGo) {
  const termination_handler first(&throwing_handler<1>);
  std::optional<termination_handler> second(std::in_place, &throwing_handler<2>);
  std::optional<termination_handler> third(std::in_place, &throwing_handler<3>);
  EXPECT_EQ(termination(), "3 condition unit.cpp 12 f()");
  second.reset();
  third.reset();
  EXPECT_EQ(termination(), "1 condition unit.cpp 12 f()");  // Not the second, which is gone.
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
  EXPECT_NE(nested.find("std::logic_error>: outer\n"), std::string::npos) << nested;
  EXPECT_NE(nested.find("std::out_of_range: inner; most"), std::string::npos) << nested;
  using error_tag = boost::error_info<struct tag_of_test, int>;
  const auto boosted = chain_of([] { throw boost::enable_error_info(std::runtime_error("broken")) << error_tag(42); });
  for (const char* part : {"broken", "tag_of_test", "= 42"}) {
    EXPECT_NE(boosted.find(part), std::string::npos) << boosted;
  }
  EXPECT_EQ(boosted.find('\n'), std::string::npos) << boosted;
  EXPECT_NE(chain_of([] { throw deep::odd(); }).find("deep::odd"), std::string::npos);
  EXPECT_EQ(current_exception_chain_as_string(), "");
}

}  // namespace
