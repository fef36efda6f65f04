// UTF-16 text on ordinary `char` streams, as UTF-8 whatever the stream's locale:
//
//     std::cerr << file_name << '\n';   // a ustring
//
// In `std`, so that lookup finds them for `ustring`. Width and fill apply as for a `std::string` of the bytes.
#pragma once

#include <fl/export.hpp>
#include <i18n/ustring.hpp>

#include <ostream>

namespace std {

FL_API ostream& operator<<(ostream& stream, const fl::ustring& text);
/// `text` is zero-terminated and not null.
FL_API ostream& operator<<(ostream& stream, const char16_t* text);

}  // namespace std
