// Formats numbers into a string stream that is emptied and used again, as a UTF-16 stream of this library and as
// std::wostringstream do it. Both texts have units of two bytes, so they are compared byte by byte.

#include <i18n/facet.hpp>

#include "row.hpp"

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <vector>

namespace {

constexpr int count = 1000;

/// Integers of all lengths.
std::vector<int> integers() {
  std::mt19937 random(1);
  std::vector<int> numbers(count);
  for (int& number : numbers) {
    number = static_cast<int>(random()) >> random() % std::numeric_limits<int>::digits;
  }
  return numbers;
}

/// Measured values: of either sign, with all digits, from a millionth to a thousand million.
std::vector<double> doubles() {
  std::mt19937 random(2);
  std::uniform_real_distribution<double> mantissa(-1, 1);
  std::uniform_int_distribution<int> exponent(-6, 9);
  std::vector<double> numbers(count);
  for (double& number : numbers) {
    number = mantissa(random) * std::pow(10, exponent(random));
  }
  return numbers;
}

template <class Char>
std::shared_ptr<std::basic_ostringstream<Char>> make_stream() {
  auto stream = std::make_shared<std::basic_ostringstream<Char>>();
  if constexpr (std::is_same_v<Char, char16_t>) {
    stream->imbue(fl::i18n::facet::get_global_std_locale());
  }
  return stream;
}

template <class Char, class Number>
bench::contender format(std::vector<Number> numbers) {
  return {[numbers = std::move(numbers), stream = make_stream<Char>()](bench::product& result) {
    stream->str({});
    for (const Number number : numbers) {
      *stream << number;
    }
    const auto text = stream->view();
    result.add({reinterpret_cast<const char*>(text.data()), text.size() * sizeof(Char)});
  }};
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("number_ints_vs_wostringstream", format<char16_t>(integers()), format<wchar_t>(integers()));
  bench::add_row("number_doubles_vs_wostringstream", format<char16_t>(doubles()), format<wchar_t>(doubles()));
  return bench::run(argc, argv);
}
