// Reading a text file. A file buffer of bytes with an adaptor before it.
#include <fl/io/streambuf_adaptor.hpp>
#include <fl/io/uifstream.hpp>
#include <i18n/facet.hpp>

#include <boost/smart_ptr/make_shared.hpp>

#include <utility>

namespace foundation::core::io {
namespace {

constexpr const char* default_encoding = "UTF-8";

}  // namespace

uifstream::uifstream(const fl::filesystem::path& path) : uifstream(path.string()) {}

uifstream::uifstream(const fl::filesystem::path& path, int mode, const std::string& encoding)
    : uifstream(path.string(), mode, encoding) {}

uifstream::uifstream(const ustring& path) : uifstream(path, std::ios_base::in, default_encoding) {}

uifstream::uifstream(const ustring& path, int mode, const std::string& encoding)
    : std::basic_istream<char16_t>(nullptr), file(boost::make_shared<fl::filesystem::basic_filebuf<char>>()) {
  file->open(path, static_cast<std::ios_base::openmode>(mode));  // `is_open` shows whether it has
  adaptor = make_ustreambuf_adaptor(file, encoding);
  rdbuf(adaptor.get());
  imbue(fl::i18n::facet::get_global_std_locale());
}

uifstream::~uifstream() = default;

uifstream& uifstream::operator=(uifstream&& other) {
  std::basic_istream<char16_t>::operator=(std::move(other));
  // NOLINTNEXTLINE(bugprone-use-after-move): the base has moved its own part only
  adaptor = std::move(other.adaptor);
  file = std::move(other.file);
  return *this;
}

void uifstream::close() {
  if (file) {
    file->close();
  }
}

bool uifstream::is_open() const {
  return file && file->is_open();
}

}  // namespace foundation::core::io
