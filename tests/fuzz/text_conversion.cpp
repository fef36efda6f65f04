// Each encoding in both directions: whole texts against a slow reference, pieces of any size against the whole, and
// strict converters, which stop where the reference has the first ill-formed place.
#include <i18n/encoding.hpp>
#include <i18n/stream_converter.hpp>

#include "codec/code_page.hpp"
#include "codec/gb18030_codec.hpp"
#include "codec/kernel.hpp"
#include "fuzzing.hpp"
#include "in_pieces.hpp"
#include "reference_text.hpp"

#include <functional>

namespace {

using namespace fl::i18n;
using namespace test_support;
using detail::code_page_table;
using detail::gb18030_table;
using fl::ustring;

constexpr first_character ill_formed{1, std::nullopt};

unsigned char byte(std::string_view bytes, std::size_t index) {
  return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

first_character one(std::size_t used, char16_t unit) {
  return unit < code_page_table::lead_byte ? first_character{used, unit} : ill_formed;
}

template <std::size_t Size>
std::optional<char32_t> unit_at(std::string_view bytes, bool is_big) {
  char32_t unit = 0;
  for (std::size_t i = 0; i != Size; ++i) {
    unit |= static_cast<char32_t>(byte(bytes, i)) << 8 * (is_big ? Size - 1 - i : i);
  }
  return bytes.size() < Size ? std::nullopt : std::optional(unit);
}

first_character first_of_utf16(std::string_view bytes, bool is_big) {
  const auto unit = unit_at<2>(bytes, is_big),
             next = unit_at<2>(bytes.substr(std::min<std::size_t>(2, bytes.size())), is_big);
  const bool is_pair = unit && next && *unit >> 10 == 0x36 && *next >> 10 == 0x37;
  if (!unit || (!is_pair && *unit >> 11 == 0x1B)) {
    return {unit ? 2U : 1U, std::nullopt};
  }
  return is_pair ? first_character{4, 0x10000 + ((*unit & 0x3FF) << 10 | (*next & 0x3FF))} : first_character{2, unit};
}

first_character first_of_utf32(std::string_view bytes, bool is_big) {
  const auto point = unit_at<4>(bytes, is_big);
  const bool is_sound = point && *point < 0x110000 && *point >> 11 != 0x1B;
  return {std::min<std::size_t>(4, bytes.size()), is_sound ? point : std::nullopt};
}

const code_page_table& page(unsigned number) {
  static std::map<unsigned, code_page_table> pages;
  const auto found = pages.find(number);
  return found != pages.end() ? found->second : pages.emplace(number, detail::read_code_page(number)).first->second;
}

first_character first_of_page(std::string_view bytes, const code_page_table& table) {
  return one(1, table.unit(byte(bytes, 0))).point ? one(1, table.unit(byte(bytes, 0)))
         : bytes.size() > 1                       ? one(2, table.unit(byte(bytes, 0), byte(bytes, 1)))
                                                  : ill_formed;
}

first_character first_of_euc_jp(std::string_view bytes) {
  const bool is_three = byte(bytes, 0) == 0x8F;
  const bool has_two = byte(bytes, 1) >= 0xA1 && byte(bytes, 1) != 0xFF;
  if (is_three) {
    const bool has_three = has_two && byte(bytes, 2) >= 0xA1 && byte(bytes, 2) != 0xFF;
    return has_three ? one(3, page(20932).unit(byte(bytes, 1), byte(bytes, 2) & 0x7F)) : ill_formed;
  }
  const bool is_lead = byte(bytes, 0) == 0x8E || (byte(bytes, 0) >= 0xA1 && byte(bytes, 0) != 0xFF);
  return is_lead && !has_two ? ill_formed : first_of_page(bytes, page(20932));
}

const gb18030_table& gb18030() {
  static const gb18030_table table(page(936));
  return table;
}

constexpr std::size_t beyond_first_plane = 189'000;  // The number of the four bytes of U+10000.

first_character first_of_gb18030(std::string_view bytes) {
  const auto is_lead = [&](std::size_t i) { return byte(bytes, i) >= 0x81 && byte(bytes, i) != 0xFF; };
  const auto is_digit = [&](std::size_t i) { return byte(bytes, i) >= '0' && byte(bytes, i) <= '9'; };
  if (!is_lead(0) || !is_digit(1)) {
    return first_of_page(bytes, gb18030().pairs);
  }
  if (!is_lead(2) || !is_digit(3)) {
    return ill_formed;
  }
  const auto digit = [&](std::size_t i, unsigned first) { return static_cast<std::size_t>(byte(bytes, i) - first); };
  const std::size_t number = ((digit(0, 0x81) * 10 + digit(1, '0')) * 126 + digit(2, 0x81)) * 10 + digit(3, '0');
  if (number < gb18030().four_bytes.size()) {
    return {4, gb18030().four_bytes[number]};
  }
  const bool is_beyond = number >= beyond_first_plane && number < beyond_first_plane + 0x100000;
  return is_beyond ? first_character{4, static_cast<char32_t>(number - beyond_first_plane + 0x10000)} : ill_formed;
}

using writing = std::optional<std::string>;

writing written_in_page(char32_t unit, const code_page_table& table) {
  const std::uint16_t code = unit < 0x10000 ? table.codes[unit] : code_page_table::no_code;
  if (code > 0xFF) {
    return std::string{static_cast<char>(code >> 8), static_cast<char>(code)};
  }
  return code != code_page_table::no_code || unit == 0 ? writing(std::string(1, static_cast<char>(code)))
                                                       : std::nullopt;
}

writing written_in_euc_jp(char32_t unit) {
  writing bytes = written_in_page(unit, page(20932));
  if (bytes && bytes->size() == 2 && static_cast<unsigned char>(bytes->back()) < 0x80) {
    bytes = std::string{'\x8F', bytes->front(), static_cast<char>(bytes->back() | 0x80)};
  } else if (bytes == "\x8E" || bytes == "\x8F") {
    bytes.reset();
  }
  return bytes;
}

writing written_in_gb18030(char32_t point) {
  if (const writing bytes = written_in_page(point, gb18030().pairs)) {
    return bytes;
  }
  const std::size_t rank = point < 0x10000 ? gb18030().ranks[point] : point - 0x10000 + beyond_first_plane;
  if (point < 0x10000 && gb18030().four_bytes[rank] != point) {
    return std::nullopt;
  }
  return std::string{static_cast<char>(0x81 + rank / 12600), static_cast<char>('0' + rank / 1260 % 10),
                     static_cast<char>(0x81 + rank / 10 % 126), static_cast<char>('0' + rank % 10)};
}

template <class Text>
writing if_sound(char32_t point, const Text& text) {
  return point >> 11 == 0x1B ? std::nullopt : writing(text);
}

writing written_in_utf8(char32_t point) {
  const auto part = [&](int shift, unsigned lead) { return static_cast<char>(lead | (point >> shift & 0x3F)); };
  return if_sound(
      point, point < 0x80    ? std::string{static_cast<char>(point)}
             : point < 0x800 ? std::string{static_cast<char>(0xC0 | point >> 6), part(0, 0x80)}
             : point < 0x10000
                 ? std::string{static_cast<char>(0xE0 | point >> 12), part(6, 0x80), part(0, 0x80)}
                 : std::string{static_cast<char>(0xF0 | point >> 18), part(12, 0x80), part(6, 0x80), part(0, 0x80)});
}
writing written_in_utf16(char32_t point, bool is_big) {
  return if_sound(point, bytes_of(units_of(point), is_big));
}
writing written_in_utf32(char32_t point, bool is_big) {
  return if_sound(point, bytes_of(std::u32string{point}, is_big));
}

/// What the bytes stand for one by one: that no byte hangs on another is to be seen.
const ustring& single_bytes(const char* name) {
  static std::map<std::string, ustring> tables;
  ustring& table = tables[name];
  for (unsigned value = 0; table.size() != 256; ++value) {
    table += decode(std::string(1, static_cast<char>(value)), name).at(0);
  }
  return table;
}

struct encoding {
  const char* name;
  std::function<first_character(std::string_view)> read;
  std::function<writing(char32_t)> write;
  bool by_unit = false;   ///< one default character for each unit that is not there
  std::string mark = {};  ///< at the beginning of what is written, and taken away there
  std::string replacement = {};
};

encoding single(const char* name) {
  const auto read = [name](std::string_view bytes) {
    const char16_t unit = single_bytes(name)[byte(bytes, 0)];
    return unit == 0xFFFD ? ill_formed : first_character{1, unit};
  };
  const auto write = [name](char32_t point) {
    const std::size_t at = single_bytes(name).find(static_cast<char16_t>(point));
    return point >= 0xFFFD || at == ustring::npos ? std::nullopt : writing(std::string(1, static_cast<char>(at)));
  };
  return {name, read, write, true};
}

encoding of_page(const char* name, unsigned number) {
  return {name, [number](auto bytes) { return first_of_page(bytes, page(number)); },
          [number](auto point) { return written_in_page(point, page(number)); }, true};
}

template <class Read, class Write>
encoding unicode(const char* name, Read read, Write write, bool is_big, std::string mark = {}) {
  return {name, [=](auto bytes) { return read(bytes, is_big); }, [=](auto point) { return write(point, is_big); },
          false, std::move(mark)};
}

const std::vector<encoding>& encodings() {
  static const std::vector<encoding> all = {
      {"UTF-8", first_of_utf8, written_in_utf8},
      {"UTF-8-BOM", first_of_utf8, written_in_utf8, false, "\xEF\xBB\xBF"},
      unicode("UTF-16LE", first_of_utf16, written_in_utf16, false),
      unicode("UTF-16BE", first_of_utf16, written_in_utf16, true),
      unicode("UTF-16", first_of_utf16, written_in_utf16, false, "\xFF\xFE"),
      unicode("UTF-32LE", first_of_utf32, written_in_utf32, false),
      unicode("UTF-32BE", first_of_utf32, written_in_utf32, true),
      unicode("UTF-32", first_of_utf32, written_in_utf32, false, std::string("\xFF\xFE\0\0", 4)),
      {"GB18030", first_of_gb18030, written_in_gb18030},
      {"EUC-JP", first_of_euc_jp, written_in_euc_jp, true},
      of_page("Shift_JIS", 932),
      of_page("GBK", 936),
      of_page("windows-1252", 1252),
      single("US-ASCII"),
      single("ISO-8859-1"),
      single("ISO-8859-7"),
      single("ISO-8859-8"),
      single("ISO-8859-10"),
      single("ISO-8859-11"),
      single("ISO-8859-14"),
      single("ISO-8859-16")};
  return all;
}

template <class Out>
struct converted {
  std::basic_string<Out> text;
  std::size_t refused = std::string::npos;  ///< where the first ill-formed place is, in units of input
  std::size_t before = 0;                   ///< how much of `text` stands before it
};

/// Puts what is not to be converted down, too.
template <class Out>
void refuse(converted<Out>& result, std::size_t at, const std::basic_string<Out>& replacement) {
  if (result.refused == std::string::npos) {
    result.refused = at;
    result.before = result.text.size();
  }
  result.text += replacement;
}

converted<char16_t> slowly_decoded(std::string_view bytes, const encoding& as) {
  converted<char16_t> result;
  std::size_t at = bytes.starts_with(as.mark) ? as.mark.size() : 0;
  const std::string big_mark(as.mark.rbegin(), as.mark.rend());
  const bool is_utf8 = as.mark.size() == 3, is_big = !as.mark.empty() && !is_utf8 && at == 0;
  if (is_big && bytes.starts_with(big_mark)) {
    at = big_mark.size();
  }
  while (at != bytes.size()) {
    const std::string_view rest = bytes.substr(at);
    const first_character first = !is_big               ? as.read(rest)
                                  : as.mark.size() == 2 ? first_of_utf16(rest, true)
                                                        : first_of_utf32(rest, true);
    if (first.point) {
      result.text += units_of(*first.point);
    } else {
      refuse(result, at, ustring(u"\uFFFD"));
    }
    at += first.used;
  }
  return result;
}

converted<char> slowly_encoded(const ustring& text, const encoding& as) {
  converted<char> result{as.mark};
  const std::string replacement = as.by_unit ? "?" : as.write(0xFFFD).value_or("");
  std::size_t at = 0;
  for (const char32_t point : as.by_unit ? std::u32string(text.begin(), text.end()) : points_of(text)) {
    if (const writing bytes = as.write(point)) {
      result.text += *bytes;
    } else {
      refuse(result, at, replacement);
    }
    at += point < 0x10000 ? 1 : 2;
  }
  return result;
}

template <class Converter, class Out, class In>
void check_strict(const std::basic_string<In>& text, const converted<Out>& expected, const char* name,
                  seeded_random& random) {
  std::basic_string<Out> result;
  std::size_t refused = std::string::npos;
  try {
    convert_in_pieces(Converter(name, false), std::basic_string_view<In>(text), random, result);
  } catch (const conversion_error& error) {
    refused = error.position();
  }
  fuzzing::require(refused == expected.refused);
  fuzzing::require(result == expected.text.substr(0, refused == std::string::npos ? refused : expected.before));
}

void check_decoding(const std::string& bytes, const encoding& as, seeded_random& random) {
  const converted<char16_t> expected = slowly_decoded(bytes, as);
  const std::vector<char> exact(bytes.begin(), bytes.end());
  fuzzing::require(decode({exact.data(), exact.size()}, as.name) == expected.text);
  expect_pieces_give<stream_codecvt_string_to_ustring>(expected.text, bytes, as.name, random);
  std::string utf8;
  for (const char32_t point : points_of(expected.text)) {
    utf8 += written_in_utf8(point).value();
  }
  expect_pieces_give<stream_codecvt_string_to_utf8string>(utf8, bytes, as.name, random);
  check_strict<stream_codecvt_string_to_ustring>(bytes, expected, as.name, random);
}

void check_encoding(const std::string& bytes, const encoding& as, seeded_random& random) {
  ustring text(bytes.size() / 2, u'\0');
  std::memcpy(text.data(), bytes.data(), bytes.size() / 2 * 2);
  const converted<char> expected = slowly_encoded(text, as);
  fuzzing::require(encode(text, as.name) == expected.text);
  expect_pieces_give<stream_codecvt_ustring_to_string>(expected.text, text, as.name, random);
  check_strict<stream_codecvt_ustring_to_string>(text, expected, as.name, random);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  testing::GTEST_FLAG(throw_on_failure) = true;  // What is shared with tests fails in their way.
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::input in(data, size);
  const encoding& as = encodings()[in.ConsumeIntegralInRange<std::size_t>(0, encodings().size() - 1)];
  const int what = in.ConsumeIntegralInRange(0, 2);
  seeded_random random(in.ConsumeIntegral<std::uint16_t>());
  detail::kernel::use(random.below(8));
  const std::string bytes = in.ConsumeRemainingBytesAsString();
  if (what == 0) {
    check_decoding(bytes, as, random);
  } else if (what == 1) {
    check_encoding(bytes, as, random);
  } else {
    const std::string expected = slowly_encoded(reference_decode(bytes), as).text;
    expect_pieces_give<stream_codecvt_utf8string_to_string>(expected, bytes, as.name, random);
  }
  return 0;
}
