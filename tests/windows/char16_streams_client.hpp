// A DLL with `char16_t` streams of its own.
#pragma once

#include <cpp11compat/char16_streams.hpp>

#ifdef char16_streams_client_EXPORTS
#define CLIENT_API __declspec(dllexport)
#else
#define CLIENT_API __declspec(dllimport)
#endif

/// What `use_streams` saw.
struct stream_results {
  std::u16string written;
  int integer = 0;
  double real = 0;
  bool yes = false;
  std::u16string word;
  std::u16string line;
  bool ended_well = false;
};

/// Writes with `locale`, reads the text back and tells; the same code in each module that includes it.
inline stream_results use_streams(const std::locale& locale) {
  stream_results results;
  std::basic_ostringstream<char16_t> out;
  out.imbue(locale);
  out << 42 << ' ' << 3.5f << u' ' << std::boolalpha << true << u" \x3b1" << u"\x3b2\x2003" << std::endl;
  out << std::u16string(u"second line");
  results.written = out.str();
  std::basic_istringstream<char16_t> in(results.written);
  in.imbue(locale);
  in >> results.integer >> results.real >> std::boolalpha >> results.yes >> results.word >> std::ws;
  results.ended_well = std::getline(in, results.line) && in.eof();
  return results;
}

CLIENT_API stream_results use_streams_in_client(const std::locale& locale);
CLIENT_API std::locale make_locale_in_client();
/// Where the facets of `locale` are, as the client finds them: classes, punctuation, input, output.
CLIENT_API bool client_finds_all_facets(const std::locale& locale);
/// Appends to a stream of the caller's.
CLIENT_API void write_number_in_client(std::basic_ostream<char16_t>& out, double number);
