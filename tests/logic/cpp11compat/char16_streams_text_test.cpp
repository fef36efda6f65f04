// Text on `char16_t` streams, against the streams of `char` that do the same.
#include <i18n/facet.hpp>

#include "every_test.hpp"
#include "seeded_random.hpp"

namespace {

using test_support::seeded_random;

const std::locale& locale = fl::i18n::facet::get_global_std_locale();

/// Text that comes in pieces of some size, or unit by unit without ever being ready, and perhaps with a failure at its
/// end.
template <class Unit>
class pieces : public std::basic_streambuf<Unit> {
 public:
  /// `size` 0: unit by unit.
  pieces(const std::string& text, std::size_t size, bool fails)
      : text_(text.begin(), text.end()), size_(size), fails_(fails) {}

 protected:
  using traits = std::char_traits<Unit>;
  typename traits::int_type underflow() override {
    if (place_ == text_.size()) {
      return fails_ ? throw std::runtime_error("no more") : traits::eof();
    }
    const std::size_t size = std::min(size_, text_.size() - place_);
    this->setg(&text_[place_], &text_[place_], &text_[place_] + size);
    place_ += size;
    return traits::to_int_type(text_[place_ - size]);
  }
  typename traits::int_type uflow() override {
    return size_ != 0 || place_ == text_.size() ? std::basic_streambuf<Unit>::uflow()
                                                : traits::to_int_type(text_[place_++]);
  }

 private:
  std::basic_string<Unit> text_;
  std::size_t place_ = 0, size_;
  bool fails_;
};

TEST(Char16Input, OfWordsAndLinesIsThatOfCharStreamsAlsoWhenTheBufferThrows) {
  seeded_random random;
  for (int i = 0; i != 5000; ++i) {
    static constexpr const char* letters[] = {"abcdefghi \n", "aaaaaaaaaaaaaa\t;",
                                              "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa;"};
    const auto text = random.text<std::string>(random.below(200), letters[random.below(3)]);
    const std::size_t size = random.chance(20) ? 0 : random.between(1, 100);
    const bool fails = random.chance(30);
    pieces<char16_t> buffer(text, size, fails);
    pieces<char> oracle_buffer(text, size, fails);
    std::basic_istream<char16_t> in(&buffer);
    in.imbue(locale);
    std::istream oracle(&oracle_buffer);
    std::u16string got = u"old";
    std::string wanted = "old";
    in.exceptions(random.chance(50) ? std::ios_base::badbit : std::ios_base::goodbit);
    oracle.exceptions(in.exceptions());
    const auto throws = [](const auto& read) {
      try {
        read();
        return false;
      } catch (const std::runtime_error&) {
        return true;
      }
    };
    while (oracle.good() || random.chance(50)) {
      const char delimiter = random.chance(50) ? '\n' : ';';
      const bool reads_line = random.chance(50);
      // The oracle looks for another unit even when the width is reached, and may fail there.
      oracle.width(reads_line || fails || random.chance(50) ? 0 : static_cast<int>(random.below(20)));
      in.width(oracle.width());
      const bool threw = throws([&] { reads_line ? std::getline(in, got, char16_t(delimiter)) : in >> got; });
      ASSERT_EQ(threw, throws([&] { reads_line ? std::getline(oracle, wanted, delimiter) : oracle >> wanted; }));
      ASSERT_EQ(got, std::u16string(wanted.begin(), wanted.end())) << text;
      ASSERT_EQ(in.rdstate(), oracle.rdstate()) << text;
      ASSERT_EQ(in.width(), oracle.width());
    }
  }
}

/// Keeps a record of what it is asked.
template <class Unit>
struct recording_buffer : std::basic_streambuf<Unit> {
  using traits = std::char_traits<Unit>;
  std::string record;
  std::streamsize room = 99;  ///< how many more units it takes; below 0 it throws

