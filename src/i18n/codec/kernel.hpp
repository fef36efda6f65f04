// The kernel: what simdutf has for this processor. It converts well-formed text by blocks, stops at the first
// ill-formed place and tells where; what follows from that is the codecs' own. Nobody else sees simdutf.
//
// Published as: D. Lemire and W. Muła, "Transcoding billions of Unicode characters per second with SIMD instructions",
// Software: Practice and Experience 52 (2022); R. Clausecker and D. Lemire, "Transcoding Unicode characters with
// AVX-512 instructions", the same 53 (2023).
//
// Thread safety: pure functions, but for `use`.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fl::i18n::detail::kernel {

/// No kernel takes fewer units: to ask it would take longer than to convert them.
constexpr std::size_t least = 8;

struct outcome {
  std::size_t used;     ///< units of input, as far as it is well-formed
  std::size_t written;  ///< units of output; what stands behind them is of no use
};

// Each converts `count` units to where there is room for what all of them give if they are well-formed, and at least as
// much as its length function tells. It uses none if there are so few that step by step is quicker. A character that
// the end cuts is ill-formed.

outcome utf8_to_utf16(const char* from, std::size_t count, char16_t* to) noexcept;
outcome utf16_to_utf8(const char16_t* from, std::size_t count, char* to) noexcept;
outcome utf16_to_latin1(const char16_t* from, std::size_t count, char* to) noexcept;
outcome latin1_to_utf16(const char* from, std::size_t count, char16_t* to) noexcept;
// Of units in memory as they are, aligned to their size: little-endian, but where it says big.
outcome utf16_to_utf16(const char16_t* from, std::size_t count, char16_t* to) noexcept;
outcome utf16_to_utf16_big(const char16_t* from, std::size_t count, char16_t* to) noexcept;
outcome utf16_big_to_utf16(const char16_t* from, std::size_t count, char16_t* to) noexcept;
outcome utf32_to_utf16(const char32_t* from, std::size_t count, char16_t* to) noexcept;
outcome utf16_to_utf32(const char16_t* from, std::size_t count, char32_t* to) noexcept;

/// What well-formed text gives.
std::size_t utf16_length(const char* utf8, std::size_t count) noexcept;
std::size_t utf8_length(const char16_t* utf16, std::size_t count) noexcept;

/// For tests: takes another one of those that this processor can run, and takes all lengths or as it is for that one.
/// Any turn has one. While no other thread converts.
void use(std::size_t turn) noexcept;

/// Whether units may be read or written there.
template <class Unit>
bool is_aligned(const char* bytes) noexcept {
  return reinterpret_cast<std::uintptr_t>(bytes) % alignof(Unit) == 0;
}

}  // namespace fl::i18n::detail::kernel
