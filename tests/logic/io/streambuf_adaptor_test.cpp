// The converting stream buffers, over buffers and converters that do what the test says, and with the real converters.
#include "io/streambuf_adaptor.hpp"

#include <fl/io.hpp>
#include <i18n/encoding.hpp>

#include "any_text.hpp"
#include "every_test.hpp"

#include <boost/smart_ptr/make_shared.hpp>

namespace {

using namespace foundation::core::io;
using namespace std::string_literals;
using fl::ustring;
using fl::i18n::decode;
using fl::i18n::encode;
using test_support::seeded_random;

template <class Unit>
class scripted_buffer : public std::basic_streambuf<Unit> {
 public:
  using text = std::basic_string<Unit>;
  std::vector<text> blocks;            ///< what each read gives; it never gives two at once
  bool shows_block = false;            ///< tells how much a read would give
  text written;                        ///< what was taken
  std::size_t room = std::size_t(-1);  ///< how many more units it takes
  int flushes = 0;

 protected:
  using traits = std::char_traits<Unit>;
  typename traits::int_type underflow() override {
    return blocks.empty() ? traits::eof() : traits::to_int_type(blocks.front().front());
  }
  std::streamsize showmanyc() override {
    return shows_block && !blocks.empty() ? static_cast<std::streamsize>(blocks.front().size()) : 0;
  }
  std::streamsize xsgetn(Unit* to, std::streamsize n) override {
    if (blocks.empty()) {
      return 0;
    }
    text& block = blocks.front();
    const std::size_t taken = block.copy(to, static_cast<std::size_t>(n));
    block.erase(0, taken);
    if (block.empty()) {
      blocks.erase(blocks.begin());
    }
    return static_cast<std::streamsize>(taken);
  }
  std::streamsize xsputn(const Unit* from, std::streamsize n) override {
    const std::size_t taken = std::min(room, static_cast<std::size_t>(n));
    written.append(from, taken);
    room -= taken;
    return static_cast<std::streamsize>(taken);
  }
  int sync() override { return ++flushes; }
};

/// Gives what the test says, whatever goes in; a pass that is called again takes nothing.
template <class Out, class In>
class scripted_converter : public fl::i18n::stream_converter<Out, In> {
 public:
  using pass = std::pair<std::basic_string<Out>, bool>;
  std::vector<pass> passes;  ///< the last one repeats
  mutable std::size_t calls = 0;
  mutable std::vector<std::size_t> areas;  ///< units offered to each call

