// Commands, contexts, redirections, descriptors: values of a launch.

#include <fl/process.hpp>
#include <fl/process/launch_attributes.hpp>
#include <fl/sysdep/windows/iopipe_descriptor_impl.hpp>

#include "operation.hpp"

#include <boost/make_shared.hpp>

namespace faults {
namespace {

using namespace foundation::core::process;
namespace core = foundation::core;

const std::string long_text(40, 'x');
const fl::ustring wide(40, u'\u4e2d');

template <class T>
std::string printed(const T& value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

// Prints with memory running out: what is not marked as bad is whole.
template <class T>
void print(trial& t, const T& value) {
  std::ostringstream text;
  const bool ran = t.act([&] { text << value; });
  const std::string whole = printed(value);
  t.expect(!ran || !text || text.str() == whole, "printed a part without a sign of it");
  t.expect(whole.starts_with(text.str()), "printed something else: " + text.str());
  t.see(text ? text.str() : "bad stream");
}

context filled() {
  context how;
  how.environment() = {{"a variable", long_text}, {"b", "c"}};
  how.directory(long_text.c_str()).user(long_text, long_text);
  how.std_in(read_from_file(long_text)).std_out(overwrite_file(long_text)).std_err(append_to_file(long_text));
  how.inherited_handles().insert(nullptr);
  return how;
}

void make_command_of(trial& t) {
  t.act([&] {
    const command made = make_command(long_text, long_text, long_text);
    t.expect(made.args().size() == 2, "a command lacks arguments");
  });
  t.act([&] { make_command(wide, {long_text, long_text}); });
}

void change_command(trial& t) {
  const command other = make_command(long_text, "a", long_text);
  command changed("b");
  const auto look = [&] { return printed(changed); };
  t.act([&] {
    command made(long_text);
    const command from_wide(wide), copy(other), moved(std::move(made));
  });
  t.act_or_nothing(look, [&] { changed.name(long_text); });
  t.act([&] { changed = other; });
  t.expect(look() == "b" || changed == other || changed.name() == long_text, "half assigned: " + look());
  t.see(look());
}

void make_context(trial& t) {
  t.act([&] { t.expect(context().environment().size() > 3, "lacks the environment"); });
}

void change_context(trial& t) {
  context how;
  how.environment() = {{"A", "B"}};
  const auto look = [&] { return printed(how); };
  t.act_or_nothing(look, [&] { how.directory(long_text.c_str()); });
  t.act_or_nothing(look, [&] { how.directory(std::u16string(wide).c_str()); });
  t.act_or_nothing(look, [&] { how.directory(boost::optional<std::string>(long_text)); });
  t.act_or_nothing(look, [&] { how.directory(boost::optional<fl::ustring>(wide)); });
  t.act_or_nothing(look, [&] { how.user(long_text, long_text); });
  t.act_or_nothing(look, [&] { how.user(wide, wide); });
  t.act_or_nothing(look, [&] { how.user(context::User{long_text, long_text}); });
  t.act_or_nothing(look, [&] { how.std_in(read_from_file(long_text)); });
  t.act_or_nothing(look, [&] { how.std_out(overwrite_file(wide)); });
  t.act_or_nothing(look, [&] { how.std_err(append_to_file(wide)); });
  t.act_or_nothing(look, [&] { how.inherited_handles().insert(&t); });
  t.act([&] {
    t.expect(static_cast<const context&>(how).environment().size() == 1, "lost its environment");
    how.inherited_handles().clear();
  });
  t.see(look());
}

void copy_context(trial& t) {
  const context other = filled();
  context how;
  how.environment() = {{"A", "B"}};
  const auto look = [&] { return printed(how); };
  t.act([&] { t.expect(context(other) == other, "the copy differs"); });
  t.act_or_nothing(look, [&] { how = other; });
  t.act([&] {
    how.swap(how);
    t.expect(!(how < how), "less than itself");
  });
  t.see(look());
}

void set_flags(trial& t) {
  static context how;
  const boost::optional<bool> flag = true;
  t.act([&] {
    how.hide_windows(true), how.hide_windows(flag), how.create_no_window(true), how.create_no_window(flag);
    how.detached_process(true), how.detached_process(flag), how.elevated(false);
    how.explicitlyInheritHandles(true), how.explicitlyInheritHandles(flag);
    how.elevationLevel(ElevationLevel::Unset);
    const context& set = how;
    t.expect(*set.hide_windows() && *set.create_no_window() && *set.detached_process() && !set.elevated() &&
                 *set.explicitlyInheritHandles() && set.elevationLevel() == ElevationLevel::Unset,
             "a flag is lost");
    static_cast<void>(set.user() || set.directory());
    static_cast<void>(set.std_in().which() + set.std_out().which() + set.std_err().which());
    static_cast<void>(how.environment().size() + set.environment().size() + how.inherited_handles().size() +
                      set.inherited_handles().size() + set.inherited_pipes().size());
  });
}

void print_context(trial& t) {
  print(t, filled());
}

void print_command(trial& t) {
  print(t, make_command(long_text, "a", long_text));
}

void print_redirections(trial& t) {
  print(t, inherit_from_parent());
  print(t, discard());
  print(t, merge_with_stdout());
  print(t, read_from_file(long_text));
  print(t, overwrite_file(long_text));
  print(t, append_to_file(long_text));
  print(t, ElevationLevel::NonElevated);
  print(t, context::User{long_text, long_text});
}

void redirect_to_files(trial& t) {
  t.act([&] {
    const read_from_file in(long_text), in_too(wide);
    const overwrite_file out(long_text), out_too(wide);
    const append_to_file more(long_text), more_too(wide);
    t.expect(in.file_string() == long_text && out.file_string() == long_text && more.file_string() == long_text,
             "another name");
    t.expect(in < in_too && out < out_too && more < more_too, "another order");
    t.expect(!(in == in_too) && !(out == out_too) && !(more == more_too), "are equal");
  });
}

void compare_values(trial& t) {
  static const command one = make_command("a", "b");
  static const context how = filled();
  static iopipe pipe;
  static const pipe_to to(pipe);
  static const pipe_from from(pipe);
  static const context::User user{"a", "b"};
  t.act([&] {
    bool equal = one == one && how == how && to == to && from == from && user == user;
    equal = equal && discard() == discard() && inherit_from_parent() == inherit_from_parent();
    equal = equal && merge_with_stdout() == merge_with_stdout();
    bool less = one < one || how < how || to < to || from < from || discard() < discard();
    less = less || inherit_from_parent() < inherit_from_parent() || merge_with_stdout() < merge_with_stdout();
    less = less || ElevationLevel::Unset < ElevationLevel::Unset;
    t.expect(equal && !less, "another order");
    t.expect(&one.args() != nullptr && one.name() == "a" && detail::unspecified().empty(), "another name");
    t.expect(to.device() == from.device(), "another device");
    t.expect(core::util::lexicographical_iless()("a", "B"), "another order of names");
  });
}

void redirect_to_pipes(trial& t) {
  iopipe pipe;
  context how;
  how.environment().clear();
  const auto look = [&] { return how.inherited_pipes().size(); };
  t.act([&] { how.std_out(pipe_to(pipe)).std_in(pipe_from(pipe)); });
  t.act_or_nothing(look, [&] { how.inherit_pipe(pipe, open_mode::read); });
  t.see(std::to_string(look()));
  std::ostringstream text;
  t.act([&] { text << how; });
  t.expect(pipe.is_open_for_read() && pipe.is_open_for_write(), "the pipe is closed");
}

void describe_pipe(trial& t) {
  iopipe pipe(0);
  std::string told;
  t.act([&] { told = pipe.device().descriptor(open_mode::read); });
  if (!told.empty()) {
    const auto handle = pipe.device().handles().read_handle();
    iopipe_descriptor parsed;
    t.act_or_nothing([&] { return std::string(parsed); }, [&] { parsed = iopipe_descriptor(told); });
    t.act([&] {
      iopipe_descriptor copy(parsed), moved(std::move(copy)), from_text(told.c_str());
      copy = moved;
      moved = std::move(copy);
      t.expect(from_text.impl().handles().read_handle() == handle, "another handle");
    });
  }
  // The text may be longer than a string holds by itself.
  const auto far_away = [](std::uintptr_t number) { return reinterpret_cast<void*>(number); };
  const core::sysdep::windows::iopipe_descriptor_impl large({far_away(0xFFFFFFF8), far_away(0xFFFFFFF4)}, true, true,
                                                            'x', false);
  const iopipe_descriptor of_large(boost::make_shared<core::sysdep::windows::iopipe_descriptor_impl>(large));
  t.act([&] {
    told = of_large;
    t.expect(told == "4294967288 4294967284 1 1 120 0", "told as " + told);
    t.expect(iopipe_descriptor(told).impl().pending_char() == 'x', "lost a field");
  });
  t.see(told.empty() ? "" : "told");
  t.expect(pipe.is_open_for_read() && pipe.is_open_for_write(), "the pipe is closed");
}

void set_attribute(trial& t) {
  context how;
  how.environment().clear();
  const auto source = [] { return core::detail::launch_attribute{nullptr, 0, nullptr}; };
  const auto look = [&] { return core::detail::launch_attributes(how).size(); };
  t.act_or_nothing(look, [&] { core::detail::set_launch_attribute(how, 1, source); });
  t.act_or_nothing(look, [&] { core::detail::set_launch_attribute(how, 2, source); });
  t.act_or_nothing(look, [&] { core::detail::set_launch_attribute(how, 1, nullptr); });
  t.see(std::to_string(look()));
}

template <class Error>
void make_and_copy(trial& t) {
  t.act([&] {
    Error made(long_text), other("b");
    const Error copy(made);
    other = made;
    other = std::move(made);
    const Error moved(std::move(other));
    t.expect(std::string(moved.what()).find(long_text) != std::string::npos, "another text");
    t.expect(std::string(copy.what()) == moved.what(), "the copy has another text");
  });
}

void make_errors(trial& t) {
  make_and_copy<process_init_error>(t);
  make_and_copy<process_kill_error>(t);
  make_and_copy<process_bad_user>(t);
  make_and_copy<command_not_found>(t);
  make_and_copy<iopipe_error>(t);
  make_and_copy<iopipe_read_error>(t);
  make_and_copy<iopipe_write_error>(t);
  make_and_copy<iopipe_close_error>(t);
}

}  // namespace

std::vector<operation> value_operations() {
  return {{"command: make_command", make_command_of},
          {"command: make, copy, rename, assign", change_command},
          {"command: print", print_command, "bad stream"},
          {"context: make", make_context},
          {"context: set what it holds", change_context},
          {"context: copy, assign, swap", copy_context},
          {"none: context: flags and views", set_flags},
          {"context: print", print_context, "bad stream"},
          {"redirection: files", redirect_to_files},
          {"redirection: pipes", redirect_to_pipes},
          {"redirection: print", print_redirections, "bad stream"},
          {"none: compare values", compare_values},
          {"descriptor: tell and read", describe_pipe},
          {"launch attributes: set", set_attribute},
          {"errors of processes and pipes: make, copy", make_errors}};
}

}  // namespace faults
