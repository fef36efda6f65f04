// The file buffer of the file streams. Thread safety: none.
#pragma once

#include <i18n/filebuf.hpp>

#include "io/put_area.hpp"

namespace foundation::core::io {

class text_file_buffer final : public fl::filesystem::basic_filebuf<char>, public put_area<char> {
 public:
  space free_space() noexcept override { return {pptr(), static_cast<std::size_t>(epptr() - pptr())}; }
  void advance(std::size_t count) noexcept override { pbump(static_cast<int>(count)); }  // 64 KiB at most
};

}  // namespace foundation::core::io
