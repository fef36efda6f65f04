// Output of UTF-16 text.
//
// A standard stream of `char16_t`: `<<` of text, numbers, manipulators, with the locale of i18n/facet.hpp, which can
// format for that character type. It shares its buffer, so that nobody has to keep it alive:
//
//     uostream out(make_ustreambuf_adaptor(bytes, "UTF-8"));
//     out << u"answer: " << 42 << std::endl;
//
// Text of another character type must be converted before (i18n/convert.hpp): `out << "narrow"` prints each `char` as
// the unit with its number.
//
// Thread safety: as for the standard streams, one thread at a time per stream.
#pragma once

#include <cpp11compat/char16_streams.hpp>
#include <fl/export.hpp>
#include <fl/util/ustring.hpp>

#include <boost/smart_ptr/shared_ptr.hpp>

#include <ostream>

namespace foundation::core::io {

/// A stream that writes UTF-16 to a shared buffer.
class FL_API uostream : public std::basic_ostream<char16_t> {
 public:
  /// Writes to `buffer`, of which it holds a share. With a null `buffer` the stream is in the state `badbit`.
  explicit uostream(const boost::shared_ptr<std::basic_streambuf<char16_t>>& buffer);
  /// Flushes nothing: what the buffer does when its last holder goes is the buffer's affair.
  ~uostream() override;

  /// Exchanges the state, the format and the locale, takes over the share in the other one's buffer and leaves that
  /// without one, and gives up its own. `rdbuf` of both stays as it was: before anything else is done with this stream
  /// it must be given its buffer, as by `rdbuf(getbuf().get())`.
  uostream& operator=(uostream&& other);

  /// The buffer that the stream holds; null if it has none.
  boost::shared_ptr<std::basic_streambuf<char16_t>> getbuf() const;
  /// Writes to `buffer` from now on and clears the state (to `badbit` if `buffer` is null). Does nothing if it is the
  /// one that the stream holds.
  void setbuf(const boost::shared_ptr<std::basic_streambuf<char16_t>>& buffer);

 private:
  boost::shared_ptr<std::basic_streambuf<char16_t>> buf;  ///< may be null
};

}  // namespace foundation::core::io
