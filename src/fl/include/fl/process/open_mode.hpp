// The open modes of pipes: which ends are meant, and whether line ends are translated. Plain numbers, because they
// cross the interface and process boundaries, and the same with every run-time. What takes one of these takes those of
// `std::ios_base` as well, and translates them; but do not mix both in one mode.
#pragma once

#include <ios>
#include <type_traits>

namespace foundation::core::process::open_mode {

inline constexpr int read = 1;     ///< the read end, where one is handed on; a pipe that is made has both ends always
inline constexpr int write = 2;    ///< the write end, likewise
inline constexpr int binary = 32;  ///< no translation of line ends; without this bit a pipe is in text mode

}  // namespace foundation::core::process::open_mode

namespace foundation::core::process::detail {

/// `int` if `T` is the open mode of standard streams, no type otherwise. With run-times in which that is a plain `int`
/// it cannot be distinguished, and is taken as it is.
template <class T>
using standard_open_mode = std::enable_if_t<std::is_same_v<T, std::ios_base::openmode> && !std::is_same_v<T, int>, int>;

/// The mode of a pipe; what else a standard stream can be told means nothing to one.
constexpr int open_mode_of(std::ios_base::openmode mode) noexcept {
  const auto number_if = [mode](std::ios_base::openmode bit, int number) { return (mode & bit) == bit ? number : 0; };
  return number_if(std::ios_base::in, open_mode::read) | number_if(std::ios_base::out, open_mode::write) |
         number_if(std::ios_base::binary, open_mode::binary);
}

}  // namespace foundation::core::process::detail
