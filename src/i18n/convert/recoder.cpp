// Thread safety: as in the header.
#include "convert/recoder.hpp"

#include "codec/utf_step.hpp"

namespace fl::i18n::detail {

bool recoder::convert(char*& to, char* to_end, const char*& from, const char* from_end, bool last) {
  for (;;) {
    outcome decoded = outcome::full;
    if (next_ == units_end_) {
      next_ = units_;
      units_end_ = units_;
      units_position_ = decoder_.converted();
      decoded = decoder_.convert(units_end_, units_ + unit_count, from, from_end, last);
    }
    const outcome encoded = encoder_.convert(to, to_end, next_, units_end_, last && decoded == outcome::done);
    if (encoded == outcome::full) {
      return true;
    }
    if (encoded == outcome::ill_formed) {
      encoder_.refuse(refused_position(), "byte");
    }
    if (decoded == outcome::ill_formed) {
      decoder_.refuse(decoder_.converted(), "byte");
    }
    if (decoded == outcome::done) {
      return false;
    }
  }
}

/// UTF-8 refuses nothing that was decoded, so the text is UTF-8, and well-formed up to here.
std::uint64_t recoder::refused_position() const noexcept {
  std::uint64_t position = units_position_;
  for (const char16_t* unit = units_; unit != next_;) {
    position += static_cast<std::uint64_t>(utf8_traits::width(next_code_point(unit, next_)));
  }
  return position;
}

}  // namespace fl::i18n::detail
