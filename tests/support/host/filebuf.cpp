// The file buffer over the names of this system.
#include <i18n/convert.hpp>
#include <i18n/filebuf.hpp>

namespace fl::filesystem {

template <class Char, class Traits>
basic_filebuf<Char, Traits>::basic_filebuf() : buffer_(new Char[64 * 1024]) {
  this->pubsetbuf(buffer_.get(), 64 * 1024);
}

template <class Char, class Traits>
basic_filebuf<Char, Traits>::~basic_filebuf() {
  this->close();
}

template <class Char, class Traits>
basic_filebuf<Char, Traits>* basic_filebuf<Char, Traits>::open(const ustring& name, std::ios_base::openmode mode) {
  return open(i18n::ustring_to_utf8(name), mode) != nullptr ? this : nullptr;
}

template class basic_filebuf<char>;

}  // namespace fl::filesystem
