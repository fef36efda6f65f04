// Reading text files as UTF-16: the counterpart of fl/io/uofstream.hpp.
//
//     uifstream in(u"C:\\reports\\größe.txt");
//     if (!in.is_open()) ...                             // nothing is thrown, and no state is set
//     for (ustring line; std::getline(in, line);)
//       ...
//
// Bytes that are no text in the file's encoding become U+FFFD. A byte order mark is removed if the name of the encoding
// says that there may be one (i18n/encoding.hpp): "UTF-8", also where it is the default, gives it as U+FEFF before the
// first line, and "UTF-8-BOM" drops it.
//
// Without `std::ios_base::binary` in the mode the run-time's text mode works on the bytes of the file: 0D 0A becomes
// 0A, and 1A is the end. That suits encodings that keep US-ASCII. With UTF-16 or UTF-32, give `binary`: of U+0A0D a
// byte is lost, and all units behind it are read from the wrong halves, and a character such as U+011A ends the file.
// Lines then end in U+000D.
//
// Thread safety: as for the standard streams, one thread at a time per stream.
#pragma once

#include <cpp11compat/char16_streams.hpp>
#include <fl/export.hpp>
#include <fl/util/ustring.hpp>
#include <i18n/filebuf.hpp>
#include <i18n/path.hpp>

#include <boost/smart_ptr/shared_ptr.hpp>

#include <istream>
#include <string>

namespace foundation::core::io {

/// A text file that is read as UTF-16.
class FL_API uifstream : public std::basic_istream<char16_t> {
 public:
  /// With the mode `in` and the encoding "UTF-8".
  uifstream(const fl::filesystem::path& path);
  /// As the last of these.
  uifstream(const fl::filesystem::path& path, int mode, const std::string& encoding);
  /// With the mode `in` and the encoding "UTF-8".
  uifstream(const ustring& path);
  /// `mode`: of `std::ios_base`, handed to the run-time as it is. A file that cannot be opened shows in `is_open`,
  /// and by the end of file at the first read. Throws what `make_ustreambuf_adaptor` throws for the encoding.
  uifstream(const ustring& path, int mode, const std::string& encoding);
  /// Closes the file.
  ~uifstream() override;

  /// As the move assignment of `uostream`: takes the file over, but `rdbuf` of both stays as it was.
  uifstream& operator=(uifstream&& other);

  /// Closes the file; a failure of that is not reported, and the state stays as it is. Nothing happens if the file is
  /// closed. What has been read ahead can still be read.
  void close();
  /// Whether there is a file.
  bool is_open() const;

 private:
  boost::shared_ptr<std::basic_streambuf<char16_t>> adaptor;    ///< not null unless moved from
  boost::shared_ptr<fl::filesystem::basic_filebuf<char>> file;  ///< likewise; `adaptor` holds it too
};

}  // namespace foundation::core::io
