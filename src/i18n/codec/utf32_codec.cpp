// Thread safety: as in the header.
#include "codec/utf32_codec.hpp"

#include "codec/immortal.hpp"
#include "codec/kernel.hpp"
#include "codec/unit_bytes.hpp"
#include "codec/utf_step.hpp"

#include <algorithm>
#include <cstdint>

namespace fl::i18n::detail {
namespace {

constexpr std::uint32_t unit_size = 4;  // Bytes.
constexpr std::size_t steps = 16;       // Between two tries of the kernel, which has little-endian units alone.

/// Converts well-formed units for which there is certainly room, and moves both positions behind them.
void decode_by_kernel(const char*& from, const char* end, char16_t*& to, const char16_t* to_end) {
  const std::size_t count =
      std::min(static_cast<std::size_t>(end - from) / unit_size, static_cast<std::size_t>(to_end - to) / 2);
  if (count < kernel::least || !kernel::is_aligned<char32_t>(from)) {
    return;
  }
  const kernel::outcome done = kernel::utf32_to_utf16(reinterpret_cast<const char32_t*>(from), count, to);
  from += done.used * unit_size;
  to += done.written;
}

void encode_by_kernel(const char16_t*& from, const char16_t* end, char*& to, const char* to_end) {
  std::size_t count = std::min(static_cast<std::size_t>(end - from), static_cast<std::size_t>(to_end - to) / unit_size);
  if (count < kernel::least || !kernel::is_aligned<char32_t>(to)) {
    return;
  }
  if (utf16_traits::is_first_surrogate(from[count - 1])) {
    --count;  // Its other half is not there.
  }
  const kernel::outcome done = kernel::utf16_to_utf32(from, count, reinterpret_cast<char32_t*>(to));
  from += done.used;
  to += done.written * unit_size;
}

template <byte_order Order>
class utf32_to_units final : public decoder {
 public:
  stopped convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                  bool last) const noexcept override {
    for (std::size_t taken = 0;; ++taken, from += unit_size) {
      if (Order == byte_order::little && taken % steps == 0) {
        decode_by_kernel(from, end, to, to_end);
      }
      if (static_cast<std::size_t>(end - from) < unit_size) {
        break;
      }
      const code_point value = load_unit<Order, unit_size>(from);
      if (!boost::locale::utf::is_valid_codepoint(value)) {
        return {stop_reason::ill_formed, unit_size};
      }
      if (to_end - to < utf16_traits::width(value)) {
        return {stop_reason::output_full};
      }
      to = utf16_traits::encode(value, to);
    }
    return from == end || !last ? stopped{} : stopped{stop_reason::ill_formed, static_cast<std::uint32_t>(end - from)};
  }
  std::u16string_view replacement() const noexcept override { return u"\uFFFD"; }
};

template <byte_order Order>
class units_to_utf32 final : public encoder {
 public:
  stopped convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                  bool last) const noexcept override {
    for (std::size_t taken = 0;; ++taken) {
      if (Order == byte_order::little && taken % steps == 0) {
        encode_by_kernel(from, end, to, to_end);
      }
      if (from == end) {
        return {};
      }
      const utf16_character next = read_utf16(from, end);
      if (next.length == 0) {
        return next.cut && !last ? stopped{} : stopped{stop_reason::ill_formed, 1};
      }
      if (static_cast<std::size_t>(to_end - to) < unit_size) {
        return {stop_reason::output_full};
      }
      store_unit<Order, unit_size>(to, next.value);
      to += unit_size;
      from += next.length;
    }
  }
  std::string_view replacement() const noexcept override {
    constexpr std::string_view little("\xFD\xFF\0\0", unit_size);
    constexpr std::string_view big("\0\0\xFF\xFD", unit_size);
    return Order == byte_order::little ? little : big;
  }
};

}  // namespace

const decoder& utf32_decoder(byte_order order) noexcept {
  if (order == byte_order::little) {
    return immortal<utf32_to_units<byte_order::little>>();
  }
  return immortal<utf32_to_units<byte_order::big>>();
}

const encoder& utf32_encoder(byte_order order) noexcept {
  if (order == byte_order::little) {
    return immortal<units_to_utf32<byte_order::little>>();
  }
  return immortal<units_to_utf32<byte_order::big>>();
}

}  // namespace fl::i18n::detail
