#include "char16_streams_client.hpp"

std::u16string there_and_back_in_client(const std::locale& locale) {
  return there_and_back(locale);
}

std::locale make_locale_in_client() {
  const std::locale with_classes(std::locale::classic(), new std::ctype<char16_t>);
  const std::locale with_punctuation(with_classes, new std::numpunct<char16_t>);
  const std::locale with_input(with_punctuation, new std::num_get<char16_t>);
  return std::locale(with_input, new std::num_put<char16_t>);
}
