// Catalogs: any bytes give the texts that another JSON parser finds, or the exception that says file, line and column.
// Arguments in the texts go to the places of their marks; tags of languages are settled at once.
#include <i18n/convert.hpp>
#include <i18n/errors.hpp>

#include "catalog/catalog_file.hpp"
#include "catalog/language_tag.hpp"
#include "catalog/message_text.hpp"
#include "fuzzing.hpp"

#include <boost/json/parse.hpp>

#include <algorithm>
#include <optional>
#include <utility>

namespace {

using namespace fl::i18n::detail;
using fl::ustring;

/// What a tree of the same bytes says; nothing if they are no object of texts. Of two equal names it knows one.
std::optional<catalog_texts> texts_of_tree(std::string_view json) {
  boost::system::error_code error;
  const boost::json::value tree = boost::json::parse(json.substr(json.starts_with("\xEF\xBB\xBF") ? 3 : 0), error);
  if (error || !tree.is_object()) {
    return std::nullopt;
  }
  catalog_texts texts;
  for (const auto& [name, value] : tree.get_object()) {
    if (!value.is_string()) {
      return std::nullopt;
    }
    texts.emplace(std::string_view(name), fl::i18n::utf8_to_ustring(std::string_view(value.get_string())));
  }
  return texts;
}

void check_file(std::string_view json) {
  const std::optional<catalog_texts> expected = texts_of_tree(json);
  try {
    fuzzing::require(parse_catalog(json, u"x.json") == expected);
  } catch (const fl::i18n::bad_catalog& error) {
    const std::string_view text = error.what();
    fuzzing::require(text.starts_with("the message catalog x.json cannot be used: line "));
    // Of two equal names the tree has forgotten the first, which may have had no text.
    const bool forgets = std::cmp_greater(std::count(json.begin(), json.end(), ':'), expected ? expected->size() : 0);
    fuzzing::require(!expected || text.ends_with("\" stands here again") ||
                     (forgets && text.ends_with(" is not a text")));
  }
}

/// How a mark at the front of the text is written, whether or not there is such an argument; empty if there is none.
ustring mark_of(const ustring& text) {
  const std::size_t end = std::min(text.find_first_not_of(u"0123456789", 1), text.size());
  const bool is_plain = end == 2 || (end > 2 && text[1] != u'0');
  return text[0] == u'{' && is_plain && text.substr(end, 1) == u"}" ? text.substr(0, end + 1) : u"";
}

void check_arguments(ustring text) {
  using namespace std::string_literals;
  const ustring whole = text, inserted[] = {u"{1}", u"\u00E9}", u"-7", u"0.5"};
  ustring expected;
  while (!text.empty()) {
    const ustring mark = mark_of(text);
    const bool is_brace = text.starts_with(u"{{") || text.starts_with(u"}}");
    const std::size_t used = is_brace ? 2 : std::max<std::size_t>(mark.size(), 1);
    const bool is_known = mark.size() == 3 && mark[1] < u'4';
    expected += is_brace ? text.substr(0, 1) : is_known ? inserted[mark[1] - u'0'] : text.substr(0, used);
    text.erase(0, used);
  }
  fuzzing::require(insert_arguments(whole, {"{1}"s, u"\u00E9}"s, std::int64_t{-7}, 0.5}) == expected);
}

void check_tag(const std::string& text) {
  const auto small = [](std::string tag) {
    std::transform(tag.begin(), tag.end(), tag.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
    return tag;
  };
  try {
    const std::string tag = canonical_tag(text);
    fuzzing::require(small(tag) == small(text) && canonical_tag(tag) == tag);
    const auto chain = fallback_chain(tag);
    fuzzing::require(chain.front() == tag && chain.back() == "en");
    for (std::size_t i = 1; i < chain.size() - 1; ++i) {
      fuzzing::require(chain[i - 1].starts_with(chain[i] + '-') && canonical_tag(chain[i]) == chain[i]);
    }
  } catch (const std::invalid_argument& error) {
    const bool is_plain = !text.empty() && text.front() != '-' && text.back() != '-' &&
                          text.find("--") == std::string::npos &&
                          small(text).find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string::npos;
    fuzzing::require(!is_plain && std::string(error.what()).starts_with('"' + std::string(text.c_str())));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::input in(data, size);
  const int what = in.ConsumeIntegralInRange(0, 3);
  const std::string text = in.ConsumeRemainingBytesAsString();
  if (what == 0) {
    check_tag(text);
  } else if (what == 1) {
    check_arguments(fl::i18n::utf8_to_ustring(text));
  } else {
    check_file(text);
  }
  return 0;
}
