// The open modes of pipes: which ends are meant, and whether line ends are translated. Plain numbers, because they
// cross the interface and process boundaries; they are this library's own and must not be mixed with `std::ios_base`
// values: what accepts one of these does not compile with one of those, where the compiler can distinguish them.
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
/// it cannot be distinguished, and nothing is refused.
template <class T>
using standard_open_mode = std::enable_if_t<std::is_same_v<T, std::ios_base::openmode> && !std::is_same_v<T, int>, int>;

}  // namespace foundation::core::process::detail
