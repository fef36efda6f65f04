// The kernel: what simdutf has for this processor. It converts well-formed text by blocks, stops at the first
// ill-formed place and tells where; what follows from that is the codecs' own.
//
// Published as: D. Lemire and W. Muła, "Transcoding billions of Unicode characters per second with SIMD instructions",
// Software: Practice and Experience 52 (2022); R. Clausecker and D. Lemire, "Transcoding Unicode characters with
// AVX-512 instructions", the same 53 (2023).
//
// Thread safety: any number of threads may ask first.
#pragma once

#include <simdutf.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace fl::i18n::detail {

/// No kernel takes fewer units: asking which one it is would take longer than to convert them.
constexpr std::size_t least_of_any_kernel = 8;

struct kernel_choice {
  const simdutf::implementation* functions;  ///< Not null.
  /// A shorter text, in units, takes less time step by step.
  std::size_t least;
};

/// Writable for tests alone, which try each kernel that the processor can run; while no other thread converts.
inline kernel_choice& kernel() noexcept {
  // Not simdutf's own choice, which a variable of the environment can replace by nothing at all.
  static kernel_choice best = [] {
    const simdutf::implementation* const found = simdutf::get_available_implementations().detect_best_supported();
    // The one that masks what lies beyond the end is quick with a few units, too.
    return kernel_choice{found, found->name() == "icelake" ? least_of_any_kernel : 64};
  }();
  return best;
}

/// Whether a kernel may take these bytes for units of that size: its loops over what is left at the end count on it.
template <class Unit>
bool is_aligned(const char* bytes) noexcept {
  return reinterpret_cast<std::uintptr_t>(bytes) % alignof(Unit) == 0;
}

}  // namespace fl::i18n::detail
