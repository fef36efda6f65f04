// UTF-8 to UTF-16 and back, a whole string at a time, against the system's conversion, Boost.Locale's and simdutf
// itself, and short strings and other encodings against the last. The texts are words in random order, so that no
// processor can learn where the runs of ASCII end.

#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>

#include "row.hpp"

#include <boost/locale/encoding_utf.hpp>

#include <windows.h>
#include <simdutf.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
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

const kind_of_text cyrillic = {
    "cyrillic", u" ", {"каждый", "день",  "мы",     "пишем",  "новый", "текст,", "и",     "никто",
                       "не",     "видит", "где",    "строка", "его",   "теряет", "свой",  "порядок.",
                       "Потом",  "все",   "читают", "старый", "файл,", "а",      "номер", "остаётся"}};

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

// As its users call it: the length first, then into a string of that length.
std::u16string to_utf16_by_simdutf(const std::string& text) {
  std::u16string result(simdutf::utf16_length_from_utf8(text.data(), text.size()), u'\0');
  result.resize(simdutf::convert_utf8_to_utf16le(text.data(), text.size(), result.data()));
  return result;
}

std::string to_utf8_by_simdutf(const std::u16string& text) {
  std::string result(simdutf::utf8_length_from_utf16le(text.data(), text.size()), '\0');
  result.resize(simdutf::convert_utf16le_to_utf8(text.data(), text.size(), result.data()));
  return result;
}

template <auto Convert, class Text>
bench::contender converter(const std::shared_ptr<Text>& text) {
  return {[text](bench::product& result) { take(Convert(*text), result); }};
}

template <auto Ours, auto System, auto Boost, auto Simdutf, class Text>
void add_direction(const std::string& name, const Text& text) {
  const auto shared = std::make_shared<Text>(text);
  bench::add_row(name + "_vs_system", converter<Ours>(shared), converter<System>(shared));
  bench::add_row(name + "_vs_boost", converter<Ours>(shared), converter<Boost>(shared));
  bench::add_row(name + "_vs_simdutf", converter<Ours>(shared), converter<Simdutf>(shared));
}

void add_rows(const kind_of_text& kind) {
  const std::u16string text = make_text(kind);
  add_direction<to_utf16_ours, to_utf16_by_system, to_utf16_by_boost, to_utf16_by_simdutf>(
      std::string("utf8_to_utf16_") + kind.name, to_utf8_by_boost(text));
  add_direction<to_utf8_ours, to_utf8_by_system, to_utf8_by_boost, to_utf8_by_simdutf>(
      std::string("utf16_to_utf8_") + kind.name, text);
}

// ---- short strings: pieces of all kinds of text, so that neither side learns one ----

