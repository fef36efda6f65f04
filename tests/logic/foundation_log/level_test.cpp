// Reading of level words and of the value of QX_LOG, matching of channel names, and the line of a record.

#include <foundation_log/level.hpp>

#include "environment_rules.hpp"
#include "every_test.hpp"
#include "pattern.hpp"
#include "record_format.hpp"

namespace {

using namespace foundation::log;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(LogLevel, ReadsNamesAndNumbersInEveryPermittedForm) {
  const struct {
    const char* text;
    unsigned word;
  } cases[] = {
      {"516", severity::error | severity::note},
      {"0X2aC", 0x2AC},
      {"arguments|note|summary|complaint|scope_entry|scope_exit|result|error|fatal", 0xAFE},
      {" \tError + NOTE | 0x20", 512 | 4 | 32},
      {"all:fatal", 0x4000000 | 0x7FFF},
      {"note : 512", 4 | 512u << 15},
      {"all:none", 0x7FFF},
  };
  for (const auto& [text, word] : cases) {
    EXPECT_EQ(parse_level(text), word) << text;
  }
}

TEST(LogLevel, SaysWhatIsWrongWithTheText) {
  const struct {
    const char* text;
    const char* told;  // Must be in the message.
  } cases[] = {
      {"   ", "empty"},
      {"bogus", "\"bogus\" is no severity"},
      {"note+", "missing"},
      {"note note", "\"note note\""},
      {"-4", "\"-4\""},
      {"0x", "\"0x\" is not a number"},
      {"0x40000000", "\"0x40000000\" is too large"},
      {"0x3fffffff", "more than one severity"},
      {"note:fatal:error", "\"fatal:error\""},
      {"note:all", "more than one severity"},
      {"note:0x8000", "is not a severity"},
      {"0x4000004:error", "twice"},
  };
  for (const auto& [text, told] : cases) {
    EXPECT_THAT([&] { parse_level(text); }, ThrowsMessage<std::invalid_argument>(HasSubstr(told))) << text;
  }
}

TEST(LogEnvironment, TakesTheGoodPairsComplainsOfEachBadOneAndLetsTheLastMatchCount) {
  const auto parsed = parse_environment_rules(" *= error ;;nonsense; =note;fl::*=note;fl::which=0;x=bogus;");
  EXPECT_EQ(parsed.rules.level_of("other"), 512u);
  EXPECT_EQ(parsed.rules.level_of("fl::process"), 4u);
  EXPECT_EQ(parsed.rules.level_of("fl::which"), 0u);
  EXPECT_EQ(level_rules().level_of("other"), default_level);

  EXPECT_THAT(parsed.complaints,
              ElementsAre(HasSubstr("\"nonsense\" is left out: \"=\" is missing (expected channel-pattern=level"),
                          HasSubstr("\"=note\""), HasSubstr("\"x=bogus\"")));
}

TEST(LogPattern, AStarTakesAnyRunAndManyOfThemDoNotExplode) {
  for (const char* const pattern : {"abAbab", "*", "a*b", "*ab", "ab*", "a*A*b", "**ab**", "abA*bab*"}) {
    EXPECT_TRUE(matches(pattern, "abAbab")) << pattern;
  }
  for (const char* const pattern : {"", "abAba", "ababab", "b*", "*a", "a*a*b*ab", "*B*", "abAbab*b", "?bAbab"}) {
    EXPECT_FALSE(matches(pattern, "abAbab")) << pattern;
  }
  EXPECT_TRUE(matches("", "") && matches("*", "") && !matches("*a", ""));
  const std::vector<char> exact{'a'};  // The sanitizer sees what is read behind it.
  EXPECT_FALSE(matches({exact.data(), exact.size()}, "ab"));
  std::string stars;
  for (int i = 0; i < 200; ++i) {
    stars += "a*";
  }
  EXPECT_FALSE(matches(stars + "b", std::string(5000, 'a')));
}

TEST(LogRecord, IsOneLineWhateverIsInIt) {
  EXPECT_EQ(
      format_record({{2031, 5, 7, 9, 3, 1, 4211}, 5120, 4784, "fl::process::which", 4, 1, "Searching for cl ..."}),
      "2031-05-07 09:03:01.004211 5120:4784 [fl::process::which] note:   Searching for cl ...\n");
  using namespace std::string_view_literals;
  const struct {
    std::string_view text, shown;
  } cases[] = {
      {"\r\n\t \xC3\xA9\0\x7F"sv, "\\r\\n\t \xC3\xA9\\x00\\x7f"},
      {"\xC2\x80\xC2\x85\xC2\x9F\xC2\xA0|\xE2\x80\xA8\xE2\x80\xA9", "\\u0080\\u0085\\u009f\xC2\xA0|\\u2028\\u2029"},
      {"J\xFCrgen\xE2\x82\xAC\xF0\x9F\x98\x80\xE2\x82", "J\\xfcrgen\xE2\x82\xAC\xF0\x9F\x98\x80\\xe2\\x82"},
      {"\xC0\x8A\xED\xA0\x80\xE2\n", "\\xc0\\x8a\\xed\\xa0\\x80\\xe2\\n"},
  };
  for (const auto& [text, shown] : cases) {
    EXPECT_EQ(format_record({{2031, 12, 31, 23, 59, 59, 999999}, 1, 2, text, 1024, 0, text}),
              "2031-12-31 23:59:59.999999 1:2 [" + std::string(shown) + "] 1024: " + std::string(shown) + "\n");
  }
}

}  // namespace
