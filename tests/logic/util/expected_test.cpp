// A value or an exception.

#include <fl/util/expected.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using foundation::core::util::Expected;

Expected<std::string> outcome_of(bool fails) {
  try {
    if (fails) {
      throw std::range_error("too far");
    }
    return std::string("a value");
  } catch (...) {
    return std::current_exception();
  }
}

template <class T>
const std::exception* thrown_by(const Expected<T>& outcome) {
  try {
    (void)outcome.value();
    return nullptr;
  } catch (const std::exception& failure) {
    return &failure;  // Lives as long as the outcome does.
  }
}

TEST(Expected, HoldsAValue) {
  const auto outcome = outcome_of(false);
  EXPECT_TRUE(outcome.has_value());
  EXPECT_EQ(outcome.index(), 0u);
  EXPECT_EQ(outcome.value(), "a value");
  EXPECT_EQ(outcome.exception(), nullptr);
}

TEST(Expected, ThrowsTheSameExceptionAgainAndSharesItWithCopies) {
  const auto outcome = outcome_of(true);
  const auto copy = outcome;
  EXPECT_FALSE(copy.has_value());
  EXPECT_EQ(copy.index(), 1u);
  EXPECT_THROW((void)copy.value(), std::range_error);
  const std::exception* const thrown = thrown_by(outcome);
  EXPECT_STREQ(thrown->what(), "too far");
  EXPECT_EQ(thrown, thrown_by(copy));
  EXPECT_EQ(copy.exception(), outcome.exception());
}

TEST(Expected, IsEmptyAfterItWasMovedFrom) {
  for (const bool fails : {false, true}) {
    auto source = outcome_of(fails);
    auto target = std::move(source);
    EXPECT_EQ(source.index(), Expected<std::string>::empty_index);
    EXPECT_EQ(source.exception(), nullptr);
    EXPECT_THROW((void)source.value(), std::logic_error);
    EXPECT_EQ(target.has_value(), !fails);
    source = std::move(target);
    EXPECT_EQ(target.index(), Expected<std::string>::empty_index);
    auto& itself = source;
    source = std::move(itself);
    EXPECT_EQ(source.has_value(), !fails);
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
  EXPECT_THROW(Expected<int>(std::exception_ptr()), std::invalid_argument);
  const Expected<reluctant> source{reluctant()};
  Expected<reluctant> target(std::make_exception_ptr(1));
  EXPECT_THROW(target = source, std::runtime_error);
  EXPECT_EQ(target.index(), Expected<reluctant>::empty_index);
  EXPECT_THROW((void)target.value(), std::logic_error);
}

}  // namespace
