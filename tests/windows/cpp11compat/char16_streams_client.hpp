// A DLL with `char16_t` streams of its own.
#pragma once

#include <cpp11compat/char16_streams.hpp>

#ifdef char16_streams_client_EXPORTS
#define CLIENT_API __declspec(dllexport)
#else
#define CLIENT_API __declspec(dllimport)
#endif

/// Writes with `locale`, reads that back and writes what was read: the same code in each module that includes it.
inline std::u16string there_and_back(const std::locale& locale) {
  std::basic_stringstream<char16_t> stream;
  stream.imbue(locale);
  stream << 42 << ' ' << 3.5f << u' ' << std::boolalpha << true << u" \x3b1" << u"\x3b2\x2003" << std::endl;
  stream << std::u16string(u"second line");
  int integer = 0;
  double real = 0;
  bool yes = false;
  std::u16string word, line;
  stream >> integer >> real >> yes >> word >> std::ws;
  if (!std::getline(stream, line) || !stream.eof()) {
    return u"no end";
  }
  stream.clear();
  stream << u'|' << integer << u'|' << real << u'|' << yes << u'|' << word << u'|' << line;
  return stream.str();
}

CLIENT_API std::u16string there_and_back_in_client(const std::locale& locale);
CLIENT_API std::locale make_locale_in_client();
