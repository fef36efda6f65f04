// UTF-8 to UTF-16 and back, a whole string at a time, against the system's conversion and Boost.Locale's. The texts are
// words in random order, so that no processor can learn where the runs of ASCII end.

#include <i18n/convert.hpp>

#include "row.hpp"

#include <boost/locale/encoding_utf.hpp>

#include <windows.h>

#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

// 64 KiB of UTF-16. From somewhere above that on, the emulated system's heap takes longer for the memory of a result
// than the conversion takes.
constexpr std::size_t text_units = 32 * 1024;

struct kind_of_text {
  const char* name;
  const char16_t* gap;  // Between words.
  std::vector<const char*> words;
};

const kind_of_text ascii = {
    "ascii", u" ", {"the",     "index",     "of",     "a",     "table", "is",    "read",    "while",
                    "another", "session",   "writes", "to",    "it,",   "and",   "nothing", "that",
                    "was",     "committed", "before", "can",   "be",    "lost.", "If",      "memory",
                    "runs",    "out,",      "rows",   "move",  "from",  "one",   "column",  "store",
                    "into",    "the",       "next;",  "their", "order", "stays", "(see",    "below)."}};

const kind_of_text european = {
    "european",
    u" ",
    {"die",    "Größe", "des",      "Wörterbuchs", "wächst",   "über",   "Nacht,",  "während",  "mit",    "jeder",
     "neuen",  "Zeile", "ein",      "Schlüssel",   "kommt.",   "Darum",  "wird",    "der",      "Rest",   "erst",
     "danach", "und",   "nur",      "selten",      "geprüft;", "le",     "modèle",  "a",        "deux",   "parties",
     "dont",   "la",    "première", "reste",       "dans",     "un",     "fichier", "où",       "chaque", "ligne",
     "garde",  "sa",    "place",    "jusqu'à",     "ce",       "que",    "tout",    "soit",     "copié,", "puis",
     "żaden",  "błąd",  "nie",      "zostaje",     "bez",      "śladu,", "bo",      "dziennik", "ma",     "własny",
     "numer",  "dla",   "każdej",   "zmiany",      "i",        "czasem", "wraca",   "do",       "starej", "treści."}};

const kind_of_text cjk = {
    "cjk", u"", {"数据", "库的", "索引", "在内存", "中",     "保存,",  "查询",   "很",     "快。", "每个",
                 "表",   "都有", "一个", "名字",   "和",     "许多",   "列",     "、",     "行",   "被",
                 "写入", "以后", "不会", "丢失。", "これは", "新しい", "文章",   "です",   "。",   "データ",
                 "を",   "読み", "込む", "とき、", "使う",   "2026",   "한국어", "문장도", "여기", "있다"}};

const kind_of_text beyond_first_plane = {
    "emoji", u" ", {"The",   "meeting", "moved", "to",           "noon;",          "everybody",    "who",       "wants",
                    "lunch", "should",  "tell",  "Yuki",         "before",         "eleven",       "please.",   "😀",
                    "👍",    "🎉🎉",    "🚀",    "新しい予定を", "見てください。", "ありがとう、", "𠮷野さん。"}};

std::u16string make_text(const kind_of_text& kind) {
  std::u16string text;
  std::mt19937 random(1);
  while (text.size() < text_units) {
    text += boost::locale::conv::utf_to_utf<char16_t>(kind.words[random() % kind.words.size()]);
    text += kind.gap;
  }
  return text;
}

void take(std::string_view text, bench::product& result) {
  result.add(text);
}

void take(std::u16string_view text, bench::product& result) {
  result.add({reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)});
}

// Asking for the size first would be the other way to call the system; it took longer, in both directions.
std::u16string to_utf16_by_system(const std::string& text) {
  const int size = static_cast<int>(text.size());
  std::u16string result(text.size(), u'\0');  // No text has more units than bytes.
  const int count = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, reinterpret_cast<wchar_t*>(result.data()), size);
  result.resize(static_cast<std::size_t>(count));
  return result;
}

std::string to_utf8_by_system(const std::u16string& text) {
  const auto* const units = reinterpret_cast<const wchar_t*>(text.data());
  const int size = static_cast<int>(text.size());
  std::string result(3 * text.size(), '\0');  // The most that a unit gives.
  const int count =
      WideCharToMultiByte(CP_UTF8, 0, units, size, result.data(), static_cast<int>(result.size()), nullptr, nullptr);
  result.resize(static_cast<std::size_t>(count));
  return result;
}

std::u16string to_utf16_by_boost(const std::string& text) {
  return boost::locale::conv::utf_to_utf<char16_t>(text);
}

std::string to_utf8_by_boost(const std::u16string& text) {
  return boost::locale::conv::utf_to_utf<char>(text);
}

std::u16string to_utf16_ours(const std::string& text) {
  return fl::i18n::utf8_to_ustring(text);
}

std::string to_utf8_ours(const std::u16string& text) {
  return fl::i18n::ustring_to_utf8(text);
}

template <auto Convert, class Text>
bench::contender converter(const std::shared_ptr<Text>& text) {
  return {[text](bench::product& result) { take(Convert(*text), result); }};
}

template <auto Ours, auto System, auto Boost, class Text>
void add_direction(const std::string& name, const Text& text) {
  const auto shared = std::make_shared<Text>(text);
  bench::add_row(name + "_vs_system", converter<Ours>(shared), converter<System>(shared));
  bench::add_row(name + "_vs_boost", converter<Ours>(shared), converter<Boost>(shared));
}

void add_rows(const kind_of_text& kind) {
  const std::u16string text = make_text(kind);
  add_direction<to_utf16_ours, to_utf16_by_system, to_utf16_by_boost>(std::string("utf8_to_utf16_") + kind.name,
                                                                      to_utf8_by_boost(text));
  add_direction<to_utf8_ours, to_utf8_by_system, to_utf8_by_boost>(std::string("utf16_to_utf8_") + kind.name, text);
}

}  // namespace

int main(int argc, char** argv) {
  for (const kind_of_text* kind : {&ascii, &european, &cjk, &beyond_first_plane}) {
    add_rows(*kind);
  }
  return bench::run(argc, argv);
}
