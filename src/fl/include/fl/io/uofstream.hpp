// Writing text files from UTF-16.
//
//     uofstream out(u"C:\\reports\\größe.txt");          // UTF-8, line ends as on this system
//     if (!out.is_open()) ...                            // nothing is thrown, and no state is set
//     out << u"three: " << 3 << u'\n';
//
// The file's encoding is a name of i18n/encoding.hpp; without another one it is UTF-8, and no byte order mark is
// written ("UTF-8-BOM" writes one). With UTF-16 or UTF-32, give `std::ios_base::binary` in the mode and write line ends
// as u"\r\n": the run-time's text mode puts 0D before each byte 0A, wherever it stands in a unit (the line end is 0A
// 00, U+010A is 0A 01), and behind it all units are shifted by a byte.
//
// The end. `close` and the destructor write out what the file's buffer holds and report no failure: who must know
// flushes before and looks at the state.
//
// Thread safety: as for the standard streams, one thread at a time per stream.
#pragma once

#include <cpp11compat/char16_streams.hpp>
#include <fl/export.hpp>
#include <fl/util/ustring.hpp>
#include <i18n/filebuf.hpp>
#include <i18n/path.hpp>

#include <boost/smart_ptr/shared_ptr.hpp>

#include <ostream>
#include <string>

namespace foundation::core::io {

/// A text file that is written from UTF-16.
class FL_API uofstream : public std::basic_ostream<char16_t> {
 public:
  /// With the mode `out` and the encoding "UTF-8": an existing file is emptied.
  uofstream(const fl::filesystem::path& path);
  /// As the last of these.
  uofstream(const fl::filesystem::path& path, int mode, const std::string& encoding);
  /// With the mode `out` and the encoding "UTF-8".
  uofstream(const ustring& path);
  /// `mode`: of `std::ios_base`, handed to the run-time as it is. A file that cannot be opened shows in `is_open`,
  /// and by `badbit` after the first write. Throws what `make_ustreambuf_adaptor` throws for the encoding.
  uofstream(const ustring& path, int mode, const std::string& encoding);
  /// Closes the file.
  ~uofstream() override;

  /// As the move assignment of `uostream`: takes the file over, but `rdbuf` of both stays as it was.
  uofstream& operator=(uofstream&& other);

  /// Writes out what is buffered and closes the file; a failure of that is not reported, and the state stays as it is.
  /// Nothing happens if the file is closed.
  void close();
  /// Whether there is a file.
  bool is_open() const;

 private:
  boost::shared_ptr<std::basic_streambuf<char16_t>> adaptor;    ///< not null unless moved from
  boost::shared_ptr<fl::filesystem::basic_filebuf<char>> file;  ///< likewise; `adaptor` holds it too
};

}  // namespace foundation::core::io
