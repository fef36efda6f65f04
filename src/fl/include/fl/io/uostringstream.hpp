// Output of UTF-16 text into a string.
//
//     uostringstream text;
//     text << u"pi: " << 3.14159;
//     use(text.str());
//
// Thread safety: as for the standard streams, one thread at a time per stream.
#pragma once

#include <fl/io/uostream.hpp>

#include <sstream>

namespace foundation::core::io {

/// A stream that writes UTF-16 to a string of its own.
class FL_API uostringstream : public uostream {
 public:
  /// Empty, for output.
  uostringstream();
  /// `mode`: of `std::ios_base`; `out` is always added.
  explicit uostringstream(int mode);
  /// Begins with the text `initial`, which is overwritten from its beginning unless `mode` has `ate` or `app`.
  explicit uostringstream(ustring initial, int mode = std::ios_base::out);
  /// Takes the text and the position over and leaves `other` with an empty text. State, format and locale are those of
  /// a new stream.
  uostringstream(uostringstream&& other);
  ~uostringstream() override;

  /// Takes the text and the position over, leaves `other` with an empty text and clears the state. Format and locale
  /// stay. Nothing happens on assignment to itself.
  uostringstream& operator=(uostringstream&& other);

  /// A copy of the text so far.
  ustring str() const;
  /// Replaces the text; the mode stays.
  void str(const ustring& text);

 private:
  std::basic_stringbuf<char16_t> buffer_;
};

}  // namespace foundation::core::io