  std::size_t convert(Out** to, Out* to_end, const In** from, const In* from_end, bool last) const override {
    EXPECT_FALSE(last);
    areas.push_back(static_cast<std::size_t>(to_end - *to));
    const auto& [text, again] = passes[std::min(calls++, passes.size() - 1)];
    *to += text.copy(*to, areas.back());
    if (!again) {
      *from = from_end;
    }
    return again ? 1 : 0;
  }
};

template <class From, class To>
struct rig {
  boost::shared_ptr<scripted_buffer<To>> beneath = boost::make_shared<scripted_buffer<To>>();
  boost::shared_ptr<scripted_converter<To, From>> out = boost::make_shared<scripted_converter<To, From>>();
  boost::shared_ptr<scripted_converter<From, To>> in = boost::make_shared<scripted_converter<From, To>>();
  struct : streambuf_adaptorT<From, To> {
    using streambuf_adaptorT<From, To>::streambuf_adaptorT;
    using streambuf_adaptorT<From, To>::pbackfail;
  } adaptor{beneath, out, in};
};

template <class From, class To>
void check_areas(const std::vector<std::pair<std::streamsize, std::size_t>>& of_writes, std::size_t of_refill) {
  rig<From, To> it;
  it.out->passes = {{{}, false}};
  it.in->passes = {{{1}, false}};
  const std::basic_string<From> text(100, From(1));
  for (const auto& [units, area] : of_writes) {
    EXPECT_EQ(it.adaptor.sputn(text.data(), units), units);
    EXPECT_EQ(it.out->areas.back(), area) << units;
  }
  it.beneath->blocks = {std::basic_string<To>(1025, To(1))};
  EXPECT_EQ(it.adaptor.sbumpc(), 1);
  EXPECT_EQ(it.in->areas.back(), of_refill);
  EXPECT_EQ(it.beneath->blocks.front().size(), 1u) << "1,024 units are read at once";
}

TEST(StreambufAdaptor, OffersTheConverterAreasOfTheirSizes) {
  check_areas<char, char>({{1, 4}, {60, 240}}, 4096);
  check_areas<char, char16_t>({{1, 2}, {60, 120}}, 5120);
  check_areas<char16_t, char>({{1, 25}, {5, 25}, {6, 30}, {60, 300}}, 2048);
}

TEST(StreambufAdaptor, WritesPassByPassAndStopsAtTheFirstPassThatIsNotTakenWhole) {
  const auto write = [](std::size_t room, std::vector<std::pair<std::string, bool>> passes, std::streamsize result,
                        const std::string& written, std::size_t calls) {
    rig<char16_t, char> it;
    it.beneath->room = room;
    it.out->passes = std::move(passes);
    EXPECT_EQ(it.adaptor.sputn(u"xyz", 3), result) << room;
    EXPECT_EQ(it.beneath->written, written) << room;
    EXPECT_EQ(it.out->calls, calls) << room;
  };
  write(9, {{"abc", true}, {"", true}, {"de", false}}, 3, "abcde", 3);
  write(5, {{"abc", true}, {"de", false}}, 3, "abcde", 2);
  write(4, {{"abc", true}, {"de", false}}, 0, "abcd", 2);
  write(2, {{"abc", true}, {"de", false}}, 0, "ab", 1);
  write(0, {{"", false}}, 3, "", 1);

  rig<char16_t, char> it;
  it.out->passes = {{"ab", false}};
  EXPECT_EQ(it.adaptor.sputn(u"", 0), 0);
  EXPECT_EQ(it.out->calls, 0u) << "nothing is nothing to convert";
  it.beneath->room = 3;
  EXPECT_EQ(it.adaptor.sputc(u'x'), u'x');
  EXPECT_EQ(it.adaptor.sputc(u'x'), std::char_traits<char16_t>::eof());
  EXPECT_EQ(it.adaptor.pubsync(), 1);
  EXPECT_EQ(it.beneath->flushes, 1);
}

class backward_converter : public fl::i18n::stream_converter<char16_t, char> {
  std::size_t convert(char16_t** to, char16_t*, const char** from, const char* from_end, bool) const override {
    --*to;
    *from = from_end;
    return 0;
  }
};

TEST(StreambufAdaptor, OneWithAConverterOfTheCallersIsWrittenOnlyAndItsCountIsChecked) {
  const auto beneath = boost::make_shared<scripted_buffer<char16_t>>();
  const auto converter = boost::make_shared<scripted_converter<char16_t, char>>();
  converter->passes = {{u"\u00E9", false}};
  const auto adaptor = test_helper::make_streambuf_adaptor(beneath, converter);
  beneath->blocks = {u"x"};
  EXPECT_EQ(adaptor->sputn("ab", 2), 2);
  EXPECT_EQ(beneath->written, u"\u00E9");
  EXPECT_EQ(adaptor->sgetc(), EOF);
  const auto wrong = test_helper::make_streambuf_adaptor(beneath, boost::make_shared<backward_converter>());
  EXPECT_THROW(wrong->sputn("a", 1), boost::numeric::positive_overflow);
}

TEST(StreambufAdaptor, ARefillIsWhatThePassesGiveUnlessTheLastGivesNothingAndOneStepsBackWithinIt) {
  const int eof = std::char_traits<char>::eof();
  rig<char, char> it;
  EXPECT_EQ(it.adaptor.sungetc(), eof) << "nothing has been read";
  EXPECT_EQ(it.adaptor.sgetc(), eof);
  EXPECT_EQ(it.in->calls, 0u);
  it.beneath->blocks = {"1", "2", "3", "4"};
  it.in->passes = {{"ab", true}, {"c", false}, {"", false}, {"x", true}, {"", false}, {"d", false}};
  char text[4] = {};
  EXPECT_EQ(it.adaptor.sgetn(text, 3), 3);
  EXPECT_EQ(text, "abc"s);
  EXPECT_EQ(it.adaptor.sgetc(), eof) << "2 gave nothing";
  EXPECT_EQ(it.adaptor.sungetc(), 'c') << "which left the text before it";
  EXPECT_EQ(it.adaptor.sputbackc('z'), 'z') << "it may be another unit than was there";
  EXPECT_EQ(it.adaptor.sungetc(), 'a');
  EXPECT_EQ(it.adaptor.sungetc(), eof);
  EXPECT_EQ(it.adaptor.sgetn(text, 3), 3);
  EXPECT_EQ(text, "azc"s);
  EXPECT_EQ(it.adaptor.sgetc(), eof) << "the last pass of 3 gave nothing";
  EXPECT_EQ(it.adaptor.sungetc(), eof) << "the text before it has made room";
  EXPECT_EQ(it.adaptor.sgetc(), 'd') << "nothing of 3 is left";
  EXPECT_EQ(it.adaptor.sputbackc('c'), eof);
  EXPECT_EQ(it.adaptor.sbumpc(), 'd');
  EXPECT_EQ(it.adaptor.pbackfail(eof), eof);
  EXPECT_EQ(it.adaptor.sgetc(), 'd') << "the position has moved";
  it.beneath->blocks = {std::string(1025, '5')};
  it.in->passes = {{"", false}};
  it.adaptor.sbumpc();
  EXPECT_EQ(it.adaptor.sgetc(), eof) << "a whole block that gives nothing";
  it.beneath->shows_block = true;
  it.beneath->blocks = {std::string(1023, '5'), std::string(1025, '6')};
  it.in->calls = 0;
  it.in->passes = {{"", false}, {"a", false}};
  EXPECT_EQ(it.adaptor.sgetc(), 'a') << "all but one of a block, and then that one";
  EXPECT_EQ(it.beneath->blocks.front().size(), 1024u);
}

TEST(StreambufAdaptor, WaitsForNoMoreThanOneCharacter) {
  const auto pipe = boost::make_shared<scripted_buffer<char>>();
  pipe->shows_block = true;
  pipe->blocks = {"\xEF\xBB\xBF", "a\n", "\xC3", "\xA9", "b", "\xC3"};
  uistream in(make_ustreambuf_adaptor(pipe, "UTF-8-BOM"));
  ustring line;
  EXPECT_TRUE(std::getline(in, line));
  EXPECT_EQ(line, u"a");
  EXPECT_EQ(pipe->blocks.size(), 4u) << "the line can be answered";
  EXPECT_EQ(in.get(), u'\u00E9') << "half a character is not the end";
  EXPECT_EQ(pipe->blocks.size(), 2u);
  EXPECT_EQ(in.get(), u'b');
  EXPECT_EQ(in.get(), std::char_traits<char16_t>::eof()) << "half a character at the end of everything is dropped";
}

TEST(StreambufAdaptor, TakesNoMarkForTheStartOfATextBehindUnitsThatWereReadAgain) {
  const std::string as(1200, 'a'), mark = "\xEF\xBB\xBF";
  const auto bytes = boost::make_shared<std::stringbuf>(mark + as + mark + as);
  uistream in(make_ustreambuf_adaptor(bytes, "UTF-8-BOM"));
  ustring text(2401, u'?');
  in.read(&text[0], 600).read(&text[600], 600).unget().unget();
  in.read(&text[1198], 1203);
  EXPECT_EQ(text, ustring(1200, u'a') + u'\uFEFF' + ustring(1200, u'a'));
}

struct throwing_buffer : std::basic_streambuf<char16_t> {
  std::streamsize xsputn(const char16_t*, std::streamsize) override { throw std::bad_alloc(); }
  int_type overflow(int_type) override { throw std::bad_alloc(); }
  int sync() override { throw std::bad_alloc(); }
};

TEST(StreambufAggregator, GivesAllToEachTargetAndFailsIfOneDoes) {
  const auto first = boost::make_shared<scripted_buffer<char16_t>>();
  const auto second = boost::make_shared<std::basic_stringbuf<char16_t>>();
  std::vector<boost::shared_ptr<std::basic_streambuf<char16_t>>> targets = {first, second};
  const auto both = make_ustreambuf_aggregator(targets);
  targets.clear();
  first->room = 2;
  const auto eof = std::char_traits<char16_t>::eof();
  EXPECT_EQ(both->sputc(u'a'), eof) << "a buffer without `overflow`";
  EXPECT_EQ(both->sputn(u"bc", 2), 2);
  EXPECT_EQ(both->sputn(u"de", 2), 0);
  EXPECT_EQ(both->pubsync(), -1);
  EXPECT_EQ(first->written, u"bc");
  EXPECT_EQ(second->str(), u"abcde");
  EXPECT_EQ(both->sgetc(), eof);
  const auto bytes = make_streambuf_adaptor(both, "UTF-8");
  for (const std::string piece : {" ", "lo", "g! ", "entry"}) {
    EXPECT_EQ(bytes->sputn(piece.data(), static_cast<std::streamsize>(piece.size())), 0);
  }
  EXPECT_EQ(bytes->sputc('!'), EOF);
  EXPECT_EQ(second->str(), u"abcde log! entry!") << "nothing is offered twice";
  const auto last = boost::make_shared<scripted_buffer<char16_t>>();
  const auto behind_one_that_throws = make_ustreambuf_aggregator({boost::make_shared<throwing_buffer>(), last});
  EXPECT_THROW(behind_one_that_throws->sputn(u"ab", 2), std::bad_alloc);
  EXPECT_THROW(behind_one_that_throws->sputc(u'c'), std::bad_alloc);
  EXPECT_THROW(behind_one_that_throws->pubsync(), std::bad_alloc);
  EXPECT_EQ(last->written, u"ab");
  EXPECT_EQ(last->flushes, 1);
  const auto none = make_ustreambuf_aggregator({});
  EXPECT_EQ(none->sputn(u"ab", 2), 2);
  EXPECT_EQ(none->sputc(u'a'), u'a');
  EXPECT_EQ(none->pubsync(), 0);
}

constexpr std::size_t sizes[] = {1, 2, 3, 80, 1030, 5000};

template <class Unit>
void write(std::basic_streambuf<Unit>& buffer, const std::basic_string<Unit>& text, seeded_random& random) {
  for (std::size_t at = 0; at != text.size();) {
    const std::size_t count = random.between(1, std::min(text.size() - at, random.pick(sizes)));
    if (count == 1) {  // a way of its own
      ASSERT_EQ(buffer.sputc(text[at]), std::char_traits<Unit>::to_int_type(text[at]));
    } else {
      ASSERT_EQ(buffer.sputn(&text[at], static_cast<std::streamsize>(count)), static_cast<std::streamsize>(count));
    }
    at += count;
  }
}

template <class Unit>
std::basic_string<Unit> all_of(std::basic_streambuf<Unit>& buffer, seeded_random& random) {
  constexpr std::streamsize lengths[] = {1, 7, 600, 3000};
  std::basic_string<Unit> result;
  Unit area[3000];
  while (const std::streamsize got = buffer.sgetn(area, random.pick(lengths))) {
    result.append(area, static_cast<std::size_t>(got));
    std::size_t back = 0;  // As far as it goes, and at least by one.
    for (auto unit = std::char_traits<Unit>::eof(); back != result.size(); ++back) {
      if ((unit = buffer.sungetc()) == std::char_traits<Unit>::eof()) {
        break;
      }
      EXPECT_EQ(unit, std::char_traits<Unit>::to_int_type(result.rbegin()[static_cast<std::ptrdiff_t>(back)]));
    }
    EXPECT_GE(back, 1u);
    result.resize(result.size() - back);  // To be read once more.
    for (; back != 0; --back) {
      result += std::char_traits<Unit>::to_char_type(buffer.sbumpc());
    }
  }
  return result;
}

/// Made from a class whose areas are known, but takes a block at a time, or none.
class own_blocks : public std::stringbuf {
 public:
  using std::stringbuf::stringbuf;
  bool refuses = true;
  int reads = 0;

