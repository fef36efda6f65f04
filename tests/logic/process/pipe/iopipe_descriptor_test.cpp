// The text form in which a pipe crosses a process boundary. No pipe is made here: descriptors own nothing.
#include <fl/process/iopipe_descriptor.hpp>

#include "every_test.hpp"

#include <boost/numeric/conversion/cast.hpp>

#include <locale>

namespace {

using foundation::core::process::iopipe_descriptor;

// The receiving process may have another locale.
TEST(IopipeDescriptor, IsSixNumbersInAnyLocaleAndTakesZeroForWhatIsMalformedBehindTheFirstHandle) {
  struct grouping : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale former = std::locale::global(std::locale(std::locale::classic(), new grouping));
  const std::pair<std::string, std::string> cases[] = {
      {iopipe_descriptor(), "0 0 0 0 0 0"},
      {"1234567 0 1 1 13 1", "1234567 0 1 1 13 1"},
      {"0 18446744073709551615 0 1 -128 0", "0 18446744073709551615 0 1 -128 0"},
      {"12 99999999999999999999999 1 1 65 1", "12 0 0 0 0 0"},
      {"1 2 1 1 x 1", "1 2 1 1 0 0"},
      {"1 2 7 1 65 1", "1 2 1 0 0 0"},
      {"  1\t2\n1  0 7 1 and more", "1 2 1 0 7 1"},
  };
  for (const auto& [text, parsed] : cases) {
    EXPECT_EQ(static_cast<std::string>(iopipe_descriptor(text)), parsed) << text;
  }
  std::locale::global(former);
  for (const char* const text : {"", "abc 1 0 0 0 0", "1", "99999999999999999999999 1"}) {
    EXPECT_THAT([&] { iopipe_descriptor{text}; },
                testing::ThrowsMessage<std::runtime_error>("parse_file_handle: bad stream"))
        << text;
  }
  EXPECT_THROW(iopipe_descriptor("1 2 0 1 128 0"), boost::numeric::positive_overflow);
}

}  // namespace
