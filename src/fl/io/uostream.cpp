// The output stream: a standard one that holds a share of its buffer.
#include <fl/io/uostream.hpp>
#include <i18n/facet.hpp>

#include <utility>

namespace foundation::core::io {

uostream::uostream(const boost::shared_ptr<std::basic_streambuf<char16_t>>& buffer)
    : std::basic_ostream<char16_t>(buffer.get()), buf(buffer) {
  imbue(fl::i18n::facet::get_global_std_locale());
}

uostream::~uostream() = default;

uostream& uostream::operator=(uostream&& other) {
  std::basic_ostream<char16_t>::operator=(std::move(other));
  // NOLINTNEXTLINE(bugprone-use-after-move): the base has moved its own part only
  buf = std::move(other.buf);
  return *this;
}

boost::shared_ptr<std::basic_streambuf<char16_t>> uostream::getbuf() const {
  return buf;
}

// The former buffer goes last: until `rdbuf` the stream still points to it.
void uostream::setbuf(const boost::shared_ptr<std::basic_streambuf<char16_t>>& buffer) {
  if (buffer == buf) {
    return;
  }
  const boost::shared_ptr<std::basic_streambuf<char16_t>> former = std::exchange(buf, buffer);
  rdbuf(buf.get());
}

}  // namespace foundation::core::io
