// Thread safety: as in the header.
#include "codec/latin1_codec.hpp"

#include "codec/ascii_run.hpp"
#include "codec/immortal.hpp"
#include "codec/kernel.hpp"

namespace fl::i18n::detail {
namespace {

class latin1_to_units final : public decoder {
 public:
  stopped convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end, bool) const noexcept override {
    const std::size_t count = room(from, end, to, to_end);
    to += kernel::latin1_to_utf16(from, count, to).written;
    from += count;
    return from == end ? stopped{} : stopped{stop_reason::output_full};
  }
  std::u16string_view replacement() const noexcept override { return u"\uFFFD"; }
};

class units_to_latin1 final : public encoder {
 public:
  stopped convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end, bool) const noexcept override {
    const std::size_t count = room(from, end, to, to_end);
    const kernel::outcome done = kernel::utf16_to_latin1(from, count, to);
    for (from += done.used, to += done.written; from != end; ++from) {
      if (*from > 0xFF) {
        return {stop_reason::ill_formed, 1};
      }
      if (to == to_end) {
        return {stop_reason::output_full};
      }
      *to++ = static_cast<char>(*from);
    }
    return {};
  }
  std::string_view replacement() const noexcept override { return "?"; }
};

}  // namespace

const decoder& latin1_decoder() noexcept {
  return immortal<latin1_to_units>();
}

const encoder& latin1_encoder() noexcept {
  return immortal<units_to_latin1>();
}

}  // namespace fl::i18n::detail
