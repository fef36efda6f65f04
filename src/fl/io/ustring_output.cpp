// UTF-16 text on `char` streams.
#include <fl/io/ustring_output.hpp>
#include <i18n/convert.hpp>

namespace std {

ostream& operator<<(ostream& stream, const fl::ustring& text) {
  return stream << fl::i18n::ustring_to_utf8(text);
}

ostream& operator<<(ostream& stream, const char16_t* text) {
  return stream << fl::ustring(text);
}

}  // namespace std
