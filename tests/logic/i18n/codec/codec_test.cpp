// The codecs of UTF-8, UTF-16, UTF-32 and US-ASCII, with input that comes in two parts cut anywhere and output areas of
// every small size. Input and output lie in allocations of exactly their sizes, so that the sanitizer sees a step
// beyond them.
#include <i18n/convert.hpp>

#include "codec/ascii_codec.hpp"
#include "codec/utf16_codec.hpp"
#include "codec/utf32_codec.hpp"
#include "codec/utf8_codec.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace fl::i18n::detail;

template <class Out, class In>
struct sample {
  const codec<Out, In>& converter;
  std::basic_string<In> input;
  std::basic_string<Out> output;
};

std::string bytes_of(char32_t unit, std::size_t size, byte_order order) {
  std::string result;
  for (std::size_t i = 0; i != size; ++i) {
    result.insert(order == byte_order::little ? result.end() : result.begin(), static_cast<char>(unit >> 8 * i));
  }
  return result;
}

std::string utf16_bytes(const std::u16string& units, byte_order order) {
  std::string result;
  for (const char16_t unit : units) {
    result += bytes_of(unit, 2, order);
  }
  return result;
}

std::string utf32_bytes(const std::u16string& units, byte_order order) {
  std::string result;
  for (std::size_t i = 0; i != units.size(); ++i) {
    const bool pair = units[i] >= 0xD800 && units[i] <= 0xDBFF;
    result += bytes_of(pair ? (units[i] - 0xD7C0U) << 10 | (units[i + 1] & 0x3FF) : units[i], 4, order);
    i += pair;
  }
  return result;
}

// Runs of ASCII of several lengths, and of characters of each length, up to more than the codecs convert at once.
std::u16string well_formed() {
  std::u16string text;
  for (const std::size_t length : {1u, 5u, 55u}) {
    text += u"\u00E9" + std::u16string(length, u'a') + u"\u07FF\u20AC" + std::u16string(length, u'\u0416');
    text += u" \uD7FF\U0001F600" + std::u16string(length, u'\uFFFD') + u"\U0010FFFF\U00010000";
  }
  return text + std::u16string(40, u'z');
}

const std::u16string ill = u"\uFFFD";

std::vector<sample<char16_t, char>> decoder_samples() {
  const std::u16string text = well_formed();
  const std::string utf8 = fl::i18n::ustring_to_utf8(text);
  std::vector<sample<char16_t, char>> result = {
      {utf8_decoder(), utf8, text},
      {utf8_decoder(), utf8 + "\xE2\x82" + utf8 + "\xF0\x90\x80z\xED\xA0\x80\xFF\xF4\x8F\xBF",
       text + ill + text + ill + u"z" + ill + ill + ill + ill + ill},
      {ascii_decoder(), std::string(40, 'x') + "\x80z\xC3\xA9", std::u16string(40, u'x') + ill + u"z" + ill + ill}};
  for (const byte_order order : {byte_order::little, byte_order::big}) {
    const std::string utf16 = utf16_bytes(text, order);
    const std::string high = utf16_bytes({0xD83D}, order);
    const std::string low = utf16_bytes({0xDE00}, order);
    result.push_back({utf16_decoder(order), utf16 + low + high + utf16 + high + high + low + high + "\xD8",
                      text + ill + ill + text + ill + u"\U0001F600" + ill + ill});
    const std::string utf32 = utf32_bytes(text, order);
    result.push_back({utf32_decoder(order),
                      utf32 + bytes_of(0xD800, 4, order) + bytes_of(0x110000, 4, order) + std::string("\0\0z", 3),
                      text + ill + ill + ill});
  }
  return result;
}

std::vector<sample<char, char16_t>> encoder_samples() {
  const std::u16string text = well_formed();
  const std::u16string high(1, 0xD83D);
  const std::u16string low(1, 0xDE00);
  const std::u16string input = text + low + high + text + high + high + low + high;
  const std::u16string replaced = text + ill + ill + text + ill + high + low + ill;
  std::vector<sample<char, char16_t>> result = {
      {utf8_encoder(), input, fl::i18n::ustring_to_utf8(replaced)},
      {ascii_encoder(), std::u16string(40, u'x') + u"\u0080z" + high + low, std::string(40, 'x') + "?z??"}};
  for (const byte_order order : {byte_order::little, byte_order::big}) {
    result.push_back({utf16_encoder(order), input, utf16_bytes(replaced, order)});
    result.push_back({utf32_encoder(order), input, utf32_bytes(replaced, order)});
  }
  return result;
}

