#include <fl/process/context.hpp>
#include <fl/process/iopipe.hpp>
#include <safe_env/environment.hpp>

#include "every_test.hpp"
#include "host/pipe_calls.hpp"
#include "process/values/environment_entries.hpp"
#include "seeded_random.hpp"

#include <boost/optional/optional_io.hpp>

namespace {

using namespace foundation::core::process;
using flag = boost::optional<bool>;

void* handle(std::uintptr_t value) {
  return reinterpret_cast<void*>(value);
}

template <class T>
std::string printed(const T& value) {
  std::ostringstream stream;
  stream << value;
  return stream.str();
}

context empty_context() {
  context result;
  result.environment().clear();
  return result;
}

context full_context(iopipe& pipe) {
  context full = empty_context();
  full.environment() = {{"K", "V"}, {"a b", ""}, {"K2", "V,2"}};
  full.std_in(pipe_from(pipe)).std_out(append_to_file("out \"file")).std_err(merge_with_stdout());
  full.directory(u"C:\\\u00e4").user(u"m\u00e4", u"secret").inherited_handles() = {handle(0x30), handle(0x10)};
  full.inherit_pipe(pipe, open_mode::read);
  full.detached_process(true);
  full.explicitlyInheritHandles(false);
  full.create_no_window(flag(true));
  full.hide_windows(false);
  full.elevated(true);
  return full;
}

TEST(EnvironmentEntries, AreSplitAtTheFirstSignAndFillANewContext) {
  const std::vector<std::string> entries = {"Path=a",    "PATH=b", "noSign", "NOSIGN=x",          "=C:=C:\\x",
                                            "=D:=D:\\y", "e=",     "x=1=2",  "p\xc3\xa4=\xc3\xb6"};
  const environment_map expected = {{"Path", "a"}, {"noSign", ""}, {"", "C:=C:\\x"},
                                    {"e", ""},     {"x", "1=2"},   {"p\xc3\xa4", "\xc3\xb6"}};
  EXPECT_EQ(environment_from_entries(entries), expected);
  EXPECT_EQ(context().environment(), environment_from_entries(safe_env::get_environment_copy()));
  EXPECT_FALSE(context().environment().empty());
}

TEST(Context, PrintsItsFieldsInOrder) {
  const test_support::pipe_script system;
  iopipe pipe(iopipe_descriptor("16 0 0 0 0 0"));
  EXPECT_EQ(printed(empty_context()),
            "context { environment : {  }, std_in : inherit_from_parent, std_out : inherit_from_parent, "
            "std_err : inherit_from_parent, directory : unspecified, user : unspecified, inherited_handles : {  }, "
            "detached_process : --, explicitly inherit handles : --, create_no_window : --, hide_windows : --, "
            "elevated : Unset }");
  EXPECT_EQ(printed(full_context(pipe)),
            "context { environment : { a b : , K : V, K2 : V,2 }, std_in : pipe_from pipe { source : 0x10, sink : 0 }, "
            "std_out : append_to_file \"out \"file\", std_err : merge_with_stdout, directory : \"C:\\\xc3\xa4\", "
            "user : (m\xc3\xa4 <credentials>), inherited_handles : { 0x10, 0x30 }, detached_process :  1, "
            "explicitly inherit handles :  0, create_no_window :  1, hide_windows :  0, elevated : 1 }");
  EXPECT_EQ(printed(std_out_type(discard())), "discard");
  EXPECT_EQ(printed(std_err_type(overwrite_file(u"\u00e4"))), "overwrite_file \"\xc3\xa4\"");
  EXPECT_EQ(printed(std_out_type(pipe_to(pipe))), "pipe_to " + printed(pipe.device()));
  EXPECT_EQ(printed(std_in_type(read_from_file("in"))), "read_from_file \"in\"");
}

// One field of the order: changes to a context that make it ascend.
using field = std::vector<std::function<void(context&)>>;

template <class Value>
field ascending(void (*set)(context&, const Value&), const std::vector<Value>& values) {
  field result;
  for (const Value& value : values) {
    result.push_back([=](context& c) { set(c, value); });
  }
  return result;
}

// The fields as they decide, the first first.
std::vector<field> fields_in_order(iopipe& lesser, iopipe& greater) {
  using text = boost::optional<std::string>;
  using user = boost::optional<context::User>;
  void *const one = handle(1), *const two = handle(2), *const last = handle(UINTPTR_MAX);
  const std::vector<flag> flags = {boost::none, false, true};
  const std::vector<environment_map> environments = {
      {}, {{"", ""}}, {{"PATH", "a"}}, {{"Path", "a"}}, {{"Path", "a"}, {"z", ""}}, {{"Path", "b"}}, {{"path", "A"}}};
  return {
      ascending<environment_map>([](auto& c, auto& value) { c.environment() = value; }, environments),
      ascending<std_in_type>(
          [](auto& c, auto& value) { c.std_in(value); },
          {inherit_from_parent(), pipe_from(lesser), pipe_from(greater), read_from_file("A"), read_from_file("a")}),
      ascending<std_out_type>([](auto& c, auto& value) { c.std_out(value); },
                              {inherit_from_parent(), pipe_to(lesser), pipe_to(greater), overwrite_file("b"),
                               overwrite_file("c"), append_to_file("a"), append_to_file("b"), discard()}),
      ascending<std_err_type>([](auto& c, auto& value) { c.std_err(value); },
                              {inherit_from_parent(), pipe_to(lesser), pipe_to(greater), overwrite_file("b"),
                               append_to_file("a"), discard(), merge_with_stdout()}),
      ascending<text>([](auto& c, auto& value) { c.directory(value); },
                      {boost::none, text(""), text("B"), text("a"), text("\xff")}),
      ascending<user>([](auto& c, auto& value) { c.user(value); },
                      {boost::none, context::User{"", "z"}, context::User{"a", ""}, context::User{"a", "b"},
                       context::User{"b", "a"}}),
      ascending<inherited_handles_type>([](auto& c, auto& value) { c.inherited_handles() = value; },
                                        {{}, {one}, {one, two}, {one, last}, {two}, {last}}),
      ascending<flag>([](auto& c, auto& value) { c.detached_process(value); }, flags),
      ascending<flag>([](auto& c, auto& value) { c.explicitlyInheritHandles(value); }, flags),
      ascending<flag>([](auto& c, auto& value) { c.create_no_window(value); }, flags),
      ascending<flag>([](auto& c, auto& value) { c.hide_windows(value); }, flags),
      ascending<ElevationLevel>([](auto& c, auto& value) { c.elevationLevel(value); },
                                {ElevationLevel::NonElevated, ElevationLevel::Elevated}),
  };
}

TEST(Context, AscendsInEachFieldAndIsDecidedByTheFirstThatDiffers) {
  const test_support::pipe_script system;
  test_support::seeded_random random;
  iopipe one, other;
  const bool swapped = other.device() < one.device();
  const auto fields = swapped ? fields_in_order(other, one) : fields_in_order(one, other);
  const context empty = empty_context();
  for (int round = 0; round != 10'000; ++round) {
    context left = empty, right = empty;
    std::vector<std::uint64_t> left_ranks, right_ranks;
    for (const field& changes : fields) {
      left_ranks.push_back(random.below(changes.size()));
      right_ranks.push_back(random.chance(75) ? left_ranks.back() : random.below(changes.size()));
      changes.back()(left);  // Of what was set before nothing may stay, not even under an empty optional.
      changes[left_ranks.back()](left);
      changes[right_ranks.back()](right);
    }
    ASSERT_EQ(left < right, left_ranks < right_ranks) << left << " | " << right;
    ASSERT_EQ(left == right, left_ranks == right_ranks) << left << " | " << right;
  }
  context lowered = empty_context();
  lowered.elevationLevel(ElevationLevel::NonElevated);
  EXPECT_FALSE(empty == lowered || empty < lowered || lowered < empty);
}

TEST(Context, CopiesAreIndependentAndSwapExchangesEveryField) {
  const test_support::pipe_script system;
  iopipe pipe;
  const context full = full_context(pipe);
  context copy(full), assigned = empty_context();
  copy.swap(assigned);
  EXPECT_EQ(copy, empty_context());
  EXPECT_TRUE(copy.inherited_pipes().empty());
  copy = assigned;
  for (context* const each : {&copy, &assigned}) {
    EXPECT_EQ(*each, full);
    EXPECT_EQ(each->inherited_pipes(), full.inherited_pipes());
    each->inherited_handles().clear();
    each->environment().clear();
  }
  EXPECT_EQ(full, full_context(pipe));
}

// No device, which would close the handles, is made unasked.
static_assert(!std::is_convertible_v<iopipe_descriptor, iopipe_device>);

TEST(OpenMode, MayBeThatOfStandardStreamsWhoseNumbersAreOthers) {
  const auto told = [](auto mode) {
    return std::string(iopipe_device(iopipe_handles(), false, mode).descriptor(mode));
  };
  EXPECT_EQ(told(std::ios_base::binary), told(open_mode::binary));
  EXPECT_NE(told(std::ios_base::in), told(open_mode::binary));
}

TEST(InheritPipe, KeepsOneModeForAPipeAndNoneForNoEndAndWritesOutWhatIsBufferedFirst) {
  const test_support::pipe_script system;
  iopipe pipe, other;
  context c = empty_context();
  const std::string none = iopipe_descriptor();
  pipe << "text";
  EXPECT_EQ(std::string(c.inherit_pipe(pipe, open_mode::binary)), none);
  EXPECT_TRUE(c.inherited_pipes().empty());
  c.std_out(pipe_to(pipe)).std_out(inherit_from_parent());
  EXPECT_TRUE(system.written.empty());
  pipe.setstate(std::ios_base::failbit);  // as after an extraction that failed
  EXPECT_EQ(std::string(c.inherit_pipe(pipe, 1)), std::string(pipe.device().descriptor(1)));
  EXPECT_EQ(system.written, std::vector<std::string>{"text"});
  EXPECT_EQ(std::string(c.inherit_pipe(pipe, 2 | 32)), std::string(pipe.device().descriptor(2)));
  c.inherit_pipe(other, std::ios_base::in | std::ios_base::out);
  EXPECT_EQ(c.inherited_pipes(), (std::map<iopipe_device, int>{{pipe.device(), 34}, {other.device(), 3}}));
  EXPECT_EQ(c, empty_context());
  EXPECT_EQ(std::string(c.inherit_pipe(pipe, 4)), none);
  EXPECT_EQ(c.inherited_pipes(), (std::map<iopipe_device, int>{{other.device(), 3}}));
}

}  // namespace
