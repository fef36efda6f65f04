// One exception of each class of the library, and as what each can be caught in the module that compiles this.
#pragma once

#include <fl/except.hpp>

#include <functional>
#include <type_traits>

namespace exception_samples {

using namespace foundation::core::except;
using boost::exception_detail::clone_base;
using boost::system::system_error;
using detail::AnonymousInternalException;
using std::exception;

class user_error : public Exception<IUserException, exception, void> {
  std::string GetErrorID() const override { return "SHOP:closed"; }
  foundation::core::ustring GetUnicodeMessageTxt() const override { return u"closed"; }
  const clone_base* clone() const override { return new user_error(*this); }
  void rethrow() const override { throw *this; }
};

class message_error : public IMsgIDException {
 public:
  std::string GetErrorID() const override { return get_error_id(get_error_id(id_) + ":"); }  // never valid
  const resource_core::BaseMsgID& GetMsgID() const override { return id_; }

 private:
  const clone_base* clone() const override { return new message_error(*this); }
  void rethrow() const override { throw *this; }
  resource_core::BaseMsgID id_{"SHOP", "sold"};
};

template <class... Class>
struct classes {};
using all_classes =
    classes<InvalidErrorID, system_error, std::out_of_range, std::runtime_error, std::bad_alloc, exception,
            AnonymousInternalException<InvalidErrorID>, AnonymousInternalException<system_error>,
            Exception<IInternalException, InvalidErrorID, void>, Exception<IInternalException, system_error, void>,
            Exception<IInternalException, exception, void>, Exception<IInternalException, std::bad_alloc, void>,
            Exception<IUserException, exception, void>, detail::bad_alloc_impl, detail::bad_alloc_impl::internal,
            boost::exception_detail::clone_impl<detail::bad_alloc_impl>, TypedMsgIDHolder::EmptyTypedMsgIDHolder,
            IMsgIDException, IUserException, IInternalException, IException, boost::exception, clone_base>;

using thrower = std::function<void()>;
struct sample {
  thrower raise;
  std::string expected;  ///< a 1 for each of all_classes as which it must be caught, else a 0; then the text
};

template <class Error, class... Class>
void add(std::vector<sample>& samples, classes<Class...>, const Error& error) {
  const auto expected = (std::string() + ... + (std::is_convertible_v<const Error*, const Class*> ? "1" : "0"));
  samples.push_back({[error] { throw error; }, expected + error.what()});
  // Boost's way to throw it again is compiled where the class is at home, which may be the library.
  if constexpr (std::is_convertible_v<const Error*, const clone_base*>) {
    samples.push_back({[error] { static_cast<const clone_base&>(error).rethrow(); }, samples.back().expected});
  }
}

inline std::vector<sample> samples() {
  std::vector<sample> result;
  const auto add_each = [&](const auto&... error) { (add(result, all_classes(), error), ...); };
  add_each(AnonymousInternalException(InvalidErrorID("SHOP")), AnonymousInternalException(exception()),
           AnonymousInternalException(system_error(5, boost::system::generic_category(), "till")),
           AnonymousInternalException(std::out_of_range("far")), user_error(), message_error(), bad_alloc(),
           detail::bad_alloc_impl::internal(), TypedMsgIDHolder::EmptyTypedMsgIDHolder());
  return result;
}

template <class Class>
const char* caught(const thrower& raise, std::string& text) try {
  raise();
  return "nothing thrown";
} catch (const Class& e) {
  if constexpr (std::is_same_v<Class, exception> || std::is_same_v<Class, IException>) {
    text = e.what();
  }
  return "1";
} catch (...) {
  return "0";
}

template <class... Class>
std::string caught_as(const thrower& raise, classes<Class...>) {
  std::string text;
  const auto result = (std::string() + ... + caught<Class>(raise, text));
  return result + text;
}

}  // namespace exception_samples
