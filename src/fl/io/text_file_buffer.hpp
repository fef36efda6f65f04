// The file buffer of the file streams. Thread safety: none.
#pragma once

#include <i18n/filebuf.hpp>

#include "io/put_area.hpp"

#include <algorithm>
#include <cwchar>
#include <locale>
#include <streambuf>

namespace foundation::core::io {

/// What the file refuses stays in the put area, and nothing else does. The standard library's buffer keeps all of it,
/// also what the file has accepted before it refused, and the unit that did not fit: the next attempt, which may be
/// that of `close`, would write these twice.
class text_file_buffer final : public fl::filesystem::basic_filebuf<char>, public put_area<char> {
 public:
  space free_space() noexcept override { return {pptr(), static_cast<std::size_t>(epptr() - pptr())}; }
  void advance(std::size_t count) noexcept override { pbump(static_cast<int>(count)); }  // 64 KiB at most

 protected:
  int_type overflow(int_type c) override {
    const std::locale locale = getloc();
    const auto& conversion = std::use_facet<std::codecvt<char, char, std::mbstate_t>>(locale);
    if (!conversion.always_noconv()) {
      return basic_filebuf::overflow(c);
    }
    const std::streamsize filled = pptr() - pbase();
    // The library's own file, since no public call says how much the system has accepted.
    const std::streamsize written = filled == 0 ? 0 : _M_file.xsputn(pbase(), filled);
    std::copy(pbase() + written, pptr(), pbase());
    pbump(-static_cast<int>(written));
    return written == filled ? basic_filebuf::overflow(c) : traits_type::eof();
  }

  /// By way of the put area always: the standard library's would write it and a long text in two steps, as one.
  std::streamsize xsputn(const char* bytes, std::streamsize n) override { return std::streambuf::xsputn(bytes, n); }
};

}  // namespace foundation::core::io
