// The outcome of something that may have failed, as a value: what it gave, or the exception that it threw. A failure
// can so be kept, copied, handed to another thread, and thrown where somebody wants to hear of it:
//
//     const auto frequency = foundation::core::system::getMaximumProcessorFrequency();
//     if (frequency)
//       show(frequency.value());
//     log << frequency.value_or(0);
//
// What is done with a value when there is one can be written without a look at it. A failure passes by, to be handled
// at the end:
//
//     return read_file(path).and_then(parse).transform(&settings::size).value_or(80);
//
// Of an empty object each of these throws `std::logic_error`, but `value_or`, which gives what it was given.
//
// Thread safety: a plain value. Copies share the exception object, which must then be only read.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

namespace foundation::core::util {

template <class T>
class Expected;

namespace detail {

template <class T>
inline constexpr bool is_expected = false;
template <class T>
inline constexpr bool is_expected<Expected<T>> = true;

}  // namespace detail

/// Holds a `T` or an exception, or nothing after it was moved from or an assignment threw.
template <class T>
class Expected {
  static_assert(std::is_object_v<T> && !std::is_same_v<T, std::exception_ptr>);

 public:
  using value_type = T;

  // What `index` returns.
  static constexpr std::size_t value_index = 0;                  ///< it holds a value
  static constexpr std::size_t exception_index = 1;              ///< it holds an exception
  static constexpr std::size_t empty_index = std::variant_npos;  ///< it holds nothing

  // NOLINTBEGIN(google-explicit-constructor): a function returns either alternative as it is
  /// Holds the value.
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
  /// Whether a value is held.
  bool has_value() const noexcept { return index() == value_index; }
  /// The same.
  explicit operator bool() const noexcept { return has_value(); }

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

  /// The value, or what `fallback` converts to if none is held.
  template <class Fallback = T>
  T value_or(Fallback&& fallback) const& {
    const T* const held = std::get_if<value_index>(&alternative_);
    return held ? *held : static_cast<T>(std::forward<Fallback>(fallback));
  }
  template <class Fallback = T>
  T value_or(Fallback&& fallback) && {
    T* const held = std::get_if<value_index>(&alternative_);
    return held ? std::move(*held) : static_cast<T>(std::forward<Fallback>(fallback));
  }

  // The function gets the value as this object is: an lvalue or an rvalue, constant or not. What it throws goes
  // through.

  /// What `function` makes of the value, which is an `Expected` again; the exception if that is held.
  template <class Function>
  auto and_then(Function&& function) & {
    return and_then_of(*this, std::forward<Function>(function));
  }
  template <class Function>
  auto and_then(Function&& function) const& {
    return and_then_of(*this, std::forward<Function>(function));
  }
  template <class Function>
  auto and_then(Function&& function) && {
    return and_then_of(std::move(*this), std::forward<Function>(function));
  }
  template <class Function>
  auto and_then(Function&& function) const&& {
    return and_then_of(std::move(*this), std::forward<Function>(function));
  }

  /// An `Expected` of what `function` makes of the value, a copy if that is a reference; the exception if that is held.
  template <class Function>
  auto transform(Function&& function) & {
    return transform_of(*this, std::forward<Function>(function));
  }
  template <class Function>
  auto transform(Function&& function) const& {
    return transform_of(*this, std::forward<Function>(function));
  }
  template <class Function>
  auto transform(Function&& function) && {
    return transform_of(std::move(*this), std::forward<Function>(function));
  }
  template <class Function>
  auto transform(Function&& function) const&& {
    return transform_of(std::move(*this), std::forward<Function>(function));
  }

  /// The value, or what `function` makes of the exception: an `Expected` of the same type, so that it can hold another
  /// exception or a value in its place.
  template <class Function>
  auto or_else(Function&& function) & {
    return or_else_of(*this, std::forward<Function>(function));
  }
  template <class Function>
  auto or_else(Function&& function) const& {
    return or_else_of(*this, std::forward<Function>(function));
  }
  template <class Function>
  auto or_else(Function&& function) && {
    return or_else_of(std::move(*this), std::forward<Function>(function));
  }
  template <class Function>
  auto or_else(Function&& function) const&& {
    return or_else_of(std::move(*this), std::forward<Function>(function));
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

  // `Self` is Expected as the object came: its value is taken the same way. The exception is always shared: an object
  // that holds one never holds a null one.

  /// Not to be called unless there is a value.
  template <class Self>
  static decltype(auto) value_of(Self&& self) {
    return std::get<value_index>(std::forward<Self>(self).alternative_);
  }
  /// Not to be called if there is a value. Throws if there is no exception either.
  std::exception_ptr failure() const {
    if (index() != exception_index) {
      require_value();
    }
    return exception();
  }

  template <class Self, class Function>
  static auto and_then_of(Self&& self, Function&& function) {
    using Value = decltype(value_of(std::forward<Self>(self)));
    using Result = std::decay_t<std::invoke_result_t<Function, Value>>;
    static_assert(detail::is_expected<Result>, "the function must return an Expected");
    return self.has_value() ? std::invoke(std::forward<Function>(function), value_of(std::forward<Self>(self)))
                            : Result(self.failure());
  }
  template <class Self, class Function>
  static auto transform_of(Self&& self, Function&& function) {
    using Value = decltype(value_of(std::forward<Self>(self)));
    using Result = std::invoke_result_t<Function, Value>;
    static_assert(!std::is_void_v<Result>, "the function must return something: there is no Expected of nothing");
    using Transformed = Expected<std::decay_t<Result>>;
    return self.has_value()
               ? Transformed(std::invoke(std::forward<Function>(function), value_of(std::forward<Self>(self))))
               : Transformed(self.failure());
  }
  template <class Self, class Function>
  static auto or_else_of(Self&& self, Function&& function) {
    using Result = std::decay_t<std::invoke_result_t<Function, std::exception_ptr>>;
    static_assert(std::is_same_v<Result, Expected>, "the function must return an Expected of the same type");
    return self.has_value() ? Expected(value_of(std::forward<Self>(self)))
                            : Expected(std::invoke(std::forward<Function>(function), self.failure()));
  }

  std::variant<T, std::exception_ptr, std::monostate> alternative_;  ///< the last, or none at all, if it is empty
};

}  // namespace foundation::core::util