 protected:
  std::streamsize xsputn(const char* from, std::streamsize n) override {
    return refuses ? 0 : std::stringbuf::xsputn(from, n);
  }
  std::streamsize xsgetn(char* to, std::streamsize) override { return ++reads, std::stringbuf::xsgetn(to, 1); }
};

TEST(Adaptor, LeavesEachBlockToABufferThatMayWantToSeeIt) {
  const auto beneath = boost::make_shared<own_blocks>("\u00e9" + std::string(2000, 'a'));
  const auto adaptor = make_ustreambuf_adaptor(beneath, "UTF-8");
  for (const ustring& text : {u"a"s, u"\u00e9"s, u"more than a few"s}) {
    EXPECT_EQ(adaptor->sputn(text.data(), static_cast<std::streamsize>(text.size())), 0);
    EXPECT_EQ(adaptor->sputc(text[0]), std::char_traits<char16_t>::eof());
  }
  EXPECT_EQ(adaptor->sgetc(), std::char_traits<char16_t>::eof()) << "half a character was all there was";
  EXPECT_EQ(adaptor->sbumpc(), u'\u00e9');
  char16_t area[1000];
  EXPECT_EQ(adaptor->sgetn(area, 1000), 1000);
  EXPECT_EQ(beneath->reads, 1002) << "nothing of it was taken behind its back";
}

TEST(Adaptor, WritesWhatEncodeGivesAndReadsWhatDecodeGivesHoweverTheTextIsCut) {
  const auto first = boost::make_shared<std::stringbuf>();
  const auto unit_by_unit = make_ustreambuf_adaptor(first, "UTF-8");
  EXPECT_TRUE(unit_by_unit->sputc(u'a') == u'a' && unit_by_unit->sputc(u'\u0080') == u'\u0080');
  EXPECT_EQ(first->str(), "a\xC2\x80") << "the first that is not ASCII";
  first->str(std::string(500, 'a') + std::string(500, 'b'));
  ustring block(1000, u'\0');
  ASSERT_EQ(unit_by_unit->sgetn(block.data(), 1000), 1000);
  for (; !block.empty(); block.pop_back()) {
    ASSERT_EQ(unit_by_unit->sungetc(), block.back()) << block.size() << ": within what was read at once";
  }
  constexpr const char* encodings[] = {"UTF-8", "UTF-16", "UTF-32BE", "US-ASCII", "Shift_JIS", "GB18030"};
  seeded_random random;
  for (int i = 0; i != 1000; ++i) {
    const char* const encoding = random.pick(encodings);
    const ustring text = decode(encode(test_support::any_text(random) + u'x', encoding), encoding);
    ASSERT_TRUE(text.ends_with(u'x'));
    const std::string bytes = encode(text, encoding), utf8 = encode(text, "UTF-8");
    const auto file = boost::make_shared<std::stringbuf>();
    write(*make_ustreambuf_adaptor(file, encoding), text, random);
    ASSERT_EQ(file->str(), bytes) << encoding;
    file->str("");
    write(*make_utf8streambuf_adaptor(file, encoding), utf8, random);
    ASSERT_EQ(file->str(), bytes) << encoding;
    const auto units = boost::make_shared<std::basic_stringbuf<char16_t>>();
    const auto of_units = make_streambuf_adaptor(units, "UTF-8");
    write(*of_units, utf8, random);
    ASSERT_EQ(units->str(), text) << encoding;
    ASSERT_EQ(all_of(*of_units, random), utf8) << encoding;
    ASSERT_EQ(all_of(*make_ustreambuf_adaptor(file, encoding), random), text) << encoding;
    file->str(bytes);
    ASSERT_EQ(all_of(*make_utf8streambuf_adaptor(file, encoding), random), utf8) << encoding;
    const auto source = boost::make_shared<scripted_buffer<char>>();
    source->shows_block = random.chance(80);
    for (std::size_t at = 0; at < bytes.size(); at += source->blocks.back().size()) {
      source->blocks.push_back(
          bytes.substr(at, source->shows_block ? random.between(1, random.pick(sizes)) : bytes.size()));
    }
    const auto other = boost::make_shared<scripted_buffer<char>>(*source);
    ASSERT_EQ(all_of(*make_ustreambuf_adaptor(source, encoding), random), text) << encoding;
    ASSERT_EQ(all_of(*make_utf8streambuf_adaptor(other, encoding), random), utf8) << encoding;
  }
}

}  // namespace
