// The streams of `char16_t` between modules: the program is compiled as C++20, its second DLL as C++17.
#include "char16_streams_client.hpp"

#include <i18n/facet.hpp>

#include <gtest/gtest.h>

namespace {

void expect_right(const stream_results& got) {
  EXPECT_EQ(got.written, u"42 3.5 true \x3b1\x3b2\x2003\nsecond line");
  EXPECT_EQ(got.integer, 42);
  EXPECT_EQ(got.real, 3.5);
  EXPECT_TRUE(got.yes);
  EXPECT_EQ(got.word, u"\x3b1\x3b2");
  EXPECT_EQ(got.line, u"second line");
  EXPECT_TRUE(got.ended_well);
}

TEST(Char16Streams, WorkInEachModuleWithTheFacetsOfEach) {
  const std::locale& ours = fl::i18n::facet::get_global_std_locale();
  const std::locale clients = make_locale_in_client();
  expect_right(use_streams(ours));
  expect_right(use_streams(clients));
  expect_right(use_streams_in_client(ours));
  expect_right(use_streams_in_client(clients));
  EXPECT_TRUE(client_finds_all_facets(ours));
  EXPECT_FALSE(client_finds_all_facets(std::locale::classic()));
  EXPECT_EQ(&std::use_facet<std::numpunct<char16_t>>(std::locale(clients, new std::num_put<char16_t>)),
            &std::use_facet<std::numpunct<char16_t>>(clients));
}

TEST(Char16Streams, AStreamOfOneModuleIsWrittenByAnother) {
  std::basic_ostringstream<char16_t> out;
  write_number_in_client(out, 1.5);
  EXPECT_TRUE(out.bad());  // Without the facets.
  out.clear();
  out.imbue(make_locale_in_client());
  write_number_in_client(out, 1.5);
  out << 2;
  EXPECT_EQ(out.str(), u"1.52");
}

}  // namespace
