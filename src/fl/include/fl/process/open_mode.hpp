// The open modes of pipes: which ends are meant, and whether line ends are translated. Plain numbers, because they
// cross the interface and process boundaries; they are this library's own and must not be mixed with `std::ios_base`
// values.
#pragma once

namespace foundation::core::process::open_mode {

inline constexpr int read = 1;     ///< the read end
inline constexpr int write = 2;    ///< the write end
inline constexpr int binary = 32;  ///< no translation of line ends; without this bit a pipe is in text mode

}  // namespace foundation::core::process::open_mode
