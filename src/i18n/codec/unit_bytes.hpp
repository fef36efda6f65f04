// Units of several bytes in either byte order. Thread safety: pure functions.
#pragma once

#include "codec/byte_order.hpp"

#include <cstddef>
#include <cstdint>

namespace fl::i18n::detail {

/// The unit of `Size` bytes at `bytes`.
template <byte_order Order, std::size_t Size>
std::uint32_t load_unit(const char* bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i != Size; ++i) {
    value = value << 8 | static_cast<unsigned char>(bytes[Order == byte_order::big ? i : Size - 1 - i]);
  }
  return value;
}

template <byte_order Order, std::size_t Size>
void store_unit(char* to, std::uint32_t value) {
  for (std::size_t i = 0; i != Size; ++i) {
    to[Order == byte_order::little ? i : Size - 1 - i] = static_cast<char>(value >> 8 * i & 0xFF);
  }
}

}  // namespace fl::i18n::detail
