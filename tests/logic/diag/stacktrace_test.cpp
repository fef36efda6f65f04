// Stacks as values, and their printed forms. What is captured and known of a frame comes from a script.

#include <fl/diag/stacktrace.hpp>

#include "every_test.hpp"
#include "host/diag_platform.hpp"
#include "seeded_random.hpp"

#include <iomanip>
#include <locale>

namespace {

using namespace foundation::core::diag;
using test_support::host_system;
using frames = std::vector<const void*>;

const void* at(unsigned long long address) {
  return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(address));
}

template <std::size_t N>
stacktrace<N> stack_of(const frames& content) {
  host_system().stack = content;
  return stacktrace<N>();
}

frames content_of(const stacktrace_base& stack) {
  return frames(stack.begin(), stack.end());
}

/// The rule of comparison, on plain vectors.
bool same(bool top, std::size_t n, const frames& a, const frames& b) {
  const auto count = static_cast<std::ptrdiff_t>(n);
  if (a.size() < n || b.size() < n) {
    return a == b;
  }
  return top ? std::equal(a.begin(), a.begin() + count, b.begin())
             : std::equal(a.end() - count, a.end(), b.end() - count);
}

TEST(Stacktrace, ComparesAndSwapsAsPlainVectorsDo) {
  test_support::seeded_random random;
  const frames addresses{at(1), at(2)};
  for (int round = 0; round < 3000; ++round) {
    const auto a = random.text<frames>(random.below(8), addresses);
    const auto b = random.text<frames>(random.below(5), addresses);
    auto left = stack_of<7>(a);
    auto right = stack_of<4>(b);
    ASSERT_EQ(content_of(left), a);
    const std::size_t least = std::min(a.size(), b.size());
    EXPECT_EQ(left.compare_top(right), same(true, least, a, b));
    EXPECT_EQ(left.compare_bottom(right), same(false, least, a, b));
    const std::size_t n = random.below(9);
    EXPECT_EQ(left.compare_top_n(n, right), same(true, n, a, b)) << n;
    EXPECT_EQ(left.compare_bottom_n(n, right), same(false, n, a, b)) << n;
    swap(left, right);
    EXPECT_EQ(content_of(left), b);
    EXPECT_EQ(content_of(right), frames(a.begin(), a.begin() + std::min<std::ptrdiff_t>(std::ssize(a), 4)));
  }
}

TEST(Stacktrace, HoldsNoMoreThanItsCapacityAndCopiesWhatItHolds) {
  host_system().stack = {at(1), at(2), at(3), at(4)};
  stacktrace<3> stack(1);
  const stacktrace<3> copy = stack;
  EXPECT_EQ(content_of(copy), (frames{at(2), at(3), at(4)}));
  EXPECT_EQ(frames(copy.rbegin(), copy.rend()), (frames{at(4), at(3), at(2)}));
  stack.capture(9);
  EXPECT_TRUE(stack.empty());
  EXPECT_EQ(stack.max_size(), 3u);
  stack = copy;
  EXPECT_EQ(stack[2], at(4));
  EXPECT_TRUE(stacktrace<3>(0, false).empty());
}

using StacktracePrint = test_support::scripted_test;

struct grouping : std::numpunct<char> {
  std::string do_grouping() const override { return "\1"; }
};

/// What `stack` prints to a stream whose settings would spoil its numbers, which are to be left as they are.
std::string printed(const stacktrace_base& stack, std::ostream& (*form)(std::ostream&), const void* start = nullptr) {
  std::ostringstream os;
  os.imbue(std::locale(os.getloc(), new grouping));
  os << std::showbase << std::uppercase << std::left << std::oct << std::setfill('*');
  const auto flags = os.flags();
  if (form != nullptr) {
    os << numeric << form;
  }
  EXPECT_EQ(&(start != nullptr ? stack.format(os, start) : os << stack), &os);
  EXPECT_EQ(os.flags(), flags);
  EXPECT_EQ(os.fill(), '*');
  return os.str();
}

TEST_F(StacktracePrint, NumericAndRawFormsAreExactAndBeginWhereTheyAreTold) {
  const auto stack = stack_of<4>({at(0x7ff612ab), at(0xABCDEF0123456789), at(0)});
  EXPECT_EQ(printed(stack, numeric),
            "[  0] 0x000000007ff612ab\n"
            "[  1] 0xabcdef0123456789\n"
            "[  2] 0x0000000000000000\n");
  EXPECT_EQ(printed(stack, numeric, at(0xABCDEF0123456789)),
            "[  0] 0xabcdef0123456789\n"
            "[  1] 0x0000000000000000\n");
  EXPECT_EQ(printed(stack, raw), "7ff612ab\nabcdef0123456789\n0\n");
  for (const auto form : {numeric, raw, symbolic}) {
    EXPECT_EQ(printed(stack, form, at(5)), "");
  }
}

TEST_F(StacktracePrint, ContextsAndStacksFollowEachOtherInAStream) {
  std::ostringstream os;
  os << raw << stack_of<2>({at(1)}) << thread_context(false) << "end";
  EXPECT_EQ(os.str(), "1\n(empty)\nend");
}

TEST_F(StacktracePrint, SymbolicFormShowsWhatIsKnownOfEachFrame) {
  static const char relative[] = "bin/planner.exe", none[] = "";
  const std::string long_file = "C:\\" + std::string(57, 'd');
  host_system().describe = [&](const void* frame, frame_description& known) {
    EXPECT_EQ(host_system().lookups, 1);
    if (frame == at(1)) {
      return;
    }
    known.module = at(0x1000);
    std::strcpy(known.file, frame == at(0x2000) ? long_file.c_str() : "C:\\planner.exe");
    known.relative_path = frame == at(0x3000) ? relative : frame == at(0x4000) ? none : nullptr;
    if (frame != at(0x2000)) {
      std::strcpy(known.symbol, "planner::solve");
      known.displacement = 130;
    }
  };
  const auto stack = stack_of<4>({at(1), at(0x2000), at(0x3000), at(0x4000)});
  const std::string expected = "[  0] 0x0000000000000001 " + std::string(34, ' ') + "<unknown-module>+00000000\n" +
                               "[  1] 0x0000000000002000 " + long_file + "+00004096\n" + "[  2] 0x0000000000003000 " +
                               std::string(35, ' ') + "bin/planner.exe+00008192 planner::solve+00000130\n" +
                               "[  3] 0x0000000000004000 " + std::string(36, ' ') +
                               "C:\\planner.exe+00012288 planner::solve+00000130\n";
  EXPECT_EQ(printed(stack, nullptr), expected);
  EXPECT_EQ(printed(stack, symbolic), expected);
  EXPECT_EQ(host_system().lookups, 0);
}

}  // namespace