bool is_first_half(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

std::vector<std::u16string> make_pieces(std::size_t length) {
  constexpr std::size_t pieces_of_each_kind = 200;
  std::vector<std::u16string> pieces;
  for (const kind_of_text* kind : {&ascii, &european, &cyrillic, &cjk, &beyond_first_plane}) {
    const std::u16string text = make_text(*kind);
    for (std::size_t i = 0, at = 0; i != pieces_of_each_kind; ++i) {
      const std::size_t size = length + (is_first_half(text[at + length - 1]) ? 1 : 0);
      pieces.push_back(text.substr(at, size));
      at += size;
    }
  }
  std::shuffle(pieces.begin(), pieces.end(), std::mt19937(1));
  return pieces;
}

template <auto Convert, class Text>
bench::contender converter_of_all(const std::shared_ptr<std::vector<Text>>& pieces) {
  return {[pieces](bench::product& result) {
    for (const Text& piece : *pieces) {
      take(Convert(piece), result);
    }
  }};
}

template <auto Ours, auto Peer, class Text>
void add_short(const std::string& name, const std::vector<Text>& pieces) {
  const auto shared = std::make_shared<std::vector<Text>>(pieces);
  bench::add_row(name, converter_of_all<Ours>(shared), converter_of_all<Peer>(shared));
}

void add_short_rows(std::size_t length) {
  const std::vector<std::u16string> units = make_pieces(length);
  std::vector<std::string> bytes;
  for (const std::u16string& piece : units) {
    bytes.push_back(to_utf8_by_boost(piece));
  }
  const std::string suffix = std::to_string(length) + "_vs_simdutf";
  add_short<to_utf16_ours, to_utf16_by_simdutf>("utf8_to_utf16_short_" + suffix, bytes);
  add_short<to_utf8_ours, to_utf8_by_simdutf>("utf16_to_utf8_short_" + suffix, units);
}

// ---- other encodings, by their names ----

void add_encoding(const char* name, const std::u16string& units, std::function<std::string(std::u16string_view)> encode,
                  std::function<std::u16string(std::string_view)> decode) {
  const std::string row = name;
  const std::string bytes = encode(units);
  bench::add_row("encode_" + row + "_vs_simdutf",
                 {[=](bench::product& result) { take(fl::i18n::encode(units, row), result); }},
                 {[=](bench::product& result) { take(encode(units), result); }});
  bench::add_row("decode_" + row + "_vs_simdutf",
                 {[=](bench::product& result) { take(fl::i18n::decode(bytes, row), result); }},
                 {[=](bench::product& result) { take(decode(bytes), result); }});
}

void add_encodings() {
  std::u16string western = make_text(european);
  for (char16_t& unit : western) {
    unit &= 0xFF;
  }
  const auto check = [](const simdutf::result& done) {
    if (done.error != simdutf::SUCCESS) {
      throw std::runtime_error("simdutf refuses the text");
    }
    return done.count;
  };
  add_encoding(
      "ISO-8859-1", western,
      [check](std::u16string_view units) {
        std::string bytes(units.size(), '\0');
        check(simdutf::convert_utf16le_to_latin1_with_errors(units.data(), units.size(), bytes.data()));
        return bytes;
      },
      [](std::string_view bytes) {
        std::u16string units(bytes.size(), u'\0');
        units.resize(simdutf::convert_latin1_to_utf16le(bytes.data(), bytes.size(), units.data()));
        return units;
      });
  add_encoding(
      "UTF-16BE", make_text(cjk),
      [check](std::u16string_view units) {
        std::string bytes(units.size() * 2, '\0');
        check(simdutf::validate_utf16le_with_errors(units.data(), units.size()));
        simdutf::change_endianness_utf16(units.data(), units.size(), reinterpret_cast<char16_t*>(bytes.data()));
        return bytes;
      },
      [check](std::string_view bytes) {
        std::u16string units(bytes.size() / 2, u'\0');
        const auto* const from = reinterpret_cast<const char16_t*>(bytes.data());
        check(simdutf::validate_utf16be_with_errors(from, units.size()));
        simdutf::change_endianness_utf16(from, units.size(), units.data());
        return units;
      });
  add_encoding(
      "UTF-32LE", make_text(beyond_first_plane),
      [check](std::u16string_view units) {
        std::string bytes(4 * simdutf::utf32_length_from_utf16le(units.data(), units.size()), '\0');
        check(simdutf::convert_utf16le_to_utf32_with_errors(units.data(), units.size(),
                                                            reinterpret_cast<char32_t*>(bytes.data())));
        return bytes;
      },
      [check](std::string_view bytes) {
        const auto* const from = reinterpret_cast<const char32_t*>(bytes.data());
        std::u16string units(simdutf::utf16_length_from_utf32(from, bytes.size() / 4), u'\0');
        check(simdutf::convert_utf32_to_utf16le_with_errors(from, bytes.size() / 4, units.data()));
        return units;
      });
}

}  // namespace

int main(int argc, char** argv) {
  for (const kind_of_text* kind : {&ascii, &european, &cyrillic, &cjk, &beyond_first_plane}) {
    add_rows(*kind);
  }
  for (const std::size_t length : {8u, 16u, 32u, 64u}) {
    add_short_rows(length);
  }
  add_encodings();
  return bench::run(argc, argv);
}
