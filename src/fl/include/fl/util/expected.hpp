// The outcome of something that may have failed, as a value: what it gave, or the exception that it threw. A failure
// can so be kept, copied, handed to another thread, and thrown where somebody wants to hear of it:
//
//     const auto frequency = foundation::core::system::getMaximumProcessorFrequency();
//     if (frequency.has_value())
//       show(frequency.value());
//
// Thread safety: a plain value. Copies share the exception object, which must then be only read.
#pragma once

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

namespace foundation::core::util {

/// Holds a `T` or an exception, or nothing after it was moved from or an assignment threw.
template <class T>
class Expected {
  static_assert(std::is_object_v<T> && !std::is_same_v<T, std::exception_ptr>);

 public:
  using value_type = T;

  // What `index` returns.
  static constexpr std::size_t value_index = 0;
  static constexpr std::size_t exception_index = 1;
  static constexpr std::size_t empty_index = std::variant_npos;

  // NOLINTBEGIN(google-explicit-constructor): a function returns either alternative as it is
  Expected(const T& value) : alternative_(std::in_place_index<value_index>, value) {}
  Expected(T&& value) : alternative_(std::in_place_index<value_index>, std::move(value)) {}
  /// Throws `std::invalid_argument` if `exception` is null.
  Expected(std::exception_ptr exception) : alternative_(std::in_place_index<exception_index>, not_null(exception)) {}
  // NOLINTEND(google-explicit-constructor)

  Expected(const Expected&) = default;
  Expected& operator=(const Expected&) = default;
  /// Leaves `other` empty.
  Expected(Expected&& other) noexcept(std::is_nothrow_move_constructible_v<T>)
      : alternative_(std::move(other.alternative_)) {
    other.alternative_.template emplace<std::monostate>();
  }
  /// Leaves `other` empty, unless it is this object.
  Expected& operator=(Expected&& other) noexcept(std::is_nothrow_move_constructible_v<T> &&
                                                 std::is_nothrow_move_assignable_v<T>) {
    if (this != &other) {
      alternative_ = std::move(other.alternative_);
      other.alternative_.template emplace<std::monostate>();
    }
    return *this;
  }
  ~Expected() = default;

  /// Which alternative is held: one of the constants above.
  std::size_t index() const noexcept {
    const std::size_t held = alternative_.index();
    return held <= exception_index ? held : empty_index;
  }
  bool has_value() const noexcept { return index() == value_index; }

  /// The value. Throws the exception if that is held, the same object each time; `std::logic_error` if nothing is.
  const T& value() const& {
    require_value();
    return *std::get_if<value_index>(&alternative_);
  }
  T value() && {
    require_value();
    return std::move(*std::get_if<value_index>(&alternative_));
  }

  /// The exception, or null if none is held.
  std::exception_ptr exception() const noexcept {
    const std::exception_ptr* const held = std::get_if<exception_index>(&alternative_);
    return held ? *held : nullptr;
  }

 private:
  static std::exception_ptr&& not_null(std::exception_ptr& exception) {
    if (!exception) {
      throw std::invalid_argument("util::Expected: the exception is null");
    }
    return std::move(exception);
  }

  void require_value() const {
    if (const std::exception_ptr failure = exception()) {
      std::rethrow_exception(failure);
    }
    if (!has_value()) {
      throw std::logic_error("util::Expected: it is empty, since it was moved from");
    }
  }

  std::variant<T, std::exception_ptr, std::monostate> alternative_;  ///< the last, or none at all, if it is empty
};

}  // namespace foundation::core::util
