// Throws a copy of an error that knows where it was thrown:
//
//     foundation::kit::throw_with_location(out_of_stock("E27", 5, 3));
//     foundation::kit::throw_with_location(std::runtime_error("the index is out of date"));
//     …
//     } catch (const std::exception& e) {
//       std::cerr << boost::diagnostic_information(e);   // shop.cpp(12): Throw in function sell …
//
// File, line and function are Boost's facts `throw_file`, `throw_line` and `throw_function`. `throw_with_stacktrace`
// attaches the calls that led there besides, which are not resolved to names before somebody prints them:
//
//       if (const auto* const stack = boost::get_error_info<foundation::kit::throw_stack>(e)) {
//         std::cerr << *stack;
//
// The copy is of the error's own class, also when the error is given as a base of it: an error of the library's family,
// or another that Boost can clone, clones itself, and gets the facts if it can have any. Another exception, whose type
// must be its own, is thrown as a class derived from it that has facts and that `boost::current_exception` can carry to
// another thread. What is attached to the error already goes with the copy, and the error itself gets nothing.
//
// Thread safety: as that of the error; the copy shares no facts with it.
#pragma once

#include <fl/diag/stacktrace.hpp>
#include <fl/except/iexception.hpp>

#include <boost/assert/source_location.hpp>
#include <boost/exception/enable_current_exception.hpp>
#include <boost/exception/enable_error_info.hpp>
#include <boost/exception/exception.hpp>
#include <boost/exception/info.hpp>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>

namespace foundation::kit {

/// Return addresses, innermost first, from that function on which called `throw_with_stacktrace`.
using throw_stack = boost::error_info<struct throw_stack_tag, core::diag::stacktrace<62>>;

namespace detail {

/// `stack`: null for none.
template <class Error>
void attach_place(Error& error, const boost::source_location& where, const throw_stack* stack) {
  error << boost::throw_file(where.file_name());
  error << boost::throw_line(static_cast<int>(where.line()));
  error << boost::throw_function(where.function_name());
  if (stack != nullptr) {
    error << *stack;
  }
}

[[noreturn]] inline void throw_clone(const boost::exception_detail::clone_base& error,
                                     const boost::source_location& where, const throw_stack* stack) {
  using boost::exception_detail::clone_base;
  const std::unique_ptr<clone_base> copy(const_cast<clone_base*>(error.clone()));
  if (auto* const facts = dynamic_cast<boost::exception*>(copy.get())) {
    boost::exception_detail::copy_boost_exception(facts, dynamic_cast<const boost::exception*>(&error));
    if (auto* const ours = dynamic_cast<core::except::IException*>(copy.get())) {
      attach_place(*ours, where, stack);
    } else {
      attach_place(*facts, where, stack);
    }
  }
  copy->rethrow();
  std::terminate();  // Not reached: the above throws.
}

[[noreturn]] inline void throw_sliced(const std::type_info& whole, const std::type_info& part, const char* text) {
  throw std::invalid_argument(std::string("the error \"") + text + "\" cannot be thrown again: it is a " +
                              whole.name() + ", given as " + part.name());
}

template <class Error>
const char* text_of(const Error& error) noexcept {
  const auto* const described = dynamic_cast<const std::exception*>(&error);
  return described != nullptr ? described->what() : "";
}

template <class Error>
[[noreturn]] void throw_copy(const Error& error, const boost::source_location& where, const throw_stack* stack) {
  using boost::exception_detail::clone_base;
  static_assert(std::is_base_of_v<std::exception, Error> || std::is_base_of_v<boost::exception, Error>,
                "neither a std::exception nor a boost::exception");
  if constexpr (std::is_base_of_v<clone_base, Error>) {
    throw_clone(error, where, stack);
  } else {
    if (const auto* const cloneable = dynamic_cast<const clone_base*>(&error)) {
      throw_clone(*cloneable, where, stack);
    }
    if constexpr (!std::is_abstract_v<Error>) {
      static_assert(!std::is_final_v<Error>, "nothing can be attached to a final class");
      if (typeid(error) == typeid(Error)) {
        auto whole = boost::enable_error_info(error);
        if constexpr (std::is_base_of_v<boost::exception, Error>) {
          boost::exception_detail::copy_boost_exception(&whole, &error);  // A plain copy shares the facts.
        }
        attach_place(whole, where, stack);
        throw boost::enable_current_exception(whole);
      }
    }
    throw_sliced(typeid(error), typeid(Error), text_of(error));
  }
}

}  // namespace detail

/// Throws a copy of `error` with the place of this call, or of `where`. The texts of `where` outlive the copy.
///
/// Throws `std::invalid_argument` instead, which quotes the text of `error`, if that is of a class derived from `Error`
/// and cannot clone itself; and what copying throws, such as `std::bad_alloc`.
template <class Error>
[[noreturn]] void throw_with_location(const Error& error, boost::source_location where = BOOST_CURRENT_LOCATION) {
  detail::throw_copy(error, where, nullptr);
}

/// The same with the fact `throw_stack` besides.
template <class Error>
[[noreturn, gnu::noinline]] void throw_with_stacktrace(const Error& error,
                                                       boost::source_location where = BOOST_CURRENT_LOCATION) {
  core::diag::stacktrace<62> stack(0, false);
  stack.capture(0);
  const auto caller = std::find(stack.begin(), stack.end(), static_cast<const void*>(__builtin_return_address(0)));
  if (caller != stack.end()) {
    stack.capture(static_cast<std::size_t>(caller - stack.begin()));
  }
  const throw_stack fact(stack);
  detail::throw_copy(error, where, &fact);
}

}  // namespace foundation::kit
