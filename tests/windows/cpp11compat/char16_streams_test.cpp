// The streams of `char16_t` between modules: the program is compiled as C++20, its second DLL as C++17.
#include <i18n/facet.hpp>

#include "char16_streams_client.hpp"
#include "every_test.hpp"

namespace {

TEST(Char16Streams, WorkInEachModuleWithTheFacetsOfEach) {
  const std::u16string expected = u"42 3.5 true \x3b1\x3b2\x2003\nsecond line|42|3.5|true|\x3b1\x3b2|second line";
  for (const std::locale& each : {fl::i18n::facet::get_global_std_locale(), make_locale_in_client()}) {
    EXPECT_EQ(there_and_back(each), expected);
    EXPECT_EQ(there_and_back_in_client(each), expected);
  }
}

TEST(Char16Streams, FormatNothingWithoutTheFacets) {
  EXPECT_TRUE((std::basic_ostringstream<char16_t>() << 1).bad());
}

}  // namespace
