// Well-formed text is the kernel's, what it leaves is taken character by character. Thread safety: as in the header.
#include "codec/utf16_codec.hpp"

#include "codec/immortal.hpp"
#include "codec/kernel.hpp"
#include "codec/unit_bytes.hpp"
#include "codec/utf_step.hpp"

#include <algorithm>

namespace fl::i18n::detail {
namespace {

constexpr std::uint32_t unit_size = 2;  // Bytes.
constexpr std::size_t steps = 16;       // Between two tries of the kernel.

/// Copies well-formed units by `Convert`, of the kernel, and moves both positions behind them. On one side they are
/// bytes.
template <auto Convert, class Out, class In>
void copy_by_kernel(const In*& from, const In* end, Out*& to, const Out* to_end) {
  constexpr std::size_t in_unit = unit_size / sizeof(In);
  constexpr std::size_t out_unit = unit_size / sizeof(Out);
  const std::size_t most =
      std::min(static_cast<std::size_t>(end - from) / in_unit, static_cast<std::size_t>(to_end - to) / out_unit);
  const auto* const bytes = reinterpret_cast<const char*>(from);
  auto* const written = reinterpret_cast<char*>(to);
  if (most < kernel::least || !kernel::is_aligned<char16_t>(bytes) || !kernel::is_aligned<char16_t>(written)) {
    return;
  }
  const auto* const units = reinterpret_cast<const char16_t*>(bytes);
  const kernel::outcome done = Convert(units, most, reinterpret_cast<char16_t*>(written));
  from += done.used * in_unit;
  to += done.written * out_unit;
}

template <byte_order Order>
class utf16_to_units final : public decoder {
 public:
  stopped convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                  bool last) const noexcept override {
    for (std::size_t taken = 0;; ++taken) {
      if (taken % steps == 0) {
        copy_by_kernel<Order == byte_order::little ? kernel::utf16_to_utf16 : kernel::utf16_big_to_utf16>(from, end, to,
                                                                                                          to_end);
      }
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
    for (std::size_t taken = 0;; ++taken) {
      if (taken % steps == 0) {
        copy_by_kernel<Order == byte_order::little ? kernel::utf16_to_utf16 : kernel::utf16_to_utf16_big>(from, end, to,
                                                                                                          to_end);
      }
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
