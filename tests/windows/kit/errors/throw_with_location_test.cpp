// Where errors of all kinds were thrown, and that they are thrown whole.
#include <fl/except.hpp>

#include "every_test.hpp"
#include "shop.hpp"

#include <boost/exception/all.hpp>
#include <kit/throw_with_location.hpp>

namespace {

using namespace testing;
using foundation::kit::throw_stack;
using foundation::kit::throw_with_location;
using foundation::kit::throw_with_stacktrace;
using note = boost::error_info<struct note_tag, std::string>;

struct plain : std::runtime_error {
  using std::runtime_error::runtime_error;
};
struct with_facts : std::exception, boost::exception {};

/// Throws `error` given as an `As` and checks what is caught, where it is from, and that it can travel.
template <class As = void, class Error>
void expect_thrown_whole(const Error& error) {
  int line = 0;
  try {
    line = __LINE__ + 1;
    throw_with_location(static_cast<const std::conditional_t<std::is_void_v<As>, Error, As>&>(error));
  } catch (const Error&) {
    try {
      boost::rethrow_exception(boost::current_exception());
    } catch (const Error& arrived) {
      EXPECT_STREQ(arrived.what(), error.what());
      const auto& facts = dynamic_cast<const boost::exception&>(arrived);
      EXPECT_THAT(*boost::get_error_info<boost::throw_file>(facts), EndsWith("throw_with_location_test.cpp"));
      EXPECT_EQ(*boost::get_error_info<boost::throw_line>(facts), line);
      EXPECT_THAT(*boost::get_error_info<boost::throw_function>(facts), HasSubstr("expect_thrown_whole"));
      const std::string all = boost::diagnostic_information(arrived);
      EXPECT_THAT(all, HasSubstr("throw_with_location_test.cpp(" + std::to_string(line) + "): Throw in function "));
      EXPECT_THAT(all, HasSubstr(error.what()));
    }
    return;
  }
}

TEST(ThrowWithLocation, ThrowsAnErrorOfAnyKindWithItsPlace) {
  using foundation::core::except::detail::AnonymousInternalException;
  expect_thrown_whole(shop::sold_out({"SHOP", "none"}));
  expect_thrown_whole<foundation::core::except::IUserException>(shop::sold_out({"SHOP", "none"}));
  expect_thrown_whole<std::exception>(shop::sold_out({"SHOP", "none"}));
  expect_thrown_whole<std::exception>(AnonymousInternalException(std::out_of_range("far")));
  expect_thrown_whole(plain("plain"));
  expect_thrown_whole(std::bad_alloc());
  expect_thrown_whole(with_facts());
  EXPECT_THAT(
      [] { shop::sell("E14", 0); },
      Throws<shop::sold_out>(ResultOf([](const shop::sold_out& error) { return boost::diagnostic_information(error); },
                                      HasSubstr("shop.cpp(10): Throw in function sell\n"))));
  expect_thrown_whole<std::exception>(boost::enable_current_exception(boost::enable_error_info(plain("a clone"))));
}

TEST(ThrowWithLocation, RefusesToCutAnErrorDown) {
  const plain error("whole");
  EXPECT_THAT(
      [&] { throw_with_location<std::exception>(error); },
      ThrowsMessage<std::invalid_argument>(
          AllOf(StartsWith("the error \"whole\" cannot be thrown again: it is a "), HasSubstr(typeid(plain).name()))));
  EXPECT_THROW(throw_with_stacktrace<boost::exception>(with_facts()), std::invalid_argument);
}

template <class Error>
void expect_left_as_it_was(const Error& error) {
  error << note("kept");
  try {
    throw_with_stacktrace(error, boost::source_location("shop.cpp", 7, "sell"));
  } catch (const Error& thrown) {
    EXPECT_EQ(*boost::get_error_info<note>(thrown), "kept");
    EXPECT_THAT(boost::diagnostic_information(thrown), HasSubstr("shop.cpp(7): Throw in function sell"));
    EXPECT_NE(boost::get_error_info<throw_stack>(thrown), nullptr);
  }
  EXPECT_EQ(boost::get_error_info<throw_stack>(error), nullptr);
  EXPECT_EQ(boost::get_error_info<boost::throw_line>(error), nullptr);
}

TEST(ThrowWithLocation, LeavesTheErrorAsItWasAndTakesItsFactsAlong) {
  expect_left_as_it_was(shop::sold_out({"SHOP", "none"}));
  expect_left_as_it_was(with_facts());
}

[[gnu::noinline]] void fail_deep_inside() {
  throw_with_stacktrace(plain("deep"));
}

TEST(ThrowWithLocation, TheStackBeginsWhereItWasThrown) {
  try {
    fail_deep_inside();
    FAIL();
  } catch (const std::exception& error) {
    const auto* const stack = boost::get_error_info<throw_stack>(error);
    ASSERT_NE(stack, nullptr);
    const auto* const begin = reinterpret_cast<const char*>(&fail_deep_inside);
    EXPECT_THAT(static_cast<const char*>((*stack)[0]), AllOf(Gt(begin), Lt(begin + 400)));
    EXPECT_GT(stack->size(), 5U);
    std::ostringstream symbolic;
    symbolic << *stack;
    EXPECT_THAT(symbolic.str(), HasSubstr("fail_deep_inside"));
    EXPECT_THAT(boost::diagnostic_information(error), HasSubstr(symbolic.str()));
  }
}

}  // namespace
