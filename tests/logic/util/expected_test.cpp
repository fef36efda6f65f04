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
  EXPECT_THROW(Expected<int>(std::exception_ptr()), std::invalid_argument);
  const Expected<reluctant> source{reluctant()};
  Expected<reluctant> target(std::make_exception_ptr(1));
  EXPECT_THROW(target = source, std::runtime_error);
  EXPECT_EQ(target.index(), Expected<reluctant>::empty_index);
  EXPECT_THROW((void)target.value(), std::logic_error);
}

}  // namespace
