// Exceptions and their identifiers, notifications, stacks, contexts of threads, termination.

#include <fl/diag.hpp>
#include <fl/except.hpp>
#include <fl/io.hpp>
#include <fl/version.hpp>
#include <i18n/message_catalog.hpp>
#include <resource_core/msg_id_holder.hpp>

#include "operation.hpp"

#include <boost/exception/all.hpp>

namespace faults {
namespace {

using namespace foundation::core;

const std::string long_text(40, 'x');
const fl::ustring wide(40, u'\u4e2d');

resource_core::BaseMsgID an_id() {
  static const bool added =
      (fl::i18n::MessageCatalog::add_catalog("en", "sweep", R"({"NAME": "a text {0} that is longer than most"})"),
       true);
  static_cast<void>(added);
  return {"sweep", "NAME", {long_text}};
}

using boost::exception_detail::clone_base;

struct user_error : except::Exception<except::IUserException, std::exception> {
  const clone_base* clone() const override { return new user_error(*this); }
  void rethrow() const override { throw *this; }
  std::string GetErrorID() const override { return long_text; }
  fl::ustring GetUnicodeMessageTxt() const override { return wide; }
};
struct id_error : except::Exception<except::IMsgIDException, std::exception> {
  const clone_base* clone() const override { return new id_error(*this); }
  void rethrow() const override { throw *this; }
  std::string GetErrorID() const override { return get_error_id(id); }
  std::string of_text(const std::string& text) const { return get_error_id(text); }
  const resource_core::BaseMsgID& GetMsgID() const override { return id; }
  resource_core::BaseMsgID id = an_id();
};

// The texts of an exception never throw, whatever is left.
template <class Error>
void tell(trial& t, const Error& error) {
  t.act([&] {
    const std::string text = error.what();
    t.expect(!text.empty(), "says nothing");
  });
  t.act([&] { t.expect(!error.ToUstring().empty(), "says nothing"); });
}

template <class Base>
void make_internal(trial& t, const Base& source) {
  using error = except::detail::AnonymousInternalException<Base>;
  t.act([&] {
    error made(source), other{Base(source)};
    const error copy(made);
    other = copy;
    try {
      static_cast<const clone_base&>(copy).rethrow();
    } catch (const error& caught) {
      t.expect(dynamic_cast<const Base*>(&caught) != nullptr, "is of another type");
    }
    const std::unique_ptr<const clone_base> clone(static_cast<const clone_base&>(copy).clone());
    t.expect(clone != nullptr, "no clone");
  });
  tell(t, error(source));
}

void internal_exceptions(trial& t) {
  make_internal(t, boost::system::system_error(boost::system::error_code(5, boost::system::system_category()), "open"));
  make_internal(t, except::InvalidErrorID(long_text));
}

void plain_exceptions(trial& t) {
  using internal = except::detail::AnonymousInternalException<std::exception>;
  t.act([&] {
    const std::runtime_error source(long_text);
    internal made(static_cast<const std::exception&>(source)), other{std::exception()};
    other = made;
    t.expect(*other.what() != 0, "says nothing");
  });
  t.act([&] {
    user_error made, other;
    other = made;
    t.expect(!made.GetMessageTxt().empty(), "says nothing");
  });
  tell(t, user_error());
}

void identified_exceptions(trial& t) {
  id_error made;
  t.act([&] { t.see(made.GetErrorID()); });
  t.act([&] { t.see(made.of_text("A:B")); });
  t.act([&] { t.expect(!made.GetUnicodeMessageTxt().empty(), "says nothing"); });
  t.act([&] {
    id_error copy(made);
    copy = made;
  });
  tell(t, made);
}

void facts(trial& t) {
  using fact = boost::error_info<struct tag, std::string>;
  user_error error;
  t.act([&] {
    error << fact(long_text);
    t.expect(*boost::get_error_info<fact>(error) == long_text, "the fact is lost");
    const auto kept = boost::copy_exception(error);
    t.expect(static_cast<bool>(kept), "is not kept");
  });
  t.act([&] { except::detail::ensure_shared_error_info(error); });
}

void out_of_memory(trial& t) {
  t.act([&] {
    try {
      throw except::bad_alloc();
    } catch (const std::bad_alloc& caught) {
      t.expect(*caught.what() != '\0', "says nothing");
    }
  });
}

void keep_out_of_memory(trial& t) {
  t.act([&] {
    const auto error = except::bad_alloc();
    auto copy(error);
    copy = error;
    const auto kept = boost::copy_exception(error);
    t.expect(static_cast<bool>(kept), "is not kept");
  });
}

void empty_holders(trial& t) {
  using holder = except::TypedMsgIDHolder::EmptyTypedMsgIDHolder;
  using generic = resource_core::GenericMsgIDHolder::EmptyGenericMsgIDHolder;
  t.act([&] {
    holder made;
    holder copy(made);
    copy = made;
    generic other;
    generic other_copy(other);
    other_copy = other;
    t.expect(*copy.what() != '\0' && *other_copy.what() != '\0', "says nothing");
  });
}

void notify(trial& t) {
  except::Notification all, other;
  const auto id = an_id();
  all.append(id);
  const auto look = [&] { return all.size(); };
  t.act_or_nothing(look, [&] { all.append(id); });
  t.act([&] { t.expect(except::Notification(all).size() == all.size(), "the copy is shorter"); });
  t.act_or_nothing([&] { return other.size(); }, [&] { other = all; });
  t.act([&] { t.expect(!all.getMessage(0).empty() && all[0] == id, "another message"); });
  t.see(std::to_string(all.size()));
}

void print_notification(trial& t) {
  except::Notification all;
  all.append(an_id());
  all.append(an_id());
  std::ostringstream whole, text;
  all.format(whole);
  const bool ran = t.act([&] { all.format(text); });
  t.expect(whole.str().starts_with(text.str()), "prints something else");
  t.expect(!ran || !text || text.str() == whole.str(), "prints a part without a sign of it");
  io::uostringstream wide_text;
  const bool ran_wide = t.act([&] { all.format(wide_text); });
  t.see(ran && ran_wide && text && wide_text ? "whole" : "bad stream");
}

void notification_views(trial& t) {
  static const except::Notification all = [] {
    except::Notification made;
    made.append(an_id());
    return made;
  }();
  t.act([&] {
    except::Notification none, moved(std::move(none));
    none = std::move(moved);
    none.flush();
    t.expect(none.empty() && !none && all && all.begin() != all.end() && all.size() == 1, "another size");
  });
}

void message_ids(trial& t) {
  const auto id = an_id();
  resource_core::BaseMsgID other;
  resource_core::GenericMsgIDHolder holder;
  t.act([&] { t.expect(resource_core::BaseMsgID(id) == id, "the copy differs"); });
  t.act_or_nothing([&] { return other.mnemonic(); }, [&] { other = id; });
  t.act_or_nothing([&] { return holder.empty(); }, [&] { holder = resource_core::GenericMsgIDHolder(id); });
  t.act([&] {
    resource_core::GenericMsgIDHolder copy(holder), moved(std::move(copy));
    copy = moved;
    holder = std::move(moved);
    t.see(holder.get().mnemonic());
  });
}

void capture(trial& t) {
  t.act([&] {
    diag::stacktrace<20> here, other(0), none(0, false);
    here.capture(0);
    t.expect(!here.empty() && none.empty(), "has no frames");
    t.expect(here.compare_top(here) && here.compare_top_n(1, here) && here.compare_bottom(here), "differs from itself");
    static_cast<void>(here.compare_bottom_n(1, other));
    swap(here, other);
    diag::thread_context context, later(false), of_null(static_cast<const void*>(nullptr));
    later.capture();
    t.expect(context && later && !of_null && context.compare(context), "is not valid");
    later.reset(nullptr);
    t.expect(!later, "is valid");
  });
}

void walk(trial& t) {
  t.act([&] {
    const diag::thread_context context;
    diag::stacktrace<20> stack(context);
    stack.capture(context, 0);
    t.expect(!stack.empty(), "has no frames");
  });
}

void print_stack(trial& t) {
  static const diag::stacktrace<4> stack;
  std::ostringstream symbolic, numeric, raw;
  t.act([&] { symbolic << diag::symbolic << stack; });
  t.act([&] { numeric << diag::numeric << stack; });
  t.act([&] { raw << diag::raw << stack; });
}

void print_context(trial& t) {
  static const diag::thread_context context;
  std::ostringstream text;
  t.act([&] { text << context; });
}

void print_wide(trial& t) {
  std::ostringstream text;
  const bool ran = t.act([&] { text << wide << wide.c_str(); });
  t.expect(!ran || !text || text.str().size() == 6 * wide.size(), "prints a part without a sign of it");
  t.see(text ? "whole" : "bad stream");
}

void names(trial& t) {
  t.act([&] { t.see(diag::detail::demangle_typeid_name(typeid(std::vector<std::string>).name(), true)); });
}

void thread_names(trial& t) {
  char read[80];
  t.act([&] { diag::setCurrentThreadName(long_text); });
  t.act([&] { t.see(diag::getCurrentThreadName(read, sizeof read) ? read : "no name"); });
  diag::setCurrentThreadName("sweep");
}

void find_symbols(trial& t) {
  t.act([&] {
    const void* const module = diag::symbols::getModuleAddress(reinterpret_cast<const void*>(&diag::terminate_called));
    t.see(module != nullptr && diag::symbols::getSymbolAddress(module, "fl_diag_terminate") != nullptr ? "found"
                                                                                                       : "not");
  });
}

void make_bad_context(trial& t) {
  t.act([&] {
    diag::bad_thread_context made(long_text), other("b");
    other = made;
    other = diag::bad_thread_context(std::move(made));
    t.expect(other.what() == long_text, "another text");
  });
}

void observe(trial& t) {
  t.act([&] {
    const diag::termination_observer observer(nullptr);
    t.expect(!diag::terminate_called() && fl_diag_terminate(), "is terminating");
    diag::disable_terminate_dialog();
    t.expect(loaded_version_fits(loaded_version()) && *loaded_version_text() != '\0', "another version");
  });
}

void unknown_name(trial& t) {
  t.act([&] {
    try {
      throw 1;
    } catch (...) {
      t.see(diag::unknown_exception_name());
    }
  });
}

// What no memory may stop; the stack in it has fewer names where the symbol service is refused.
void report(trial& t) {
  const diag::termination_observer observer(nullptr);
  const char* log = "";
  t.act([&] {
    diag::default_termination_observer("message one", "file", 1, "function");
    diag::terminate_log("message two", diag::thread_context());
    diag::terminate_log("message three", static_cast<const _EXCEPTION_POINTERS*>(nullptr));
    log = diag::terminate_log();
  });
  const std::string_view told(log);
  for (const char* const message : {"message one", "message two", "message three"}) {
    t.expect(told.find(message) != told.npos, "the report lacks a message");
  }
}

void terminate_in_test(trial& t) {
  const test::terminate_handler handler;
  t.act([&] {
    try {
      diag::terminate(long_text, "file", 1, "function");
    } catch (...) {
      t.see(test::terminate_handled(long_text) ? "handled" : "something else");
    }
  });
}

}  // namespace

std::vector<operation> failure_operations() {
  return {{"exceptions: internal, with a source", internal_exceptions},
          {"exceptions: internal and user errors", plain_exceptions},
          {"exceptions: with identifiers", identified_exceptions},
          {"exceptions: facts", facts},
          {"exceptions: bad_alloc thrown", out_of_memory},
          {"exceptions: bad_alloc kept", keep_out_of_memory},
          {"none: errors of empty holders", empty_holders},
          {"notification: append, copy, ask", notify},
          {"notification: print", print_notification, "bad stream"},
          {"none: notification: views", notification_views},
          {"message identifiers: make, copy, hold", message_ids},
          {"none: stack and context of a thread: capture", capture},
          {"stack: walk a context", walk},
          {"stack: print", print_stack},
          {"context of a thread: print", print_context},
          {"UTF-16 text: print", print_wide, "bad stream"},
          {"type names", names},
          {"thread names", thread_names, "bad_alloc"},
          {"symbols: find", find_symbols, "^done not;$"},
          {"error of a thread's context", make_bad_context},
          {"observers, version", observe},
          {"name of an unknown exception", unknown_name},
          {"report of a failure", report},
          {"terminate, as tests see it", terminate_in_test}};
}

}  // namespace faults
