// The facet that writes the numbers of `char16_t` streams.
//
// It writes what `std::num_put` of the same locale would write, unit for unit, only sooner: the general template asks
// the locale for its punctuation each time, and lets the C run-time format what is not an integer. What is rare or
// would have to be rebuilt in detail is left to the template: `bool`, addresses, `long double`, infinity and what is no
// number, `hexfloat`, `showpoint`, more than `most_decimals` places, and all numbers in a locale with another
// punctuation than the one of i18n/facet.hpp has.
//
// Thread safety: immutable.
#pragma once

#include <cpp11compat/char16_streams.hpp>

#include <locale>

namespace fl::i18n::facet {

class number_output final : public std::num_put<char16_t> {
 public:
  /// The largest precision for which this class formats a number itself.
  static constexpr int most_decimals = 128;

 private:
  using std::num_put<char16_t>::do_put;
  iter_type do_put(iter_type out, std::ios_base& io, char16_t fill, long value) const override;
  iter_type do_put(iter_type out, std::ios_base& io, char16_t fill, unsigned long value) const override;
  iter_type do_put(iter_type out, std::ios_base& io, char16_t fill, long long value) const override;
  iter_type do_put(iter_type out, std::ios_base& io, char16_t fill, unsigned long long value) const override;
  iter_type do_put(iter_type out, std::ios_base& io, char16_t fill, double value) const override;
};

}  // namespace fl::i18n::facet
