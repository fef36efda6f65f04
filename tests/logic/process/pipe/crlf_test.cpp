// The translation of line ends against a slow, obvious reference. Every text lies in a buffer of exactly its length, so
// that the sanitizer sees a step outside.
#include "process/pipe/crlf.hpp"

#include "every_test.hpp"
#include "every_text.hpp"
#include "seeded_random.hpp"

namespace {

using test_support::for_each_text;
using outcome = std::pair<std::string, bool>;  // the text, and whether a carriage return was taken from its end

// Finds each carriage return in turn and moves all that is behind it down if a line feed follows.
outcome reference(std::string text) {
  for (std::size_t at = text.find('\r'); at != std::string::npos; at = text.find('\r', at)) {
    if (at + 1 == text.size()) {
      return {text.substr(0, at), true};
    }
    if (text[at + 1] == '\n') {
      text.erase(at, 1);
    } else {
      ++at;
    }
  }
  return {text, false};
}

outcome translated(const std::string& text) {
  const std::unique_ptr<char[]> buffer(new char[text.size()]);
  text.copy(buffer.get(), text.size());
  const auto result = foundation::core::process::detail::translate_crlf(buffer.get(), text.size());
  return {std::string(buffer.get(), result.length), result.ends_in_carriage_return};
}

TEST(Crlf, AgreesWithTheReferenceOnEveryShortTextAndWhereverALineEndMeetsTheEdgeOfABlock) {
  EXPECT_EQ(translated(""), reference(""));
  for_each_text("a\r\n", 10, [](const std::string& text) { ASSERT_EQ(translated(text), reference(text)); });
  // The line end in front starts the moving of text, which is skipped while nothing has to move.
  for (const std::string start : {"", "\r\n"}) {
    for (std::size_t before = 0; before != 34; ++before) {
      for_each_text("a\r\n", 6, [&](const std::string& middle) {
        const std::string text = start + std::string(before, 'b') + middle + "cdefghijklmnopqrstuvwxyz";
        ASSERT_EQ(translated(text), reference(text));
      });
    }
  }
}

TEST(Crlf, AgreesWithTheReferenceOnLongTextsOfEveryDensity) {
  test_support::seeded_random random;
  const std::string alphabets[] = {"\r\n", "a\r\n", "abcdef\r\n", "\r\r\r\n", std::string(60, 'a') + "\r\n"};
  for (int round = 0; round != 400; ++round) {
    const std::string text = random.text<std::string>(random.below(5000), random.pick(alphabets));
    ASSERT_EQ(translated(text), reference(text));
  }
}

}  // namespace
