#include "process/launch_text/environment_block.hpp"

#include <fl/util/lexicographical_iless.hpp>
#include <i18n/convert.hpp>

#include "every_test.hpp"

namespace {

using namespace foundation::core::process;
using namespace std::string_literals;

char16_t ascii_upper(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
}

// `user` is a block without the NUL that ends it, which the literal's own one is.
std::u16string merged(const std::u16string& user, const environment_map& environment) {
  const std::vector<char16_t> block =
      merged_environment_block(user.c_str(), environment, ascii_upper, fl::i18n::utf8_to_ustring);
  return {block.begin(), block.end()};
}

TEST(EnvironmentNames, AreOrderedByUpperCasedSignedBytes) {
  const foundation::core::util::lexicographical_iless less;
  EXPECT_FALSE(less("a_B", "A_b") || less("A_b", "a_B"));
  // Upper-casing puts the letters in front of the underscore; above 127 is below zero.
  const char* const ascending[][2] = {{"", "a"}, {"path", "PATHEXT"}, {"a", "B"}, {"z", "_"}, {"\xe4", "a"}};
  for (const auto& [left, right] : ascending) {
    EXPECT_TRUE(less(left, right) && !less(right, left)) << left << " | " << right;
  }
  struct one_is_two : std::ctype<char> {
    char do_toupper(char c) const override { return c == '1' ? '2' : c; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new one_is_two));
  EXPECT_FALSE(less("1", "2"));
  std::locale::global(before);
  EXPECT_TRUE(less("1", "2"));
}

// The order of bytes, which is that of the map, is another one, and holds "k" and the Kelvin sign apart.
TEST(WideEnvironmentBlock, HoldsEveryEntryInTheOrderOfTheUpperCasedNames) {
  const environment_map environment = {{"\u00e4", "1"}, {"a_", "\U0001F600"}, {"AB", ""},
                                       {"", "C:=C:\\"}, {"k", "2"},           {"\u212a", "3"}};
  const std::vector<char16_t> block = wide_environment_block(
      environment, [](char16_t unit) { return unit == u'\u212a' ? u'K' : ascii_upper(unit); },
      fl::i18n::utf8_to_ustring);
  EXPECT_EQ(std::u16string(block.begin(), block.end()), u"=C:=C:\\\0AB=\0a_=\U0001F600\0\u212a=3\0k=2\0\u00e4=1\0\0"s);
}

TEST(MergedEnvironmentBlock, KeepsTheUsersVariablesAndAddsTheOthers) {
  const struct {
    const char* what;
    std::u16string user;
    environment_map environment;
    std::u16string expected;
  } cases[] = {
      {"nothing", u""s, {}, u"\0\0"s},
      {"the user's value wins, whatever the case", u"Path=user\0"s, {{"PATH", "x"}}, u"Path=user\0\0"s},
      {"order of the upper-cased names", u"b=1\0A=2\0"s, {{"a_", "3"}, {"AB", "4"}}, u"A=2\0AB=4\0a_=3\0b=1\0\0"s},
      {"entries without a name or sign", u"=C:=C:\\\0junk\0a=1\0"s, {}, u"a=1\0\0"s},
      {"the first of the user's", u"a=1\0A=2\0"s, {}, u"a=1\0\0"s},
      {"UTF-8", u""s, {{"\xc3\xa4", "\xf0\x9f\x98\x80"}}, u"\u00e4=\U0001F600\0\0"s},
      {"units in the order of unsigned numbers", u"\uffee=1\0"s, {{"a", "2"}}, u"a=2\0\uffee=1\0\0"s},
  };
  for (const auto& [what, user, environment, expected] : cases) {
    EXPECT_EQ(merged(user, environment), expected) << what;
  }
}

}  // namespace
