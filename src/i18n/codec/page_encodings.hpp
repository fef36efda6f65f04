// The codecs of code pages, which are made at first use and then kept for ever. Any number of threads may ask.
#pragma once

#include "codec/codec.hpp"

namespace fl::i18n::detail {

struct codec_pair {
  const decoder* from_bytes = nullptr;
  const encoder* to_bytes = nullptr;
};

/// The codecs of a single-byte or double-byte code page of the system, or one of EUC-JP, GB18030 and what
/// iso_encodings.hpp has; nulls if the system lacks what they need. Throws `boost::system::system_error` if the system
/// refuses to tell what is in the page, which the next call asks for again, and `std::bad_alloc`.
codec_pair find_page_codecs(unsigned page);

}  // namespace fl::i18n::detail
