// The interface of objects that convert strings from one character type to another. Header only.
#pragma once

#include <string>
#include <string_view>

namespace fl::i18n {

/// Converts strings of `In` to strings of `Out`. What becomes of ill-formed input is said by the class that implements
/// it.
template <class Out, class In>
class converter {
 public:
  virtual ~converter() = default;

  /// `text` need not be zero-terminated; zeroes in it are ordinary characters. May run in several threads at once.
  virtual std::basic_string<Out> convert(std::basic_string_view<In> text) const = 0;

 protected:
  converter() = default;
  converter(const converter&) = default;
  converter& operator=(const converter&) = default;
};

}  // namespace fl::i18n
