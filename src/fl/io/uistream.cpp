// The input stream: a standard one that holds a share of its buffer.
#include <fl/io/uistream.hpp>
#include <i18n/facet.hpp>

#include <utility>

namespace foundation::core::io {

uistream::uistream(const boost::shared_ptr<std::basic_streambuf<char16_t>>& buffer)
    : std::basic_istream<char16_t>(buffer.get()), buf(buffer) {
  imbue(fl::i18n::facet::get_global_std_locale());
}

uistream::~uistream() = default;

uistream& uistream::operator=(uistream&& other) {
  std::basic_istream<char16_t>::operator=(std::move(other));
  // NOLINTNEXTLINE(bugprone-use-after-move): the base has moved its own part only
  buf = std::move(other.buf);
  return *this;
}

}  // namespace foundation::core::io
