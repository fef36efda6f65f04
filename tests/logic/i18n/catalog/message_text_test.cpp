// What message catalogs do without the system: arguments in texts, languages, names and contents of files.
#include "catalog/message_text.hpp"

#include <i18n/message_argument.hpp>
#include <i18n/message_catalog.hpp>

#include "catalog/catalog_file.hpp"
#include "catalog/language_tag.hpp"
#include "every_test.hpp"

#include <cfloat>
#include <locale>

namespace {

using namespace fl::i18n::detail;
using namespace std::string_literals;
using resource_core::MsgArgument;
using testing::HasSubstr;
using testing::ThrowsMessage;

struct grouping : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(MessageText, ArgumentsTakeThePlaceOfTheirMarksOnceWhateverTheLocaleAndNothingElseChanges) {
  const std::locale former = std::locale::global(std::locale(std::locale(), new grouping));
  const std::vector<MsgArgument> arguments{"\xC3\xA9{1}\x80"s, u"{{0}}"s, INT64_MIN, 0.1, 1234.5, 5e-324, -DBL_MAX};
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"{3}, {0} and {1}; {3}", u"0.1, \u00E9{1}\uFFFD and {{0}}; 0.1"},
      {u"{2} {4} {5} {6}", u"-9223372036854775808 1234.5 5e-324 -1.7976931348623157e+308"},
      {u"{{0}} {{{3}}} }}{{ {3}}} {3}}", u"{0} {0.1} }{ 0.1} 0.1}"},
      {u"{7}}{7}}}{7}", u"{7}}{7}}{7}"},
      {u"{7} {} {-1} {02} { 2} {2 {x} {99999999999999999999999} }", nullptr},
      {u"\u6570{2", nullptr},
      {u"", u""}};
  for (const auto& [text, result] : cases) {
    EXPECT_EQ(insert_arguments(text, arguments), result != nullptr ? result : text);
  }
  EXPECT_EQ(insert_arguments(u"{10}", std::vector<MsgArgument>(11, 1.5)), u"1.5");
  std::locale::global(former);
}

TEST(MessageArgument, IsAnyNumberOrTextButNoCharacterOrTruthValue) {
  using fl::i18n::message_argument;
  const std::u16string text = u"\u00E9";
  const std::pair<message_argument, MsgArgument> cases[] = {{7, std::int64_t{7}},
                                                            {UINT64_MAX, "18446744073709551615"},
                                                            {std::size_t{INT64_MAX}, INT64_MAX},
                                                            {0.5f, 0.5},
                                                            {"literal", "literal"},
                                                            {"x"s, "x"},
                                                            {std::string_view(), ""},
                                                            {u"literal", u"literal"},
                                                            {text, text},
                                                            {std::u16string_view(text), text},
                                                            {MsgArgument(text), text}};
  for (const auto& [argument, value] : cases) {
    EXPECT_EQ(argument.value(), value);
  }
  const auto takes = [](auto... refused) {
    return (std::is_convertible_v<decltype(refused), message_argument> || ...);
  };
  EXPECT_FALSE(takes(true, 'c', L'c', u'c', U'c', u8'c', nullptr));
}

TEST(LanguageTag, IsPutInItsUsualCaseOrQuotedAndFallsBackPartByPartToEnglish) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"DE-at", {"de-AT", "de", "en"}},
      {"EN-gb", {"en-GB", "en"}},
      {"en", {"en"}},
      {"ES-419", {"es-419", "es", "en"}},
      {"zh-hANT-tw-X-ab-CD", {"zh-Hant-TW-x-ab-cd", "zh-Hant-TW-x-ab", "zh-Hant-TW", "zh-Hant", "zh", "en"}},
      {"X-AB", {"x-ab", "en"}}};
  for (const auto& [tag, chain] : cases) {
    EXPECT_EQ(fallback_chain(canonical_tag(tag)), chain);
  }
  for (const std::string bad : {"", "de_AT", "de-", "-de", "a--b", "..", "d\xC3\xA9"}) {
    EXPECT_THAT([&] { canonical_tag(bad); }, ThrowsMessage<std::invalid_argument>(HasSubstr('"' + bad + '"')));
  }
  EXPECT_EQ(tag_of_locale("de-DE_phoneb") + tag_of_locale(""), "de-DEen");
}

TEST(CatalogFile, OnlyPlainNamesHaveAFile) {
  EXPECT_EQ(catalog_file_name("PLANNER:b_c:D9"), u"PLANNER.b_c.D9.json");
  for (const std::string& bad : {""s, "a.b"s, "a/b"s, "a\\b"s, "\xC3\xA9"s, "a\0b"s}) {
    EXPECT_EQ(catalog_file_name(bad), std::nullopt) << bad;
  }
}

TEST(CatalogFile, TextsAreReadOrTheFaultIsNamed) {
  const std::string json =
      "\xEF\xBB\xBF{ \"a\\u00e9\": \"\xE2\x82\xAC\\n\\ud83d\\ude00\", \"\": \"" + std::string(99999, 'x') + "\" }\n";
  const catalog_texts texts{{"a\xC3\xA9", u"\u20AC\n\U0001F600"}, {"", fl::ustring(99999, u'x')}};
  EXPECT_EQ(parse_catalog(json, u""), texts);
  const auto refuses = [](const std::string& bad, const std::string& reason) {
    EXPECT_THAT([&] { parse_catalog(bad, u"d\u00E9\\x.json"); },
                ThrowsMessage<fl::i18n::bad_catalog>(HasSubstr("d\xC3\xA9\\x.json cannot be used: " + reason)));
  };
  refuses("", "line 1, column 1: incomplete JSON");
  refuses("{\"a\": \"1\",\n \"\xC3\xA9\": \"2\" x}", "line 2, column 11: syntax error");
  refuses("{} {}", "line 1, column 4: extra data");
  refuses("{\"a\": \"\xFF\"}", "line 1, column 8: ");
  refuses("{\"a\": \"1\",\n\"\\u0061\": \"2\"}", "line 2, column 8: the mnemonic \"a\" stands here again");
  refuses("{\"\\u0000\\na\": 1}", "line 1, column 16: the value of \"\\u0000\\na\" is not a text");
  for (const std::string value : {"22", "-2e1", "true", "null", "{}", "[\"\"]"}) {
    refuses("{\n\"b\": " + value + "}", "line 2, column ");
    refuses(value == "{}" ? "\"b\"" : value, "line 1, column ");
  }
  std::string objects;
  for (int depth = 0; depth != 100'000; ++depth) {
    objects += "{\"a\":";
  }
  refuses(objects, "line 1, column 6: the value of \"a\" is not a text");
  refuses(std::string(100'000, '['), "line 1, column 1: one object from mnemonics to texts is expected");
}

}  // namespace