// One call with areas of exactly their sizes. Appends what it gave, and takes what it converted from `input`.
template <class Out, class In>
stopped convert_exactly(const codec<Out, In>& converter, std::basic_string_view<In>& input, std::size_t area_size,
                        bool last, std::basic_string<Out>& result) {
  const std::vector<In> exact(input.begin(), input.end());
  std::vector<Out> area(area_size);
  const In* from = exact.data();
  Out* to = area.data();
  const stopped stop = converter.convert(from, exact.data() + exact.size(), to, area.data() + area_size, last);
  result.append(area.data(), to);
  input.remove_prefix(static_cast<std::size_t>(from - exact.data()));
  return stop;
}

template <class Out, class In>
std::basic_string<Out> convert_in_parts(const sample<Out, In>& each, std::size_t cut, std::size_t area_size) {
  constexpr std::size_t most = codec<Out, In>::max_character;
  std::basic_string<Out> result;
  std::basic_string_view<In> input(each.input.data(), cut);
  for (const bool last : {false, true}) {
    for (std::size_t size = area_size;;) {
      const std::size_t before = result.size();
      const stopped stop = convert_exactly(each.converter, input, size, last, result);
      if (stop.why == stop_reason::input_used) {
        break;
      }
      if (stop.why == stop_reason::ill_formed) {
        EXPECT_TRUE(stop.ill_formed_length > 0 && stop.ill_formed_length <= input.size());
        input.remove_prefix(stop.ill_formed_length);
        result += each.converter.replacement();
      } else {
        const std::size_t unused = size - (result.size() - before);
        EXPECT_LT(unused, most);
        size += unused == size;
      }
    }
    EXPECT_LT(input.size(), last ? 1 : most);
    input = std::basic_string_view<In>(each.input).substr(cut - input.size());
  }
  return result;
}

template <class Out, class In>
void expect_any_parts_give_the_same(const std::vector<sample<Out, In>>& samples) {
  for (std::size_t i = 0; i != samples.size(); ++i) {
    const sample<Out, In>& each = samples[i];
    for (const std::size_t size : {1u, 2u, 3u, 4u, 5u, 7u, 15u, 16u, 17u, 47u, 48u, 49u, 63u, 64u, 100u, 3000u}) {
      const std::size_t step = size < 10 ? 13 : 1;
      for (std::size_t cut = 0; cut <= each.input.size(); cut += step) {
        ASSERT_EQ(convert_in_parts(each, cut, size), each.output) << "sample " << i << ", " << size << ", " << cut;
      }
    }
  }
}

TEST(UtfCodec, InputInAnyPartsAndOutputInAnyPiecesGivesTheSame) {
  expect_any_parts_give_the_same(decoder_samples());
  expect_any_parts_give_the_same(encoder_samples());
}

// However much of a text there is, an area that its characters fill exactly is enough, and one unit less is not.
template <class Out, class In>
void expect_exact_area_is_enough(const std::vector<sample<Out, In>>& samples) {
  for (std::size_t i = 0; i != samples.size(); ++i) {
    const auto& [converter, text, ignored] = samples[i];
    for (std::size_t length = 0; length <= text.size(); ++length) {
      for (const bool last : {false, true}) {
        std::basic_string<Out> outputs[3];
        std::basic_string_view<In> rests[3];
        rests[0] = rests[1] = rests[2] = std::basic_string_view<In>(text.data(), length);
        const stopped expected = convert_exactly(converter, rests[0], 4 * length, last, outputs[0]);
        const stopped exact = convert_exactly(converter, rests[1], outputs[0].size(), last, outputs[1]);
        ASSERT_TRUE(exact.why == expected.why && exact.ill_formed_length == expected.ill_formed_length)
            << i << ' ' << length;
        ASSERT_TRUE(expected.why != stop_reason::output_full && rests[1].size() == rests[0].size())
            << i << ' ' << length;
        if (!outputs[0].empty()) {
          const stopped less = convert_exactly(converter, rests[2], outputs[0].size() - 1, last, outputs[2]);
          ASSERT_EQ(less.why, stop_reason::output_full) << i << ' ' << length;
        }
      }
    }
  }
}

TEST(UtfCodec, TheOutputIsFullOnlyIfAnotherCharacterDoesNotFit) {
  expect_exact_area_is_enough(decoder_samples());
  expect_exact_area_is_enough(encoder_samples());
}

}  // namespace
