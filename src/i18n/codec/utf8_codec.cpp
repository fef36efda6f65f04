// Thread safety: as in the header.
#include "codec/utf8_codec.hpp"

#include "codec/immortal.hpp"
#include "codec/utf8_decode.hpp"
#include "codec/utf8_encode.hpp"

namespace fl::i18n::detail {
namespace {

class utf8_to_units final : public decoder {
 public:
  stopped convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                  bool last) const noexcept override {
    return decode_utf8(from, end, to, to_end, last);
  }
  stopped resume(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                 bool last) const noexcept override {
    return decode_by_steps(from, end, to, to_end, last);
  }
  std::u16string_view replacement() const noexcept override { return u"\uFFFD"; }
};

class units_to_utf8 final : public encoder {
 public:
  stopped convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                  bool last) const noexcept override {
    return encode_utf8(from, end, to, to_end, last);
  }
  stopped resume(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                 bool last) const noexcept override {
    return encode_by_steps(from, end, to, to_end, last);
  }
  std::string_view replacement() const noexcept override { return "\xEF\xBF\xBD"; }
};

}  // namespace

const decoder& utf8_decoder() noexcept {
  return immortal<utf8_to_units>();
}

const encoder& utf8_encoder() noexcept {
  return immortal<units_to_utf8>();
}

}  // namespace fl::i18n::detail
