#include "char16_streams_client.hpp"

stream_results use_streams_in_client(const std::locale& locale) {
  return use_streams(locale);
}

std::locale make_locale_in_client() {
  const std::locale with_classes(std::locale::classic(), new std::ctype<char16_t>);
  const std::locale with_punctuation(with_classes, new std::numpunct<char16_t>);
  const std::locale with_input(with_punctuation, new std::num_get<char16_t>);
  return std::locale(with_input, new std::num_put<char16_t>);
}

bool client_finds_all_facets(const std::locale& locale) {
  return std::has_facet<std::ctype<char16_t>>(locale) && std::has_facet<std::numpunct<char16_t>>(locale) &&
         std::has_facet<std::num_get<char16_t>>(locale) && std::has_facet<std::num_put<char16_t>>(locale);
}

void write_number_in_client(std::basic_ostream<char16_t>& out, double number) {
  out << number;
}
