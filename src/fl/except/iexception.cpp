#include <fl/diag/demangle.hpp>
#include <fl/except/iexception.hpp>
#include <i18n/convert.hpp>

#include "util/read_mostly_lock.hpp"

#include <boost/exception/get_error_info.hpp>
#include <boost/exception/info.hpp>

#include <mutex>
#include <shared_mutex>
#include <typeinfo>
#include <utility>

namespace foundation::core::except {

namespace {

// The text that what() keeps among the attached facts. The tag is private to this file, so that nobody else can read or
// replace it.
struct narrow_str_tag;
using narrow_str = boost::error_info<narrow_str_tag, std::string>;

// One for all exceptions of the process, usable from the moment the library is loaded.
constinit util::read_mostly_lock exception_text_lock;

// Null: none kept yet. The caller holds the lock.
const char* kept_text(const IException& error) {
  const std::string* const text = boost::get_error_info<narrow_str>(error);
  return text != nullptr ? text->c_str() : nullptr;
}

// The caller holds the lock alone.
void keep_text(const IException& error, std::string text) {
  detail::ensure_shared_error_info(error);
  error << narrow_str(std::move(text));
}

}  // namespace

IException::IException() noexcept = default;
IException::IException(const IException&) noexcept = default;

IException& IException::operator=(const IException& other) noexcept {
  // Boost would release the container before it acquires it again.
  if (this != &other) {
    boost::exception::operator=(other);
  }
  return *this;
}

IException::~IException() = default;

const char* IException::what() const noexcept {
  try {
    {
      const std::shared_lock reading(exception_text_lock);
      if (const char* const text = kept_text(*this)) {
        return text;
      }
    }
    const std::unique_lock writing(exception_text_lock);
    if (kept_text(*this) == nullptr) {  // Another thread may have been faster in the gap between the two locks.
      keep_text(*this, fl::i18n::ustring_to_utf8(ToUstringImpl()));
    }
    return kept_text(*this);
  } catch (...) {
    // Nothing is kept: the next call tries again.
  }
  try {
    return typeid(*this).name();
  } catch (...) {
    return "Unknown IException: error occurred trying to extract complete exception string";
  }
}

ustring IException::ToUstring() const {
  return ToUstringImpl();
}

ustring IException::ToUstringImpl() const {
  return fl::i18n::utf8_to_ustring(diag::detail::demangle_typeid_name(typeid(*this).name(), false));
}

std::string IException::convert_str(const ustring& text) {
  return fl::i18n::ustring_to_utf8(text);
}

ustring IException::convert_str(const std::string& text) {
  return fl::i18n::utf8_to_ustring(text);
}

IInternalException::IInternalException() noexcept = default;
IInternalException::IInternalException(const IInternalException&) noexcept = default;
IInternalException& IInternalException::operator=(const IInternalException&) noexcept = default;
IInternalException::~IInternalException() = default;

IUserException::IUserException() noexcept = default;
IUserException::IUserException(const IUserException&) noexcept = default;
IUserException& IUserException::operator=(const IUserException&) noexcept = default;
IUserException::~IUserException() = default;

std::string IUserException::GetMessageTxt() const {
  return convert_str(GetUnicodeMessageTxt());
}

ustring IUserException::ToUstringImpl() const {
  return GetUnicodeMessageTxt();
}

}  // namespace foundation::core::except
