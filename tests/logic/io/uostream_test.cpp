// The UTF-16 streams over buffers and strings.
#include <fl/io.hpp>

#include "every_test.hpp"

#include <boost/smart_ptr/make_shared.hpp>

#include <iomanip>

namespace {

using namespace foundation::core::io;
using fl::ustring;
using stringbuf = std::basic_stringbuf<char16_t>;

static_assert(std::has_virtual_destructor_v<uostream> && std::has_virtual_destructor_v<uistream>);
static_assert(!std::is_move_constructible_v<uostream> && !std::is_move_constructible_v<uistream>);

TEST(Uostream, SharesItsBufferAndClearsTheStateOnlyForAnother) {
  const auto first = boost::make_shared<stringbuf>();
  const auto second = boost::make_shared<stringbuf>();
  uostream out(first);
  EXPECT_EQ(first.use_count(), 2);
  out << u"n = " << 42 << ' ' << 0.5 << std::boolalpha << u' ' << true;
  EXPECT_EQ(first->str(), u"n = 42 0.5 true");
  out.setstate(std::ios_base::failbit);
  out.setbuf(first);
  EXPECT_TRUE(out.fail());
  out.setbuf(second);
  EXPECT_TRUE(out.good());
  EXPECT_EQ(out.getbuf(), second);
  EXPECT_EQ(out.rdbuf(), second.get());
  EXPECT_EQ(first.use_count(), 1);
  out.setbuf(nullptr);
  EXPECT_TRUE(out.bad());
  EXPECT_TRUE(uistream(nullptr).bad());
}

TEST(Uostream, AMoveExchangesTheStateAndTakesTheShareButLeavesRdbufToTheCaller) {
  const auto first = boost::make_shared<stringbuf>();
  const auto second = boost::make_shared<stringbuf>();
  uostream target(first);
  uostream source(second);
  source.setstate(std::ios_base::failbit);
  source.width(7);
  target = std::move(source);
  EXPECT_TRUE(target.fail() && source.good());
  EXPECT_EQ(target.width(), 7);
  EXPECT_EQ(target.getbuf(), second);
  EXPECT_EQ(source.getbuf(), nullptr);
  EXPECT_EQ(target.rdbuf(), first.get());
  EXPECT_EQ(source.rdbuf(), second.get());
  EXPECT_EQ(first.use_count(), 1) << "its share is given up";

  uistream reader(first);
  uistream other(second);
  other.setstate(std::ios_base::failbit);
  reader = std::move(other);
  EXPECT_TRUE(reader.fail() && other.good());
  EXPECT_EQ(first.use_count(), 1);
  EXPECT_EQ(second.use_count(), 3);
  EXPECT_EQ(reader.rdbuf(), first.get());
}

TEST(StringStreams, AddTheirModeAndKeepItWhenTheTextIsReplaced) {
  const std::pair<int, const char16_t*> cases[] = {
      {0, u"xbc"}, {std::ios_base::app, u"abcx"}, {std::ios_base::ate, u"abcx"}, {std::ios_base::in, u"xbc"}};
  for (const auto& [mode, after_one] : cases) {
    uostringstream out(ustring(u"abc"), mode);
    for (int i = 0; i != 2; ++i) {
      out << u'x';
      EXPECT_EQ(out.str(), after_one) << mode;
      out.str(u"abc");
    }
  }
  uostringstream appending(std::ios_base::app);
  appending << 1 << 2;
  EXPECT_EQ(appending.str(), u"12");

  uistringstream in(ustring(u"12 abc 0.5"), 0);
  int number = 0;
  ustring word;
  double fraction = 0;
  EXPECT_TRUE(in >> number >> word >> fraction);
  EXPECT_TRUE(number == 12 && word == u"abc" && fraction == 0.5);
  EXPECT_FALSE(in >> word);
  in.str(u"7");
  in.clear();
  EXPECT_TRUE(in >> number);
  EXPECT_EQ(in.str(), u"7");
  EXPECT_EQ(uistringstream().get(), std::char_traits<char16_t>::eof());
  EXPECT_EQ(uistringstream(std::ios_base::out).rdbuf()->sputc(u'x'), u'x');
}

TEST(StringStreams, AMoveTakesTextAndPositionAndMakesTheStreamUsableAtOnce) {
  const ustring text = u"a text that is longer than any short one";
  uostringstream source;
  source << text;
  uostringstream made(std::move(source));
  EXPECT_TRUE(source.str().empty() && source.getbuf() == nullptr);
  made << u'!';
  uostringstream target(ustring(u"former"));
  target.setstate(std::ios_base::badbit);
  target = std::move(made);
  EXPECT_TRUE(target.good());
  target << u'!';
  uostringstream& same = target;
  target.setstate(std::ios_base::failbit);
  target = std::move(same);
  EXPECT_EQ(target.str(), text + u"!!");
  EXPECT_TRUE(target.fail()) << "nothing is done";
  made = uostringstream(ustring(u"new"));
  made << u'N';
  EXPECT_EQ(made.str(), u"New") << "one that was moved from can be assigned to";

  uistringstream in(ustring(u"1 2 3"));
  int number = 0;
  in >> number;
  uistringstream rest(std::move(in));
  rest >> number;
  uistringstream last;
  last.setstate(std::ios_base::failbit);
  last = std::move(rest);
  EXPECT_TRUE(last >> number);
  EXPECT_EQ(number, 3);
  EXPECT_EQ(rest.str(), u"");
}

TEST(UstringOutput, IsUtf8WithWidthAndFill) {
  const ustring text = u"\u00E9";
  std::ostringstream out;
  out << text << u"\U0001F600" << std::setw(5) << ustring(u"abc") << std::setw(5) << std::setfill('.') << std::left
      << u"ab" << u"";
  EXPECT_EQ(out.str(), "\xC3\xA9\xF0\x9F\x98\x80  abcab...");
}

}  // namespace
