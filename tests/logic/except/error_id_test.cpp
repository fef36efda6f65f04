#include "except/error_id.hpp"

#include "every_test.hpp"

namespace {

using namespace foundation::core::except;

// Cuts at the colons and judges each part, in the characters of the test below.
bool valid_by_parts(const std::string& id) {
  int parts = 0;
  for (std::string rest = id + ":"; !rest.empty(); rest.erase(0, rest.find(':') + 1), ++parts) {
    const std::string part = rest.substr(0, rest.find(':'));
    if (part.substr(0, 1) != "a" || part.find_first_not_of("a1_") != std::string::npos) {
      return false;
    }
  }
  return parts >= 2;
}

TEST(ErrorId, FollowsTheGrammarForEveryShortString) {
  for (int length = 0, count = 1; length <= 6; ++length, count *= 5) {
    for (int number = 0; number != count; ++number) {
      std::string id;
      for (int rest = number; id.size() != static_cast<std::size_t>(length); rest /= 5) {
        id.push_back("a1_: "[rest % 5]);
      }
      ASSERT_EQ(is_error_id(id), valid_by_parts(id)) << '"' << id << '"';
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
  for (const std::string catalog : {"other:legacy_two_part", "TESSEL", "TESSEL:legacy_two_part:", ""}) {
    EXPECT_EQ(message_error_id(catalog, "badArg"), catalog + ":badArg");
  }
}

}  // namespace
