// The text of the exception in flight and of those nested in it.

#include <foundation_log/exception_chain.hpp>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/exception/exception.hpp>

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <string_view>
#include <typeinfo>

namespace foundation::log::detail {

namespace {

constexpr int longest_chain = 64;  ///< Bounds the text of a chain that somebody has built in a loop.

std::string readable_name(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                    std::free);
  return status == 0 && name ? name.get() : type.name();
}

std::string on_one_line(std::string_view text) {
  while (!text.empty() && text.back() == '\n') {
    text.remove_suffix(1);
  }
  std::string line;
  for (const char c : text) {
    if (c == '\n') {
      line += "; ";
    } else if (c != '\r') {
      line += c;
    }
  }
  return line;
}

template <class Error>
std::exception_ptr nested_in(const Error& error) {
  const auto* nested = dynamic_cast<const std::nested_exception*>(&error);
  return nested != nullptr ? nested->nested_ptr() : nullptr;
}

/// Appends the line of `current` and returns the exception nested in it, or null.
std::exception_ptr append_line(std::string& lines, const std::exception_ptr& current) {
  try {
    std::rethrow_exception(current);
  } catch (const boost::exception& error) {
    lines += on_one_line(boost::diagnostic_information(error));
    return nested_in(error);
  } catch (const std::exception& error) {
    const char* const what = error.what();
    lines += readable_name(typeid(error)) + ": " + on_one_line(what != nullptr ? what : "");
    return nested_in(error);
  } catch (...) {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    lines += type != nullptr ? readable_name(*type) : "an exception of unknown type";
    return nullptr;
  }
}

}  // namespace

std::string current_exception_chain_as_string() noexcept {
  try {
    std::string lines;
    std::exception_ptr next = std::current_exception();
    for (int length = 0; next && length < longest_chain; ++length) {
      if (length != 0) {
        lines += '\n';
      }
      next = append_line(lines, next);
    }
    return lines;
  } catch (...) {
    return "(no memory)";  // Short enough to need none.
  }
}

}  // namespace foundation::log::detail
