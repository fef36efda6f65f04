// The file buffer. The standard library's own `open` for wide names calls `_wfopen`, which denies others nothing
// (_SH_DENYNO): tests/windows/io/uofstream_test.cpp opens a file twice.
#include <i18n/filebuf.hpp>
#include <i18n/path.hpp>

#include <cstddef>

namespace fl::filesystem {
namespace {

/// In bytes. The standard library's default is the run-time's BUFSIZ, 512 here: a system call for each eight lines.
constexpr std::size_t buffer_size = 64 * 1024;

}  // namespace

// Out of the class, or the compiler exports none of them.

// At once and not when a file is opened: until then the user may set another buffer.
template <class Char, class Traits>
basic_filebuf<Char, Traits>::basic_filebuf() : buffer_(new Char[buffer_size]) {
  this->pubsetbuf(buffer_.get(), buffer_size);
}

// Closes here: the base, which still writes from the buffer when it closes, is destroyed after it.
template <class Char, class Traits>
basic_filebuf<Char, Traits>::~basic_filebuf() {
  try {
    this->close();
  } catch (...) {  // nobody is left who could be informed
  }
}

template <class Char, class Traits>
basic_filebuf<Char, Traits>* basic_filebuf<Char, Traits>::open(const ustring& name, std::ios_base::openmode mode) {
  if (this->is_open() || name.find(u'\0') != ustring::npos) {
    return nullptr;
  }
  const std::wstring native = detail::make_native_access_form_with_cleanup_i18n(name);
  return open(native.c_str(), mode) != nullptr ? this : nullptr;
}

template class basic_filebuf<char>;

}  // namespace fl::filesystem
