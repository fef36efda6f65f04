#include <i18n/encoding.hpp>

#include "every_test.hpp"
#include "seeded_random.hpp"

#include <kit/recode.hpp>

namespace {

using namespace foundation::kit;

TEST(Recode, GivesWhatTheWholeTextGives) {
  test_support::seeded_random random;
  const std::vector<std::string> pieces = {"a",    "\r\n",    "\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x98\x80",
                                           "\xff", "\xe2\x82"};
  for (const std::string to : {"UTF-8", "UTF-16", "UTF-16BE", "ISO-8859-1"}) {
    for (const unsigned length : {0u, 1u, 65536u, 200000u}) {
      std::string text;
      while (text.size() < length) {
        text += random.pick(pieces);
      }
      std::istringstream in(text);
      std::ostringstream out;
      std::vector<std::uint64_t> told;
      recode(in, "UTF-8", out, to, lossy::replace, [&](std::uint64_t bytes) { told.push_back(bytes); });
      EXPECT_TRUE(out.str() == fl::i18n::encode(fl::i18n::decode(text, "UTF-8"), to)) << to << " " << length;
      EXPECT_EQ(told.back(), text.size());
      EXPECT_EQ(told.front(), std::min<std::size_t>(text.size(), 65536));
    }
  }
}

std::string failure(const std::string& text, const std::string& to, std::ostream& out, std::istream* in = nullptr) {
  std::istringstream given(text);
  try {
    recode(in != nullptr ? *in : given, "UTF-8", out, to, lossy::refuse);
    return "none";
  } catch (const missing_character& error) {
    return "missing at " + std::to_string(error.position()) + ": " + error.what();
  } catch (const fl::i18n::conversion_error& error) {
    return "ill-formed at " + std::to_string(error.position());
  } catch (const std::ios_base::failure& error) {
    return std::string(error.what()).substr(0, std::strlen("the output cannot be written"));
  }
}

TEST(Recode, RefusesWhatWouldBeLostIfAskedTo) {
  std::ostringstream out;
  EXPECT_EQ(failure("ab\xc3\xa4", "ISO-8859-1", out), "none");
  EXPECT_EQ(out.str(), "ab\xe4");
  EXPECT_EQ(failure(std::string(70000, 'a') + "\xff", "UTF-16", out), "ill-formed at 70000");
  EXPECT_EQ(failure("ab\xe2\x82", "UTF-16", out), "ill-formed at 2") << "at the end";
  EXPECT_THAT(failure(std::string(70000, 'a') + "\u20ac", "ISO-8859-1", out),
              testing::StartsWith("missing at 70000: U+20AC "));
  std::istringstream in;
  EXPECT_THROW(recode(in, "none such", out, "UTF-8"), fl::i18n::unknown_encoding);
}

struct failing_buffer : std::streambuf {
  int_type underflow() override { throw std::runtime_error("no more"); }
};

TEST(Recode, TellsOfAStreamThatFails) {
  std::ostringstream out;
  failing_buffer nothing;
  std::istream bad(&nothing), failed(&nothing);
  EXPECT_THAT(failure("", "UTF-8", out, &bad), testing::StartsWith("the input cannot be read"));
  failed.setstate(std::ios_base::failbit);
  EXPECT_THAT(failure("", "UTF-8", out, &failed), testing::StartsWith("the input cannot be read"));
  std::ostream refusing(&nothing);
  EXPECT_EQ(failure("text", "UTF-8", refusing), "the output cannot be written");
}

}  // namespace
