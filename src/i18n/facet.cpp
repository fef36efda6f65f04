// The locale of `char16_t` streams: made once, then only read.
#include <i18n/facet.hpp>

namespace fl::i18n::facet {
namespace {

std::locale make_locale() {
  const std::locale with_classes(std::locale::classic(), new std::ctype<char16_t>);
  const std::locale with_punctuation(with_classes, new std::numpunct<char16_t>);
  const std::locale with_input(with_punctuation, new std::num_get<char16_t>);
  return std::locale(with_input, new std::num_put<char16_t>);
}

}  // namespace

const std::locale& get_global_std_locale() {
  // Never destroyed: streams of other modules may live longer than this one's static objects.
  static const std::locale* const instance = new std::locale(make_locale());
  return *instance;
}

}  // namespace fl::i18n::facet
