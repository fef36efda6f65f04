// Numbers on `char16_t` streams. The oracle is the streams of `char`, which leave numbers to the C run-time.
#include <i18n/facet.hpp>

#include "every_test.hpp"
#include "seeded_random.hpp"

namespace {

using std::ios_base;
using test_support::seeded_random;

constexpr ios_base::fmtflags none{};

std::u16string wide(const std::string& text) {
  return {text.begin(), text.end()};
}

struct format {
  ios_base::fmtflags flags = none;
  int precision = 6;
  int width = 0;
  char fill = ' ';
};

format any_format(seeded_random& random) {
  const ios_base::fmtflags bases[] = {none, ios_base::dec, ios_base::oct, ios_base::hex, ios_base::oct | ios_base::hex};
  const ios_base::fmtflags floats[] = {none, ios_base::fixed, ios_base::scientific, ios_base::floatfield};
  const ios_base::fmtflags adjusts[] = {none, ios_base::left, ios_base::right, ios_base::internal};
  format made{random.pick(bases) | random.pick(floats) | random.pick(adjusts)};
  made.flags |=
      static_cast<ios_base::fmtflags>(random.bits() & random.bits()) &
      (ios_base::showbase | ios_base::showpos | ios_base::uppercase | ios_base::showpoint | ios_base::boolalpha);
  const int rare_precisions[] = {-1, 128, 129, 400};
  made.precision =
      random.chance(95) ? static_cast<int>(random.below(random.chance(80) ? 20 : 130)) : random.pick(rare_precisions);
  made.width = random.chance(50) ? 0 : static_cast<int>(random.below(80));
  made.fill = random.chance(50) ? ' ' : '*';
  return made;
}

double any_double(seeded_random& random) {
  const char* const special[] = {"0",     "-0",     "0.5",  "2.5",  "1e5", "999999.5", "1e6",
                                 "0.001", "5e-324", "-inf", "1e22", "nan", "1e-5",     "-1.7976931348623157e308"};
  if (random.chance(15)) {
    return std::strtod(random.pick(special), nullptr);
  }
  const std::uint64_t bits = random.chance(10) ? random.bits() & 0x800F'FFFF'FFFF'FFFF : random.bits();
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return random.chance(50) ? value : static_cast<double>(static_cast<int>(bits)) / 1000;
}

template <class Char, class Number>
std::basic_string<Char> written(Number value, const format& how, const std::locale& locale) {
  std::basic_ostringstream<Char> out;
  out.imbue(locale);
  out.flags(how.flags);
  out.precision(how.precision);
  out.width(how.width);
  out.fill(static_cast<Char>(how.fill));
  out << value;
  EXPECT_EQ(out.width(), 0);
  return out.str();
}

template <class Number>
std::u16string written(Number value, const format& how = {}) {
  return written<char16_t>(value, how, fl::i18n::facet::get_global_std_locale());
}

template <class Number>
void expect_same_input(const std::string& text, ios_base::fmtflags flags) {
  std::istringstream oracle(text);
  std::basic_istringstream<char16_t> in(wide(text));
  in.imbue(fl::i18n::facet::get_global_std_locale());
  oracle.flags(flags);
  in.flags(flags);
  Number wanted{1}, got{1};
  oracle >> wanted;
  in >> got;
  EXPECT_EQ(in.rdstate(), oracle.rdstate()) << text;
  EXPECT_EQ(got, wanted) << text;
}

template <class Number>
void expect_same(Number value, const format& how) {
  const auto text = written<char>(value, how, std::locale::classic());
  EXPECT_EQ(written(value, how), wide(text)) << value << " flags " << how.flags << " precision " << how.precision;
  expect_same_input<Number>(text, how.flags);
}

TEST(NumberFormat, IsThatOfCharStreamsWithAllFlagsAndIsReadAsThere) {
  seeded_random random;
  for (int i = 0; i != 10000; ++i) {
    const format how = any_format(random);
    const std::uint64_t bits = random.bits() >> random.below(64);
    expect_same(static_cast<int>(bits), how);
    expect_same(static_cast<unsigned long>(bits), how);
    expect_same(static_cast<long long>(random.chance(50) ? bits : -bits), how);
    expect_same(static_cast<unsigned long long>(bits), how);
    expect_same(static_cast<short>(bits), how);
    expect_same(bits % 2 == 0, how);
    expect_same(any_double(random), how);
    expect_same(static_cast<long double>(any_double(random)), how);
    EXPECT_EQ(written(&random, how), wide(written<char>(&random, how, std::locale::classic())));
  }
}

TEST(NumberFormat, OfALocaleWithAnotherPunctuationIsItsOwn) {
  struct german : std::numpunct<char16_t> {
    char16_t do_decimal_point() const override { return u','; }
    char16_t do_thousands_sep() const override { return u'.'; }
    std::string do_grouping() const override { return groups; }
    explicit german(const char* grouping) : groups(grouping) {}
    const char* groups;
  };
  const std::locale with_commas(fl::i18n::facet::get_global_std_locale(), new german("\3"));
  EXPECT_EQ(written<char16_t>(-1234567, {}, with_commas), u"-1.234.567");
  const std::locale without_groups(with_commas, new german(""));
  EXPECT_EQ(written<char16_t>(1234567.25, {ios_base::fixed, 2}, without_groups), u"1234567,25");
  EXPECT_EQ(written<char16_t>(1234567.25, {ios_base::fixed, 2, 14, '*'}, with_commas), u"**1.234.567,25");
}

}  // namespace
