// The encodings whose tables are read from the system: each at first use, and then kept for ever. Any number of threads
// may ask.
//
// All throw `missing_code_page`; `boost::system::system_error` if the system refuses to say what is in the page, which
// the next call asks for again; and `std::bad_alloc`.
#pragma once

#include "codec/text_encoding.hpp"

#include <exception>

namespace fl::i18n::detail {

/// The system lacks the code page that an encoding needs.
struct missing_code_page : std::exception {};

/// A single-byte or double-byte code page as the system has it.
text_encoding page_encoding(unsigned page);

/// Of eucjp_codec.hpp.
text_encoding euc_jp();

/// Of gb18030_codec.hpp.
text_encoding gb18030();

}  // namespace fl::i18n::detail
