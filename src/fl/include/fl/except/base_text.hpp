// Where the text of an ordinary exception comes from. The standard library keeps none in `std::exception` itself and
// answers for it with a name of its own making, which counts as no text here.
//
// Thread safety: plain values.
#pragma once

#include <exception>
#include <memory>
#include <new>
#include <string>

namespace foundation::core::except::detail {

/// What `what()` returned, or null if that is only the standard library's stand-in for a missing text.
inline const char* text_or_null(const char* text) noexcept {
  return text == std::exception().what() ? nullptr : text;
}

/// The text of the part `Source` of an exception, whatever the exception's own `what()` says.
template <class Source>
class base_text {
 public:
  base_text() noexcept = default;
  explicit base_text(const Source&) noexcept {}
  /// Null: there is none. Valid as long as `source` is.
  const char* get(const Source& source) const noexcept { return text_or_null(source.Source::what()); }
};

/// Keeps the text of its source, immutable and shared, so that copies neither allocate nor throw.
template <>
class base_text<std::exception> {
 public:
  base_text() noexcept = default;
  /// Throws `std::bad_alloc`.
  explicit base_text(const std::exception& source) {
    if (const char* const text = text_or_null(source.what())) {
      text_ = std::make_shared<const std::string>(text);
    }
  }
  const char* get(const std::exception&) const noexcept { return text_ ? text_->c_str() : nullptr; }

 private:
  std::shared_ptr<const std::string> text_;  ///< null: none
};

/// A literal, since there is no memory to be had when it is needed.
template <>
class base_text<std::bad_alloc> {
 public:
  base_text() noexcept = default;
  explicit base_text(const std::bad_alloc&) noexcept {}
  const char* get(const std::bad_alloc&) const noexcept { return "bad allocation"; }
};

}  // namespace foundation::core::except::detail
