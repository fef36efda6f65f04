// One stream buffer that writes to several. Thread safety: none; a buffer belongs to one thread at a time.
#pragma once

#include <cpp11compat/char16_streams.hpp>
#include <fl/export.hpp>

#include <boost/smart_ptr/shared_ptr.hpp>

#include <streambuf>
#include <vector>

namespace foundation::core::io {

/// Copies everything that is written to it, and each flush, into all `targets` in their order; one that fails does not
/// keep the data from the others, but the write counts as failed. What a target throws leaves when all have been asked;
/// of several exceptions the first. Without targets every write succeeds. It cannot be
/// read. The targets are shared and not null.
FL_API boost::shared_ptr<std::basic_streambuf<char16_t>> make_ustreambuf_aggregator(
    const std::vector<boost::shared_ptr<std::basic_streambuf<char16_t>>>& targets);

}  // namespace foundation::core::io
