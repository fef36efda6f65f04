// Numbers on `char16_t` streams. The oracle is snprintf; width and fill, which C++ has otherwise, are applied by hand.
#include <i18n/facet.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <iomanip>
#include <limits>

#include "seeded_random.hpp"

namespace {

using std::ios_base;
using test_support::seeded_random;

constexpr ios_base::fmtflags none{};
const std::locale& locale = fl::i18n::facet::get_global_std_locale();

struct format {
  ios_base::fmtflags flags;
  int precision = 6;
  int width = 0;
  char fill = ' ';
};

format any_format(seeded_random& random) {
  const ios_base::fmtflags bases[] = {none, ios_base::dec, ios_base::oct, ios_base::hex, ios_base::oct | ios_base::hex};
  const ios_base::fmtflags floats[] = {none, ios_base::fixed, ios_base::scientific, ios_base::floatfield};
  const ios_base::fmtflags adjusts[] = {none, ios_base::left, ios_base::right, ios_base::internal};
  format made{random.pick(bases) | random.pick(floats) | random.pick(adjusts)};
  for (const auto flag : {ios_base::showbase, ios_base::showpos, ios_base::uppercase, ios_base::showpoint})
    made.flags |= random.chance(25) ? flag : none;
  const int rare_precisions[] = {-1, 128, 129, 400};
  made.precision = random.chance(95) ? static_cast<int>(random.below(20)) : random.pick(rare_precisions);
  made.width = random.chance(50) ? 0 : static_cast<int>(random.below(80));
  made.fill = random.chance(50) ? ' ' : '*';
  return made;
}

std::string padded(std::string text, const format& how) {
  const auto adjust = how.flags & ios_base::adjustfield;
  std::size_t place = adjust == ios_base::left ? text.size() : 0;
  if (adjust == ios_base::internal)
    place = std::strchr("+-", text[0]) != nullptr                      ? 1
            : text.size() > 1 && std::strchr("xX", text[1]) != nullptr ? 2
                                                                       : 0;
  if (text.size() < static_cast<std::size_t>(how.width))
    text.insert(place, static_cast<std::size_t>(how.width) - text.size(), how.fill);
  return text;
}

bool has(const format& how, ios_base::fmtflags flag) {
  return (how.flags & flag) != 0;
}

template <class... Values>
std::string printed(const format& how, const std::string& conversion, Values... values) {
  std::string pattern = has(how, ios_base::showpos) ? "%+" : "%";
  char text[1200];
  std::snprintf(text, sizeof text, (pattern + conversion).c_str(), values...);
  return padded(text, how);
}

std::string expected(double value, const format& how) {
  const auto notation = how.flags & ios_base::floatfield;
  char letter = notation == ios_base::fixed        ? 'f'
                : notation == ios_base::scientific ? 'e'
                : notation == none                 ? 'g'
                                                   : 'a';
  if (has(how, ios_base::uppercase) && letter != 'f')  // The run-time library writes infinity so in fixed notation.
    letter = static_cast<char>(letter - 'a' + 'A');
  const std::string point = has(how, ios_base::showpoint) ? "#" : "";
  if (notation == ios_base::floatfield)
    return printed(how, point + letter, value);
  return printed(how, point + ".*" + letter, how.precision < 0 ? 6 : how.precision, value);
}

template <class Integer>
std::string expected(Integer value, const format& how) {
  const auto base = how.flags & ios_base::basefield;
  if (base != ios_base::oct && base != ios_base::hex) {
    const auto wide = static_cast<unsigned long long>(value);
    return std::is_signed_v<Integer> ? printed(how, "lld", static_cast<long long>(value))
                                     : printed({how.flags & ~ios_base::showpos, 0, how.width, how.fill}, "llu", wide);
  }
  const std::string letter = base == ios_base::oct ? "llo" : has(how, ios_base::uppercase) ? "llX" : "llx";
  const auto bits = static_cast<unsigned long long>(static_cast<std::make_unsigned_t<Integer>>(value));
  const format without_sign{how.flags & ~ios_base::showpos, 0, how.width, how.fill};
  return printed(without_sign, (has(how, ios_base::showbase) ? "#" : "") + letter, bits);
}

template <class Number>
std::u16string written(Number value, const format& how, const std::locale& where = locale) {
  std::basic_ostringstream<char16_t> out;
  out.imbue(where);
  out.flags(how.flags);
  out << std::setprecision(how.precision) << std::setfill(static_cast<char16_t>(how.fill)) << std::setw(how.width);
  out << value;
  EXPECT_EQ(out.width(), 0);
  return out.str();
}

template <class Number>
Number read_back(const std::u16string& text, ios_base::fmtflags flags) {
  std::basic_istringstream<char16_t> in(text);
  in.imbue(locale);
  in.setf(flags & ios_base::basefield, ios_base::basefield);
  Number value{};
  in >> value;
  EXPECT_TRUE(in && in.eof()) << std::string(text.begin(), text.end());
  return value;
}

std::u16string wide(const std::string& text) {
  return {text.begin(), text.end()};
}

template <class Integer>
void expect_right(Integer value, const format& how) {
  EXPECT_EQ(written(value, how), wide(expected(value, how))) << value << " flags " << how.flags;
  // In another base than ten a negative number is written as the bits that it has, and is none when it is read.
  const auto base = how.flags & ios_base::basefield;
  const bool is_decimal = value < 0 || base == (ios_base::oct | ios_base::hex);
  const format plain{is_decimal ? ios_base::dec : base};
  EXPECT_EQ(read_back<Integer>(written(value, plain), plain.flags), value) << value;
}

double any_double(seeded_random& random) {
  using limits = std::numeric_limits<double>;
  const double special[] = {0.0,
                            -0.0,
                            0.5,
                            2.5,
                            1e5,
                            999999.5,
                            1e6,
                            1e-4,
                            1e-5,
                            limits::max(),
                            limits::lowest(),
                            limits::min(),
                            limits::denorm_min(),
                            -limits::denorm_min(),
                            limits::infinity(),
                            -limits::infinity(),
                            limits::quiet_NaN()};
  if (random.chance(15))
    return random.pick(special);
  const std::uint64_t bits = random.chance(10) ? random.bits() & 0x800F'FFFF'FFFF'FFFF : random.bits();
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return random.chance(50) ? value : static_cast<double>(static_cast<int>(bits)) / 1000;
}

TEST(NumberFormat, OfIntegersIsThatOfTheCRunTimeAndReadsBack) {
  seeded_random random;
  for (int i = 0; i != 10000; ++i) {
    const format how = any_format(random);
    const std::uint64_t bits = random.bits() >> random.below(64);
    expect_right(static_cast<int>(bits), how);
    expect_right(static_cast<unsigned long>(bits), how);
    expect_right(static_cast<long long>(random.chance(50) ? bits : -bits), how);
    expect_right(bits, how);
  }
  expect_right(std::numeric_limits<int>::min(), {none});
  expect_right(std::numeric_limits<long long>::min(), {none});
}

TEST(NumberFormat, OfDoublesIsThatOfTheCRunTimeAndReadsBack) {
  seeded_random random;
  for (int i = 0; i != 10000; ++i) {
    const format how = any_format(random);
    const double value = any_double(random);
    EXPECT_EQ(written(value, how), wide(expected(value, how)))
        << value << " flags " << how.flags << ' ' << how.precision;
    if (std::isfinite(value)) {
      const auto again = read_back<double>(written(value, {how.flags & ios_base::scientific, 17}), none);
      EXPECT_EQ(std::memcmp(&again, &value, sizeof value), 0) << value;
    }
  }
}

TEST(NumberFormat, OfOtherValuesFollowsTheFlags) {
  EXPECT_EQ(written(true, {ios_base::boolalpha, 6, 6, '.'}), u"..true");
  EXPECT_EQ(written(false, {ios_base::boolalpha | ios_base::left, 6, 6, '.'}), u"false.");
  EXPECT_EQ(written(true, {none, 6, 3, '0'}), u"001");
  EXPECT_EQ(written(0.1f, {none, 9}), u"0.100000001");
  EXPECT_EQ(written(1.5L, {ios_base::fixed, 3}), u"1.500");
  EXPECT_EQ(written(static_cast<short>(-1), {ios_base::hex}), u"ffff");
  EXPECT_EQ(written(reinterpret_cast<const void*>(0xBEEF), {ios_base::uppercase}), u"0xbeef");
  EXPECT_TRUE(read_back<bool>(u"1", none));
}

TEST(NumberFormat, OfALocaleWithAnotherPunctuationIsItsOwn) {
  struct german : std::numpunct<char16_t> {
    char16_t do_decimal_point() const override { return u','; }
    char16_t do_thousands_sep() const override { return u'.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale with_commas(locale, new german);
  EXPECT_EQ(written(-1234567, {none}, with_commas), u"-1.234.567");
  EXPECT_EQ(written(1234567.25, {ios_base::fixed, 2, 14, '*'}, with_commas), u"**1.234.567,25");
}

template <class Number>
void expect_refused(const char16_t* text, Number instead, ios_base::fmtflags flags = ios_base::dec) {
  std::basic_istringstream<char16_t> in(text);
  in.imbue(locale);
  in.flags(flags);
  auto value = static_cast<Number>(1);
  in >> value;
  EXPECT_TRUE(in.fail() && !in.bad());
  EXPECT_EQ(value, instead);
}

TEST(NumberInput, ThatIsIllFormedOrTooLargeFails) {
  for (const char16_t* const text : {u"", u"-", u"x1", u"\xFF11", u".5"})
    expect_refused<int>(text, 0);
  for (const char16_t* const text : {u"", u"+", u"1e", u"1e+", u".", u"inf"})
    expect_refused<double>(text, 0);
  expect_refused(u"2147483648", std::numeric_limits<int>::max());
  expect_refused(u"-99999999999999999999", std::numeric_limits<long long>::min());
  expect_refused(u"1e999", std::numeric_limits<double>::max());
  expect_refused(u"0x", 0, ios_base::hex);
  expect_refused(u"tru", false, ios_base::boolalpha);
  expect_refused(u"2", true);
}

}  // namespace
