// A value or an exception.

#include <fl/util/expected.hpp>

#include "every_test.hpp"

namespace {

using foundation::core::util::Expected;
using outcome = Expected<std::string>;

const outcome good("a value"), bad(std::make_exception_ptr(std::range_error("too far")));

TEST(Expected, HoldsAValueOrAnExceptionThatItsCopiesShare) {
  EXPECT_TRUE(good.has_value());
  EXPECT_EQ(good.index(), 0u);
  EXPECT_EQ(good.value(), "a value");
  EXPECT_EQ(good.exception(), nullptr);
  const outcome copy = bad;
  EXPECT_FALSE(copy.has_value());
  EXPECT_EQ(copy.index(), 1u);
  EXPECT_THAT([&] { (void)copy.value(); }, testing::ThrowsMessage<std::range_error>("too far"));
  EXPECT_NE(copy.exception(), nullptr);
  EXPECT_EQ(copy.exception(), bad.exception());
}

TEST(Expected, IsEmptyAfterItWasMovedFrom) {
  for (outcome source : {good, bad}) {
    const bool had_value = source.has_value();
    auto target = std::move(source);
    EXPECT_EQ(source.index(), outcome::empty_index);
    EXPECT_EQ(source.exception(), nullptr);
    EXPECT_THROW((void)source.value(), std::logic_error);
    EXPECT_EQ(target.has_value(), had_value);
    source = std::move(target);
    EXPECT_EQ(target.index(), outcome::empty_index);
    auto& itself = source;
    source = std::move(itself);
    EXPECT_EQ(source.has_value(), had_value);
  }
  Expected<std::unique_ptr<int>> owner(std::make_unique<int>(7));
  EXPECT_EQ(*std::move(owner).value(), 7);
}

TEST(Expected, IsEmptyAfterAnAssignmentThatThrew) {
  struct reluctant {
    reluctant() = default;
    reluctant(const reluctant&) { throw std::runtime_error("no copies"); }
    reluctant(reluctant&&) {}  // Not known to hold its promise, as for a type of old.
    reluctant& operator=(const reluctant&) = default;
  };
  EXPECT_THROW(Expected<int>(std::exception_ptr(nullptr)), std::invalid_argument);
  const Expected<reluctant> source{reluctant()};
  Expected<reluctant> target(std::make_exception_ptr(1));
  EXPECT_THROW(target = source, std::runtime_error);
  EXPECT_EQ(target.index(), Expected<reluctant>::empty_index);
  EXPECT_THROW((void)target.value(), std::logic_error);
}

// ---- what is done with a value when there is one ----

outcome empty_outcome() {
  outcome made = good;
  const outcome taken = std::move(made);
  return made;
}

TEST(Expected, GivesAFallbackForWhatItDoesNotHold) {
  EXPECT_TRUE(good);
  EXPECT_FALSE(bad);
  EXPECT_FALSE(empty_outcome());
  EXPECT_FALSE((std::is_convertible_v<outcome, bool>));
  EXPECT_EQ(good.value_or("another"), "a value");
  EXPECT_EQ(bad.value_or("another"), "another");
  EXPECT_EQ(bad.value_or({}), "");
  EXPECT_EQ(empty_outcome().value_or("another"), "another");
  Expected<std::unique_ptr<int>> owner(std::make_unique<int>(7)), none(std::make_exception_ptr(1));
  EXPECT_EQ(*std::move(owner).value_or(nullptr), 7);
  EXPECT_EQ(*std::move(none).value_or(std::make_unique<int>(8)), 8);
}

/// Says as what it got its argument.
struct category {
  std::string operator()(std::string&) const { return "&"; }
  std::string operator()(const std::string&) const { return "const&"; }
  std::string operator()(std::string&&) const { return "&&"; }
  std::string operator()(const std::string&&) const { return "const&&"; }
};

TEST(Expected, HandsTheValueOverAsItIsItself) {
  outcome changing = good;
  const auto nested = [](auto&& value) { return outcome(category()(std::forward<decltype(value)>(value))); };
  EXPECT_EQ(changing.transform(category()).value(), "&");
  EXPECT_EQ(good.transform(category()).value(), "const&");
  EXPECT_EQ(outcome(good).transform(category()).value(), "&&");
  EXPECT_EQ(std::move(good).transform(category()).value(), "const&&");
  EXPECT_EQ(changing.and_then(nested).value(), "&");
  EXPECT_EQ(good.and_then(nested).value(), "const&");
  EXPECT_EQ(outcome(good).and_then(nested).value(), "&&");
  EXPECT_EQ(std::move(good).and_then(nested).value(), "const&&");
  const auto never = [](const std::exception_ptr&) -> outcome { throw std::logic_error("there is a value"); };
  EXPECT_EQ(std::move(changing).or_else(never).value(), "a value");
  EXPECT_NE(changing.value(), "a value") << "it was moved, not copied";
  EXPECT_EQ(good.or_else(never).value(), "a value");
  EXPECT_EQ(std::move(good).or_else(never).value(), good.value()) << "what is constant stays";
}

TEST(Expected, AFailurePassesBy) {
  const auto never = [](auto&&...) -> int { throw std::logic_error("there is no value"); };
  const auto never_nested = [&](auto&&...) -> Expected<int> { return never(); };
  EXPECT_EQ(bad.transform(never).exception(), bad.exception());
  EXPECT_EQ(outcome(bad).transform(never).exception(), bad.exception());
  EXPECT_EQ(bad.and_then(never_nested).exception(), bad.exception());
  EXPECT_EQ(bad.transform(&std::string::size).and_then(never_nested).exception(), bad.exception());
  const auto mend = [](const std::exception_ptr& failure) {
    return outcome(failure == bad.exception() ? "mended" : "");
  };
  EXPECT_EQ(bad.or_else(mend).value(), "mended");
  outcome moved = bad;
  EXPECT_EQ(std::move(moved).or_else(mend).value(), "mended");
  EXPECT_EQ(moved.exception(), bad.exception()) << "the exception is shared";
  EXPECT_EQ(bad.or_else([](auto) { return bad; }).exception(), bad.exception());
}

TEST(Expected, TakesWhatAFunctionMakesOfTheValue) {
  EXPECT_EQ(good.transform(&std::string::size).value(), 7u);
  const auto front = [](const std::string& text) -> const char& { return text.front(); };
  EXPECT_TRUE((std::is_same_v<decltype(good.transform(front)), Expected<char>>)) << "no reference";
  const auto failing = [](auto&&...) -> outcome { throw std::range_error("from the function"); };
  EXPECT_THROW(good.and_then(failing), std::range_error);
  EXPECT_EQ(good.and_then([](const std::string&) { return bad; }).exception(), bad.exception());
  Expected<std::unique_ptr<int>> owner(std::make_unique<int>(7));
  const auto taken = std::move(owner).transform([](std::unique_ptr<int>&& value) { return std::move(value); });
  EXPECT_EQ(*taken.value(), 7);
}

TEST(Expected, OfAnEmptyObjectNothingCanBeMade) {
  const outcome empty = empty_outcome();
  EXPECT_THROW(empty.transform(&std::string::size), std::logic_error);
  EXPECT_THROW(empty.and_then([](auto&&) { return good; }), std::logic_error);
  EXPECT_THROW(empty.or_else([](auto) { return good; }), std::logic_error);
}

}  // namespace
