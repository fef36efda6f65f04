// Input of UTF-16 text from a string.
//
//     uistringstream text(u"3 4");
//     text >> width >> height;
//
// Thread safety: as for the standard streams, one thread at a time per stream.
#pragma once

#include <fl/io/uistream.hpp>

#include <sstream>

namespace foundation::core::io {

/// A stream that reads UTF-16 from a string of its own.
class FL_API uistringstream : public uistream {
 public:
  /// Empty, for input.
  uistringstream();
  /// `mode`: of `std::ios_base`; `in` is always added.
  explicit uistringstream(int mode);
  /// Reads the text `initial`.
  explicit uistringstream(ustring initial, int mode = std::ios_base::in);
  /// Takes the text and the position over and leaves `other` with an empty text. State, format and locale are those of
  /// a new stream.
  uistringstream(uistringstream&& other);
  ~uistringstream() override;

  /// Takes the text and the position over, leaves `other` with an empty text and clears the state. Format and locale
  /// stay. Nothing happens on assignment to itself.
  uistringstream& operator=(uistringstream&& other);

  /// A copy of the whole text, read or not.
  ustring str() const;
  /// Replaces the text, which is read from its beginning; the mode stays.
  void str(const ustring& text);

 private:
  std::basic_stringbuf<char16_t> buffer_;
};

}  // namespace foundation::core::io
