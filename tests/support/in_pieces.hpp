// Conversion in pieces, for comparison with that of whole texts.
#pragma once

#include <i18n/stream_converter.hpp>

#include "random_numbers.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace test_support {

/// Converts a text in pieces, into areas, of any size. All memory has exactly the size that the converter is told, so
/// that the sanitizer sees what lies beyond. `result` has all that is written, also before an exception.
template <class Out, class In>
void convert_in_pieces(const fl::i18n::stream_converter<Out, In>& converter, std::basic_string_view<In> text,
                       random_numbers& random, std::basic_string<Out>& result) {
  constexpr std::size_t sizes[] = {1, 2, 3, 7, 20, 70, 5000};
  constexpr std::size_t longest_character = 4;
  const std::size_t most_taken = random.pick(sizes), most_given = random.pick(sizes);
  for (bool last = false; !last;) {
    const std::basic_string_view<In> taken = text.substr(0, random.between(0, most_taken));
    const std::vector<In> piece(taken.begin(), taken.end());
    text.remove_prefix(taken.size());
    last = text.empty() && random.chance(50);
    const In* from = piece.data();
    for (bool more = true, again = false; more; again = true) {
      std::vector<Out> area(random.between(1, most_given));
      Out* to = area.data();
      try {
        more = converter.convert(&to, to + area.size(), &from, piece.data() + piece.size(), last) != 0;
      } catch (const fl::i18n::conversion_error&) {
        result.append(area.data(), to);
        throw;
      }
      result.append(area.data(), to);
      ASSERT_TRUE(!again || to != area.data()) << "called again for nothing";
      ASSERT_TRUE(!more || area.data() + area.size() < to + longest_character) << "another would have had room";
    }
    ASSERT_EQ(from, piece.data() + piece.size());
  }
}

/// Twice, since a converter is ready for another text, and once in one call with as much room as is needed.
template <class Converter, class Out, class In>
void expect_pieces_give(const std::basic_string<Out>& whole, const std::basic_string<In>& text, const char* name,
                        random_numbers& random) {
  const Converter converter(name, true);
  for (int i = 0; i != 2; ++i) {
    std::basic_string<Out> result;
    convert_in_pieces(converter, std::basic_string_view<In>(text), random, result);
    ASSERT_TRUE(result == whole) << name << ' ' << testing::PrintToString(text);
  }
  std::vector<Out> area(whole.size());
  Out* to = area.data();
  const In* from = text.data();
  ASSERT_EQ(converter.convert(&to, to + whole.size(), &from, from + text.size(), true), 0U) << name;
}

}  // namespace test_support
