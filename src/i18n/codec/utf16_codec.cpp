// What is no surrogate, which is nearly everything, goes eight units at a time. Thread safety: as in the header.
#include "codec/utf16_codec.hpp"

#include "codec/block.hpp"
#include "codec/immortal.hpp"
#include "codec/unit_bytes.hpp"
#include "codec/utf_step.hpp"

namespace fl::i18n::detail {
namespace {

constexpr std::size_t unit_size = 2;    // Bytes.
constexpr std::size_t block_size = 16;  // Bytes, too.

/// Which of eight units are surrogates.
__m128i surrogates(__m128i units) {
  return _mm_cmpeq_epi16(_mm_and_si128(units, lanes16(0xF800)), lanes16(0xD800));
}

/// Copies blocks without surrogates and moves both positions behind them. In one of the areas the units are in the byte
/// order `Order`, in the other they are little-endian.
template <byte_order Order, class Out, class In>
void copy_blocks(const In*& from, const In* end, Out*& to, const Out* to_end) {
  constexpr bool from_bytes = sizeof(In) == 1;
  constexpr std::size_t in_block = block_size / sizeof(In);
  constexpr std::size_t out_block = block_size / sizeof(Out);
  while (static_cast<std::size_t>(end - from) >= in_block && static_cast<std::size_t>(to_end - to) >= out_block) {
    const __m128i read = load_block(from);
    const __m128i written =
        Order == byte_order::little ? read : _mm_or_si128(_mm_slli_epi16(read, 8), _mm_srli_epi16(read, 8));
    if (_mm_movemask_epi8(surrogates(from_bytes ? written : read)) != 0) {
      return;
    }
    store_block(to, written);
    from += in_block;
    to += out_block;
  }
}

template <byte_order Order>
class utf16_to_units final : public decoder {
 public:
  stopped convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                  bool last) const noexcept override {
    for (;;) {
      copy_blocks<Order>(from, end, to, to_end);
      const std::size_t available = static_cast<std::size_t>(end - from) / unit_size;
      if (available == 0) {
        return from == end || !last ? stopped{} : stopped{stop_reason::ill_formed, 1};
      }
      char16_t units[2] = {load(from)};
      if (available > 1) {
        units[1] = load(from + unit_size);
      }
      const utf16_character next = read_utf16(units, units + (available > 1 ? 2 : 1));
      if (next.length == 0) {
        return next.cut && !last ? stopped{} : stopped{stop_reason::ill_formed, unit_size};
      }
      if (static_cast<std::size_t>(to_end - to) < next.length) {
        return {stop_reason::output_full};
      }
      to = utf16_traits::encode(next.value, to);
      from += next.length * unit_size;
    }
  }
  std::u16string_view replacement() const noexcept override { return u"\uFFFD"; }

 private:
  static char16_t load(const char* from) { return static_cast<char16_t>(load_unit<Order, unit_size>(from)); }
};

template <byte_order Order>
class units_to_utf16 final : public encoder {
 public:
  stopped convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                  bool last) const noexcept override {
    for (;;) {
      copy_blocks<Order>(from, end, to, to_end);
      if (from == end) {
        return {};
      }
      const utf16_character next = read_utf16(from, end);
      if (next.length == 0) {
        return next.cut && !last ? stopped{} : stopped{stop_reason::ill_formed, 1};
      }
      if (static_cast<std::size_t>(to_end - to) < next.length * unit_size) {
        return {stop_reason::output_full};
      }
      for (std::size_t i = 0; i != next.length; ++i, to += unit_size) {
        store_unit<Order, unit_size>(to, *from++);
      }
    }
  }
  std::string_view replacement() const noexcept override {
    return Order == byte_order::little ? "\xFD\xFF" : "\xFF\xFD";
  }
};

}  // namespace

const decoder& utf16_decoder(byte_order order) noexcept {
  if (order == byte_order::little) {
    return immortal<utf16_to_units<byte_order::little>>();
  }
  return immortal<utf16_to_units<byte_order::big>>();
}

const encoder& utf16_encoder(byte_order order) noexcept {
  if (order == byte_order::little) {
    return immortal<units_to_utf16<byte_order::little>>();
  }
  return immortal<units_to_utf16<byte_order::big>>();
}

}  // namespace fl::i18n::detail
