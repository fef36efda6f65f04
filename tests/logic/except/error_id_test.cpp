#include "except/error_id.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <string_view>

namespace {

using namespace foundation::core::except;

TEST(ErrorId, FollowsTheGrammarForEveryShortString) {
  const std::regex grammar("a[a1_]*(:a[a1_]*)+");  // In the characters that are tried.
  for (int length = 0, count = 1; length <= 6; ++length, count *= 5) {
    for (int number = 0; number != count; ++number) {
      std::string id;
      for (int rest = number; id.size() != static_cast<std::size_t>(length); rest /= 5) {
        id.push_back("a1_: "[rest % 5]);
      }
      ASSERT_EQ(is_error_id(id), std::regex_match(id, grammar)) << '"' << id << '"';
    }
  }
  EXPECT_TRUE(is_error_id("Zz:Aa09"));
  using namespace std::string_view_literals;
  for (const auto bad :
       {"a:\xc3\xa4"sv, "\xe4:a"sv, "a:b\0"sv, "a:b\n"sv, "a:@"sv, "[:a"sv, "a:b{"sv, "a:b`"sv, "a:b/"sv}) {
    EXPECT_FALSE(is_error_id(bad)) << testing::PrintToString(bad);
  }
}

TEST(ErrorId, OfAMessageJoinsCatalogAndMnemonicButForTheOldTwoPartNames) {
  EXPECT_EQ(message_error_id("TESSEL:legacy_two_part", "badArg"), "TESSEL:badArg");
  for (const std::string catalog :
       {"other:legacy_two_part", ":legacy_two_part", "TESSEL", "TESSEL:legacy_two_part:", ""}) {
    EXPECT_EQ(message_error_id(catalog, "badArg"), catalog + ":badArg");
  }
}

}  // namespace
