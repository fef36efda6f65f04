#include "console/output_buffer.hpp"

#include <i18n/convert.hpp>

#include "every_test.hpp"
#include "scripted_device.hpp"
#include "seeded_random.hpp"

namespace {

using namespace foundation::kit;
using kit_test::scripted_device;

// Whatever the bytes are, in whatever pieces they come, and however little the console takes at a time.
TEST(OutputBuffer, ShowsOnAConsoleWhatTheWholeTextIs) {
  test_support::seeded_random random;
  const std::string leads = "a\n\xc1\xc2\xdf\xe0\xe1\xed\xef\xf0\xf1\xf4\xf5\xff\x80\x8f\x90\x9f\xa0\xbf\x80\xbf";
  for (int round = 0; round < 20000; ++round) {
    const std::string text = random.text(random.below(9), leads);
    scripted_device device;
    device.takes = random.between(1, 3);
    output_buffer buffer(device, random.chance(50) ? buffering::none : buffering::lines);
    std::ostream out(&buffer);
    for (std::size_t at = 0, length = 0; at < text.size(); at += length) {
      length = std::min(random.between(1, 3), text.size() - at);
      out << text.substr(at, length) << std::flush;
      ASSERT_EQ(fl::i18n::utf8_to_ustring(text).find(device.units), 0U) << "not the beginning of the whole";
    }
    const std::size_t incomplete = text.size() - without_incomplete_end(text);
    ASSERT_EQ(device.units, fl::i18n::utf8_to_ustring(text.substr(0, text.size() - incomplete)));
    ASSERT_LE(incomplete, 3U);
    buffer.finish();
    ASSERT_EQ(device.units, fl::i18n::utf8_to_ustring(text));
  }
}

TEST(OutputBuffer, HoldsBackTheBeginningOfACharacterOnly) {
  const std::pair<std::string_view, std::size_t> cases[] = {
      {"", 0},         {"a\xe2\x82", 2}, {"\xe2\x82\xac", 0}, {"\xf0\x9f\x98", 3}, {"\xf0\x9f", 2}, {"\xf4", 1},
      {"\xe0\x80", 0}, {"\xed\xa0", 0},  {"\xf4\x90", 0},     {"\x80\x80\x80", 0}, {"\xf5", 0},     {"\xc3", 1}};
  for (const auto& [text, held] : cases) {
    EXPECT_EQ(text.size() - without_incomplete_end(text), held) << testing::PrintToString(text);
  }
}

TEST(OutputBuffer, CutsLongTextsBetweenCharacters) {
  scripted_device device;
  output_buffer buffer(device, buffering::none);
  std::string text = "x";
  for (int i = 0; i < 20000; ++i) {
    text += "\U0001F600";
  }
  std::ostream(&buffer) << text;
  EXPECT_EQ(device.units, fl::i18n::utf8_to_ustring(text));
  EXPECT_LE(device.longest, 8192U);
}

TEST(OutputBuffer, WritesWhenALineEndsToAConsoleAndElseWhenItIsFull) {
  scripted_device device;
  output_buffer buffer(device, buffering::lines);
  std::ostream out(&buffer);
  out << "prompt: " << 1;
  EXPECT_EQ(device.units, u"");
  out << std::flush << "a\nb";
  EXPECT_EQ(device.units, u"prompt: 1a\nb");
  device.what = device_kind::bytes;
  out << "\xe2 a\r\n" << std::string(output_buffer::limit - 6, 'b');
  EXPECT_EQ(device.bytes, "");
  out << 'c' << 'd';
  EXPECT_EQ(device.bytes, "\xe2 a\r\n" + std::string(output_buffer::limit - 6, 'b') + "cd");
  device.what = device_kind::none;
  EXPECT_TRUE(out << std::string(100000, 'x') << std::flush);
  device.what = device_kind::bytes;
  device.bytes.clear();
  EXPECT_TRUE(out << std::flush);
  EXPECT_EQ(device.bytes, "") << "what was written to nobody";
}

TEST(OutputBuffer, KeepsWhatWasRefusedUntilItIsAskedAgain) {
  for (const device_kind kind : {device_kind::bytes, device_kind::console}) {
    for (const buffering how : {buffering::none, buffering::lines}) {
      scripted_device device;
      device.what = kind;
      device.takes = 2;
      output_buffer buffer(device, how);
      std::ostream out(&buffer);
      out << "begin" << std::flush;
      device.refuses = 2;
      device.accepts = 1;
      out << "one\n" << std::flush;
      EXPECT_TRUE(out.bad());
      out << "not accepted";
      out.clear();
      EXPECT_FALSE(out.flush()) << "refused again";
      out.clear();
      EXPECT_TRUE(out << "two\n" << std::flush);
      EXPECT_EQ(device.bytes + fl::i18n::ustring_to_utf8(device.units), "beginone\ntwo\n");
      device.refuses = 1;
      out.exceptions(std::ios_base::badbit);
      EXPECT_ANY_THROW(out << "three\n" << std::flush);
      buffer.finish();
      EXPECT_EQ(device.bytes + fl::i18n::ustring_to_utf8(device.units), "beginone\ntwo\nthree\n");
    }
  }
  scripted_device device;
  output_buffer buffer(device, buffering::none);
  std::ostream out(&buffer);
  device.refuses = 1;
  out << "shown\n";
  device.what = device_kind::bytes;  // The console has gone away meanwhile.
  out.clear();
  out << "\U0001F600";
  EXPECT_EQ(device.bytes, "shown\n\U0001F600");
}

TEST(OutputBuffer, TakesUtf16InOrderWithUtf8) {
  scripted_device device;
  device.what = device_kind::bytes;
  output_buffer bytes(device, buffering::lines);
  utf16_output_buffer units(bytes);
  std::ostream out(&bytes);
  foundation::core::io::uostream uout(boost::shared_ptr<utf16_output_buffer>(boost::shared_ptr<void>(), &units));
  out << 1;
  uout << u" \u20ac " << 2.5 << u'\xD83D';
  uout << u"\xDE00 " << u"\xD800" << u"x" << u'\xDC00' << std::flush;
  EXPECT_EQ(device.bytes, "1 \u20ac 2.5\U0001F600 \uFFFDx\uFFFD");
  device.refuses = 2;
  uout << u"y" << std::flush;
  EXPECT_TRUE(uout.bad());
  uout.clear();
  EXPECT_FALSE(uout.flush());
}

TEST(OutputBuffer, LosesNothingOfWhatSeveralThreadsWrite) {
  scripted_device device;
  device.what = device_kind::bytes;
  output_buffer bytes(device, buffering::lines);
  utf16_output_buffer units(bytes);
  std::vector<std::thread> threads;
  for (int i = 0; i != 4; ++i) {
    threads.emplace_back([&, i] {
      for (int n = 0; n != 2000; ++n) {
        i % 2 == 0 ? bytes.sputn("abc\n", 4) : units.sputn(u"abc\n", 4);
      }
    });
  }
  for (std::thread& each : threads) {
    each.join();
  }
  bytes.pubsync();
  std::string expected;
  for (int n = 0; n != 8000; ++n) {
    expected += "abc\n";
  }
  EXPECT_EQ(device.bytes, expected);
}

}  // namespace
