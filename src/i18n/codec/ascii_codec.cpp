// Thread safety: as in the header.
#include "codec/ascii_codec.hpp"

#include "codec/ascii_run.hpp"
#include "codec/immortal.hpp"

namespace fl::i18n::detail {
namespace {

template <class Out, class In>
stopped convert_ascii(const In*& from, const In* end, Out*& to, Out* to_end) noexcept {
  copy_ascii(from, end, to, to_end);
  if (from == end) {
    return {};
  }
  return is_ascii(*from) ? stopped{stop_reason::output_full} : stopped{stop_reason::ill_formed, 1};
}

class ascii_to_units final : public decoder {
 public:
  stopped convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end, bool) const noexcept override {
    return convert_ascii(from, end, to, to_end);
  }
  std::u16string_view replacement() const noexcept override { return u"\uFFFD"; }
};

class units_to_ascii final : public encoder {
 public:
  stopped convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end, bool) const noexcept override {
    return convert_ascii(from, end, to, to_end);
  }
  std::string_view replacement() const noexcept override { return "?"; }
};

}  // namespace

const decoder& ascii_decoder() noexcept {
  return immortal<ascii_to_units>();
}

const encoder& ascii_encoder() noexcept {
  return immortal<units_to_ascii>();
}

}  // namespace fl::i18n::detail
