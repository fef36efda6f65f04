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

#include <boost/locale/utf.hpp>

#include <cstring>
#include <functional>

namespace {

using namespace fl::i18n;
using namespace test_support;
using detail::code_page_table;
using detail::gb18030_table;
using fl::ustring;

// ---- what a text begins with ----

constexpr first_character ill_formed{1, std::nullopt};

/// 0 behind the end.
unsigned byte(std::string_view bytes, std::size_t index) {
  return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

bool is_between(unsigned byte, unsigned first, unsigned last) {
  return byte >= first && byte <= last;
}

template <std::size_t Size, bool IsBig>
char32_t unit_at(std::string_view bytes, std::size_t at) {
  char32_t unit = 0;
  for (std::size_t i = 0; i != Size; ++i) {
    unit |= static_cast<char32_t>(byte(bytes, at + i)) << 8 * (IsBig ? Size - 1 - i : i);
  }
  return unit;
}

template <bool IsBig>
first_character first_of_utf16(std::string_view bytes) {
  const char32_t unit = unit_at<2, IsBig>(bytes, 0), next = unit_at<2, IsBig>(bytes, 2);
  if (bytes.size() < 2 || unit >> 11 != 0x1B) {
    return bytes.size() < 2 ? ill_formed : first_character{2, unit};
  }
  const bool is_pair = bytes.size() > 3 && unit >> 10 == 0x36 && next >> 10 == 0x37;
  return is_pair ? first_character{4, 0x10000 + ((unit & 0x3FF) << 10 | (next & 0x3FF))}
                 : first_character{2, std::nullopt};
}

template <bool IsBig>
first_character first_of_utf32(std::string_view bytes) {
  const char32_t point = unit_at<4, IsBig>(bytes, 0);
  const bool is_sound = bytes.size() > 3 && point < 0x110000 && point >> 11 != 0x1B;
  return {std::min<std::size_t>(4, bytes.size()), is_sound ? std::optional(point) : std::nullopt};
}

template <unsigned Number>
const code_page_table& page() {
  static const code_page_table table = detail::read_code_page(Number);
  return table;
}

first_character one(std::size_t used, char16_t unit) {
  return unit < code_page_table::lead_byte ? first_character{used, unit} : ill_formed;
}

first_character first_of_page(std::string_view bytes, const code_page_table& table) {
  const auto lead = static_cast<unsigned char>(bytes[0]);
  return table.rows[lead] == 0 ? one(1, table.unit(lead))
         : bytes.size() > 1    ? one(2, table.unit(lead, static_cast<unsigned char>(bytes[1])))
                               : ill_formed;
}

first_character first_of_euc_jp(std::string_view bytes) {
  const auto is_trail = [&](std::size_t index) { return is_between(byte(bytes, index), 0xA1, 0xFE); };
  if (byte(bytes, 0) == 0x8F) {
    const char three[] = {static_cast<char>(byte(bytes, 1)), static_cast<char>(byte(bytes, 2) & 0x7F)};
    const first_character found = first_of_page({three, 2}, page<20932>());
    return is_trail(1) && is_trail(2) && found.used == 2 ? first_character{3, found.point} : ill_formed;
  }
  const bool is_lead = byte(bytes, 0) == 0x8E || is_trail(0);
  return is_lead && !is_trail(1) ? ill_formed : first_of_page(bytes, page<20932>());
}

const gb18030_table& gb18030() {
  static const gb18030_table table(page<936>());
  return table;
}

constexpr std::size_t beyond_first_plane = 189'000;  // The number of the four bytes of U+10000.

first_character first_of_gb18030(std::string_view bytes) {
  const auto is_lead = [&](std::size_t index) { return is_between(byte(bytes, index), 0x81, 0xFE); };
  const auto is_digit = [&](std::size_t index) { return is_between(byte(bytes, index), '0', '9'); };
  if (!is_lead(0) || !is_digit(1)) {
    return first_of_page(bytes, gb18030().pairs);
  }
  if (!is_lead(2) || !is_digit(3)) {
    return ill_formed;
  }
  const std::size_t high = (byte(bytes, 0) - 0x81) * 10 + byte(bytes, 1) - '0';
  const std::size_t number = (high * 126 + byte(bytes, 2) - 0x81) * 10 + byte(bytes, 3) - '0';
  if (number < gb18030().four_bytes.size()) {
    return {4, gb18030().four_bytes[number]};
  }
  const std::size_t beyond = number - beyond_first_plane;
  return number >= beyond_first_plane && beyond < 0x100000 ? first_character{4, static_cast<char32_t>(0x10000 + beyond)}
                                                           : ill_formed;
}

// ---- how a code point is written, if it can be ----

using writing = std::optional<std::string>;

writing written_in_page(char32_t unit, const code_page_table& table) {
  if (unit > 0xFFFF || !table.has_code(static_cast<char16_t>(unit))) {
    return std::nullopt;
  }
  const std::uint16_t code = table.codes[unit];
  const char bytes[] = {static_cast<char>(code >> 8), static_cast<char>(code)};
  return code > 0xFF ? std::string(bytes, 2) : std::string(bytes + 1, 1);
}

writing written_in_euc_jp(char32_t unit) {
  writing bytes = written_in_page(unit, page<20932>());
  if (bytes && bytes->size() == 2 && byte(*bytes, 1) < 0x80) {
    return std::string{'\x8F', bytes->front(), static_cast<char>(bytes->back() | 0x80)};
  }
  return bytes == "\x8E" || bytes == "\x8F" ? std::nullopt : bytes;
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

writing if_sound(char32_t point, const std::string& bytes) {
  return point >> 11 == 0x1B ? std::nullopt : writing(bytes);
}

writing written_in_utf8(char32_t point) {
  std::string bytes;
  boost::locale::utf::utf_traits<char>::encode(point, std::back_inserter(bytes));
  return if_sound(point, bytes);
}

template <bool IsBig>
writing written_in_utf16(char32_t point) {
  return if_sound(point, bytes_of(units_of(point), IsBig));
}

template <bool IsBig>
writing written_in_utf32(char32_t point) {
  return if_sound(point, bytes_of(std::u32string{point}, IsBig));
}

// ---- encodings ----

using reader = std::function<first_character(std::string_view)>;

struct encoding {
  const char* name;
  reader read;
  std::function<writing(char32_t)> write;
  bool by_unit = false;   ///< one default character for each unit that is not there
  std::string mark = {};  ///< at the beginning of what is written, and taken away there
  reader read_big = {};   ///< without that mark
};

template <unsigned Number>
encoding of_page(const char* name) {
  return {name, [](auto bytes) { return first_of_page(bytes, page<Number>()); },
          [](auto unit) { return written_in_page(unit, page<Number>()); }, true};
}

/// Of single bytes, asked for one by one: that no byte hangs on another is to be seen, and that it comes back.
encoding single(const char* name) {
  ustring units;
  for (unsigned value = 0; value != 256; ++value) {
    units += decode(std::string(1, static_cast<char>(value)), name).at(0);
  }
  const auto read = [units](auto bytes) {
    return one(1, units[byte(bytes, 0)] == 0xFFFD ? 0xFFFF : units[byte(bytes, 0)]);
  };
  const auto write = [units](char32_t unit) {
    const std::size_t at = units.find(static_cast<char16_t>(unit));
    return unit == 0xFFFD || at == ustring::npos ? std::nullopt : writing(std::string(1, static_cast<char>(at)));
  };
  return {name, read, write, true};
}

const std::vector<encoding>& encodings() {
  static const std::vector<encoding> all = [] {
    std::vector<encoding> made = {
        {"UTF-8", first_of_utf8, written_in_utf8},
        {"UTF-8-BOM", first_of_utf8, written_in_utf8, false, "\xEF\xBB\xBF"},
        {"UTF-16LE", first_of_utf16<false>, written_in_utf16<false>},
        {"UTF-16BE", first_of_utf16<true>, written_in_utf16<true>},
        {"UTF-16", first_of_utf16<false>, written_in_utf16<false>, false, "\xFF\xFE", first_of_utf16<true>},
        {"UTF-32LE", first_of_utf32<false>, written_in_utf32<false>},
        {"UTF-32BE", first_of_utf32<true>, written_in_utf32<true>},
        {"UTF-32", first_of_utf32<false>, written_in_utf32<false>, false, {"\xFF\xFE\0\0", 4}, first_of_utf32<true>},
        {"GB18030", first_of_gb18030, written_in_gb18030},
        {"EUC-JP", first_of_euc_jp, written_in_euc_jp, true},
        of_page<932>("Shift_JIS"),
        of_page<1252>("windows-1252")};
    for (const char* const name : {"US-ASCII", "ISO-8859-1", "ISO-8859-7", "ISO-8859-8", "ISO-8859-10", "ISO-8859-11",
                                   "ISO-8859-14", "ISO-8859-16"}) {
      made.push_back(single(name));
    }
    return made;
  }();
  return all;
}

// ---- whole texts ----

template <class Out>
struct converted {
  std::basic_string<Out> text;
  std::size_t refused = std::string::npos;  ///< where the first ill-formed place is, in units of input
  std::size_t before = 0;                   ///< how much of `text` stands before it

  void refuse(std::size_t at, const std::basic_string<Out>& replacement) {
    before = refused == std::string::npos ? text.size() : before;
    refused = std::min(refused, at);
    text += replacement;
  }
};

converted<char16_t> slowly_decoded(std::string_view bytes, const encoding& as) {
  converted<char16_t> result;
  const bool is_big = as.read_big && !bytes.starts_with(as.mark);
  const std::string mark = is_big ? std::string(as.mark.rbegin(), as.mark.rend()) : as.mark;
  for (std::size_t at = bytes.starts_with(mark) ? mark.size() : 0; at != bytes.size();) {
    const first_character first = (is_big ? as.read_big : as.read)(bytes.substr(at));
    if (first.point) {
      result.text += units_of(*first.point);
    } else {
      result.refuse(at, u"\uFFFD");
    }
    at += first.used;
  }
  return result;
}

converted<char> slowly_encoded(const ustring& text, const encoding& as) {
  converted<char> result{as.mark};
  std::size_t at = 0;
  for (const char32_t point : as.by_unit ? std::u32string(text.begin(), text.end()) : points_of(text)) {
    if (const writing bytes = as.write(point)) {
      result.text += *bytes;
    } else {
      result.refuse(at, as.by_unit ? "?" : as.write(0xFFFD).value());
    }
    at += point < 0x10000 ? 1 : 2;
  }
  return result;
}

// ---- what is held against them ----

template <class Converter, class Out, class In>
void check_pieces(const std::basic_string<In>& text, const converted<Out>& expected, const char* name,
                  random_numbers& random) {
  expect_pieces_give<Converter>(expected.text, text, name, random);
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

void check_decoding(const std::string& bytes, const encoding& as, random_numbers& random) {
  const converted<char16_t> expected = slowly_decoded(bytes, as);
  const std::vector<char> exact(bytes.begin(), bytes.end());
  fuzzing::require(decode({exact.data(), exact.size()}, as.name) == expected.text);
  check_pieces<stream_codecvt_string_to_ustring>(bytes, expected, as.name, random);
}

void check_encoding(const ustring& text, const encoding& as, random_numbers& random) {
  const converted<char> expected = slowly_encoded(text, as);
  fuzzing::require(encode(text, as.name) == expected.text);
  check_pieces<stream_codecvt_ustring_to_string>(text, expected, as.name, random);
}

void check_recoding(const std::string& bytes, const encoding& as, random_numbers& random) {
  const std::string utf8 = slowly_encoded(slowly_decoded(bytes, as).text, encodings()[0]).text;
  expect_pieces_give<stream_codecvt_string_to_utf8string>(utf8, bytes, as.name, random);
  const std::string there = slowly_encoded(reference_decode(bytes), as).text;
  expect_pieces_give<stream_codecvt_utf8string_to_string>(there, bytes, as.name, random);
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
  random_numbers random(in.ConsumeIntegral<std::uint16_t>());
  detail::kernel::use(random.below(8));
  const std::string bytes = in.ConsumeRemainingBytesAsString();
  if (what == 0) {
    check_decoding(bytes, as, random);
  } else if (what == 1) {
    ustring text(bytes.size() / 2, u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof text[0]);
    check_encoding(text, as, random);
  } else {
    check_recoding(bytes, as, random);
  }
  return 0;
}
