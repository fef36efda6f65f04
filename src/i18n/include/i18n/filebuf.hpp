// A file as a stream buffer of bytes, opened by a name in UTF-16.
//
// Thread safety: none; one thread at a time.
#pragma once

#include <i18n/export.hpp>
#include <i18n/ustring.hpp>

#include <fstream>
#include <ios>
#include <memory>
#include <string>

namespace fl::filesystem {

/// `std::basic_filebuf` with an `open` for names outside the active code page and beyond 260 characters. `char` is the
/// one character type that exists. Not to be moved or swapped as its base: the memory of its buffer stays where it is.
template <class Char, class Traits = std::char_traits<Char>>
class basic_filebuf : public std::basic_filebuf<Char, Traits> {
 public:
  /// With a buffer of 64 KiB. `pubsetbuf` sets another one, as long as no file is open. Throws `std::bad_alloc`.
  basic_filebuf();
  /// Closes the file; errors of that are swallowed, as `close` would return them.
  ~basic_filebuf() override;

  using std::basic_filebuf<Char, Traits>::open;

  /// Opens `path` (made ready for the system, see i18n/path.hpp) as the C run-time does, with `mode` as it is given:
  /// without `std::ios_base::binary` line ends are translated. Others may read and write the file meanwhile.
  ///
  /// Returns this, or null if a file is open already, the path holds a zero, or the system refuses; `errno` says why in
  /// the last case.
  basic_filebuf* open(const ustring& path, std::ios_base::openmode mode);

  void swap(std::basic_filebuf<Char, Traits>&) = delete;

 private:
  const std::unique_ptr<Char[]> buffer_;  ///< larger than the standard library's own; not null
};

extern template class I18N_API basic_filebuf<char>;

}  // namespace fl::filesystem