  std::streamsize xsputn(const Unit* units, std::streamsize n) override {
    if (room < 0) {
      throw std::runtime_error("no");
    }
    const std::streamsize taken = std::min(n, room);
    record.append(units, units + taken);
    room -= taken;
    return taken;
  }
  typename traits::int_type overflow(typename traits::int_type c) override {
    const Unit unit = traits::to_char_type(c);
    return xsputn(&unit, 1) == 1 ? c : traits::eof();
  }
  int sync() override { return record += '|', 0; }
};

template <class Unit>
std::string record_of_output(unsigned ways) {
  recording_buffer<Unit> buffer;
  std::basic_ostream<Unit> out(&buffer);
  std::basic_ostream<Unit> tied(&buffer);
  out.imbue(locale);
  out.tie((ways & 1) != 0 ? &tied : nullptr);
  out.setf((ways & 2) != 0 ? std::ios_base::unitbuf : std::ios_base::fmtflags());
  out.setstate((ways & 4) != 0 ? std::ios_base::failbit : std::ios_base::goodbit);
  out.exceptions((ways & 8) != 0 ? std::ios_base::badbit : std::ios_base::goodbit);
  buffer.room = (ways & 16) != 0 ? 3 : (ways & 32) != 0 ? -1 : 99;
  const std::basic_string<Unit> text = {'a', 'b', 'c', 'd'};
  const std::function<void()> writes[] = {[&] { out << text; }, [&] { out << text.c_str(); }, [&] { out << text[0]; }};
  for (const auto& write : writes) {
    out.width((ways & 64) != 0 ? 6 : 0);
    try {
      write();
    } catch (const std::exception& e) {
      buffer.record += e.what();
    }
    buffer.record += std::to_string(out.rdstate()) + std::to_string(out.width()) + ' ';
  }
  return buffer.record;
}

TEST(Char16Output, OfTextIsThatOfCharStreamsWhateverTheyAreToldAndTheBufferDoes) {
  for (unsigned ways = 0; ways != 128; ++ways) {
    EXPECT_EQ(record_of_output<char16_t>(ways), record_of_output<char>(ways)) << ways;
  }
}

TEST(Char16Streams, KeepTheUnitThatIsNoCharacterWhereverTheBufferIsFullOrEmpty) {
  const std::u16string text(600, u'\uFFFF');
  std::basic_ostringstream<char16_t> out;
  out << text[0] << text;
  EXPECT_TRUE(out.str() == text[0] + text);
  std::basic_stringstream<char16_t> both;
  for (const char16_t unit : {u'a', u'\uFFFF', u'\uFFFD'}) {
    char16_t got = 0;
    EXPECT_TRUE((both << unit) && both.read(&got, 1) && got == unit);
  }
}

TEST(Char16Classes, AreThoseOfTheCLocaleAndTheBreakingSpaces) {
  const auto& wide = std::use_facet<std::ctype<char16_t>>(locale);
  const auto& narrow = std::use_facet<std::ctype<char>>(std::locale::classic());
  std::u16string spaces;
  for (int code = 0; code != 0x10000; ++code) {
    const auto unit = static_cast<char16_t>(code);
    const auto byte = static_cast<char>(code);
    const bool is_ascii = code < 0x80;
    std::ctype_base::mask classes;
    wide.is(&unit, &unit + 1, &classes);
    if (is_ascii) {
      EXPECT_EQ(classes, narrow.table()[code]) << code;
    } else if (classes == std::ctype_base::space) {
      spaces.push_back(unit);
    } else {
      EXPECT_EQ(classes, 0) << code;
    }
    EXPECT_EQ(wide.toupper(unit), is_ascii ? static_cast<char16_t>(narrow.toupper(byte)) : unit);
    EXPECT_EQ(wide.tolower(unit), is_ascii ? static_cast<char16_t>(narrow.tolower(byte)) : unit);
    EXPECT_EQ(wide.narrow(unit, '?'), is_ascii ? byte : '?');
    EXPECT_EQ(wide.widen(byte), code & 0xFF);
  }
  std::u16string text = u"aZ \u00E9";
  char bytes[4];
  char16_t* const begin = text.data();
  char16_t* const end = begin + text.size();
  EXPECT_EQ(wide.scan_not(std::ctype_base::alpha, begin, end), begin + 2);
  EXPECT_EQ(wide.toupper(begin, end), end);
  EXPECT_EQ(text, u"AZ \u00E9");
  EXPECT_EQ(wide.tolower(begin, end), end);
  EXPECT_EQ(text, u"az \u00E9");
  EXPECT_EQ(wide.narrow(begin, end, '?', bytes), end);
  EXPECT_EQ(std::string(bytes, 4), "az ?");
  EXPECT_EQ(spaces, u"\x85\x1680\x2000\x2001\x2002\x2003\x2004\x2005\x2006\x2008\x2009\x200A\x2028\x2029\x205F\x3000");
}

}  // namespace
