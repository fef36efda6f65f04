// An argument of a message, from whatever number or text there is, so that nobody needs to write the type that messages
// keep it in. What `qxfl_add_message_catalog` writes takes these. Header only; thread safety: a plain value.
#pragma once

#include <resource_core/msg_id.hpp>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace fl::i18n {

/// Implicit from all numbers, and from UTF-8 and UTF-16 text. Neither from a truth value nor from a single character,
/// which would turn out as a number. Making one from text throws `std::bad_alloc`.
class message_argument {
  template <class T>
  static constexpr bool is_number =
      std::is_arithmetic_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> && !std::is_same_v<T, wchar_t> &&
#ifdef __cpp_char8_t
      !std::is_same_v<T, char8_t> &&
#endif
      !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t>;

 public:
  // NOLINTBEGIN(google-explicit-constructor)
  /// A whole number that `std::int64_t` cannot hold becomes its digits.
  template <class Number, std::enable_if_t<is_number<Number>, int> = 0>
  message_argument(Number number) : value_(value_of(number)) {}
  /// Text in UTF-8.
  message_argument(std::string utf8) : value_(std::move(utf8)) {}
  message_argument(std::string_view utf8) : value_(std::string(utf8)) {}
  /// Zero-terminated and not null.
  message_argument(const char* utf8) : value_(std::string(utf8)) {}
  /// Text in UTF-16.
  message_argument(std::u16string utf16) : value_(std::move(utf16)) {}
  message_argument(std::u16string_view utf16) : value_(std::u16string(utf16)) {}
  /// Zero-terminated and not null.
  message_argument(const char16_t* utf16) : value_(std::u16string(utf16)) {}
  /// What a message keeps already.
  message_argument(resource_core::MsgArgument value) : value_(std::move(value)) {}
  // NOLINTEND(google-explicit-constructor)

  /// As a message keeps it.
  const resource_core::MsgArgument& value() const noexcept { return value_; }

 private:
  template <class Number>
  static resource_core::MsgArgument value_of(Number number) {
    if constexpr (std::is_floating_point_v<Number>) {
      return static_cast<double>(number);
    } else {
      if constexpr (std::is_unsigned_v<Number> && sizeof(Number) >= sizeof(std::int64_t)) {
        if (number > static_cast<Number>((std::numeric_limits<std::int64_t>::max)())) {
          return std::to_string(number);  // There is no whole number for it, but its digits are the same.
        }
      }
      return static_cast<std::int64_t>(number);
    }
  }

  resource_core::MsgArgument value_;
};

}  // namespace fl::i18n
