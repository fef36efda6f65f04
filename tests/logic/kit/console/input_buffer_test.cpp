#include "console/input_buffer.hpp"

#include <i18n/convert.hpp>

#include "every_test.hpp"
#include "scripted_device.hpp"
#include "seeded_random.hpp"

namespace {

using namespace foundation::kit;
using kit_test::scripted_device;

std::string all_of(std::istream& in) {
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(InputBuffer, GivesTheTextOfAConsoleWhateverItsPieces) {
  test_support::seeded_random random;
  const std::u16string pieces[] = {u"a",  u"\r\n", u"\r\n",   u"\U0001F600", u"\u20ac",
                                   u"\r", u"\n",   u"\xD83D", u"\xDE00"};
  for (int round = 0; round < 2000; ++round) {
    std::u16string text;
    for (std::size_t count = random.below(7); count != 0; --count) {
      text += random.pick(pieces);
    }
    scripted_device device;
    for (std::size_t at = 0, length = 0; at < text.size(); at += length) {
      length = std::min(random.between(1, 3), text.size() - at);
      device.to_read.push_back(text.substr(at, length));
    }
    input_buffer buffer(device);
    std::istream in(&buffer);
    std::string expected = fl::i18n::ustring_to_utf8(text);
    for (std::size_t at = 0; (at = expected.find("\r\n", at)) != std::string::npos;) {
      expected.erase(at, 1);
    }
    // What waits at the end is told by it.
    ASSERT_EQ(all_of(in), expected) << testing::PrintToString(text);
  }
}

TEST(InputBuffer, EndsAtControlZThatBeginsALineAndGoesOnBehindIt) {
  scripted_device device;
  device.to_read = {u"a",
                    u"\x1A"
                    u"b\r\n",
                    u"\x1A\r\n",
                    u"c\r",
                    u"\n",
                    u"\x1A\r\n",
                    u"d\r\n"};
  input_buffer buffer(device);
  std::istream in(&buffer);
  for (const std::string expected : {"a\x1A"
                                     "b\n",
                                     "c\n", "d\n", ""}) {
    EXPECT_EQ(all_of(in), expected);
    in.clear();
  }
}

TEST(InputBuffer, PassesBytesOnCanStepBackAndFindsTheEndWhereNobodyIs) {
  scripted_device device;
  device.what = device_kind::bytes;
  device.bytes_to_read = {"\x1A a\r\n", "\xff"};
  input_buffer buffer(device);
  std::istream in(&buffer);
  in.ignore(5);
  EXPECT_EQ(in.peek(), 0xff);
  EXPECT_TRUE(in.unget()) << "across reads";
  EXPECT_EQ(all_of(in), "\n\xff");
  device.what = device_kind::none;
  in.clear();
  EXPECT_EQ(in.get(), EOF);
}

}  // namespace
