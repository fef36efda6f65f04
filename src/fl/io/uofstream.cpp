// Writing a text file. A file buffer of bytes with an adaptor before it.
#include <fl/io/streambuf_adaptor.hpp>
#include <fl/io/uofstream.hpp>
#include <i18n/facet.hpp>

#include "io/text_file_buffer.hpp"

#include <boost/smart_ptr/make_shared.hpp>

#include <utility>

namespace foundation::core::io {
namespace {

constexpr const char* default_encoding = "UTF-8";

}  // namespace

uofstream::uofstream(const fl::filesystem::path& path) : uofstream(path.string()) {}

uofstream::uofstream(const fl::filesystem::path& path, int mode, const std::string& encoding)
    : uofstream(path.string(), mode, encoding) {}

uofstream::uofstream(const ustring& path) : uofstream(path, std::ios_base::out, default_encoding) {}

uofstream::uofstream(const ustring& path, int mode, const std::string& encoding)
    : std::basic_ostream<char16_t>(nullptr), file(boost::make_shared<text_file_buffer>()) {
  file->open(path, static_cast<std::ios_base::openmode>(mode));  // `is_open` shows whether it has
  adaptor = make_ustreambuf_adaptor(file, encoding);
  rdbuf(adaptor.get());
  imbue(fl::i18n::facet::get_global_std_locale());
}

uofstream::~uofstream() = default;

uofstream& uofstream::operator=(uofstream&& other) {
  std::basic_ostream<char16_t>::operator=(std::move(other));
  // NOLINTNEXTLINE(bugprone-use-after-move): the base has moved its own part only
  adaptor = std::move(other.adaptor);
  file = std::move(other.file);
  return *this;
}

void uofstream::close() {
  if (file) {
    file->close();
  }
}

bool uofstream::is_open() const {
  return file && file->is_open();
}

}  // namespace foundation::core::io
