// Stream buffers that convert between encodings while the data passes.
//
// An adaptor stands in front of another stream buffer, holds a share of it, and is read and written in another
// character type or encoding:
//
//     boost::shared_ptr<std::basic_streambuf<char>> file = ...;            // bytes in Shift_JIS
//     uistream in(make_ustreambuf_adaptor(file, "Shift_JIS"));             // read as UTF-16
//
// What holds for all of them:
//  - `encoding` is a name of i18n/encoding.hpp; the factories throw `fl::i18n::unknown_encoding` for one that nobody
//    knows or the system lacks. Ill-formed input, and characters that the target lacks, are replaced as said there.
//  - A write goes through at once; nothing is held back but the beginning of a character that the next write goes on
//    with. If the buffer beneath refuses a part, the whole write counts as failed, though some of it may have gone
//    through; nothing is offered a second time.
//  - Reading takes what the buffer beneath has ready, up to 1,024 units at a time, and waits for more only if that is
//    not a whole character. So a line is read when it has arrived, as the dialogue with a child needs it. But a buffer
//    without a get area, such as that of `std::cin` while it is synchronised with C streams, does not say what is
//    ready and is asked for all 1,024 at once: there read each line by `std::getline` of bytes, and `fl::i18n::decode`
//    it.
//  - A class of your own that has areas gets them filled and emptied past its `sputn` and `sgetn`. One that is made
//    from `std::stringbuf` or `std::filebuf` is asked for each block instead, since it may have overridden these.
//  - What stands in the middle of a character at the end of everything is dropped. If a buffer that was asked for more
//    gives such a beginning only, that reads as the end.
//  - One can step back (`unget`, `putback`) within what was last taken from the buffer beneath, as long as nobody else
//    has read there since, and always by one unit.
//  - No position can be asked for or set. One direction does not know of the other one.
//  - A write of a line or so needs no memory, a longer one some for its length, for as long as it takes.
//  - Out of memory leaves as `std::bad_alloc`, which a stream over the adaptor turns into `badbit`.
//
// Thread safety: none; a buffer belongs to one thread at a time.
#pragma once

#include <cpp11compat/char16_streams.hpp>
#include <fl/export.hpp>
#include <fl/io/uistream.hpp>
#include <fl/io/uostream.hpp>
#include <i18n/stream_converter.hpp>

#include <boost/smart_ptr/shared_ptr.hpp>

#include <istream>
#include <ostream>
#include <streambuf>
#include <string>

namespace foundation::core::io {

/// Bytes in `encoding` for the user, UTF-16 in `underlying`. Not null: `underlying`, here and below.
FL_API boost::shared_ptr<std::basic_streambuf<char>> make_streambuf_adaptor(
    const boost::shared_ptr<std::basic_streambuf<char16_t>>& underlying, const std::string& encoding);

/// UTF-16 for the user, bytes in `encoding` in `underlying`.
FL_API boost::shared_ptr<std::basic_streambuf<char16_t>> make_ustreambuf_adaptor(
    const boost::shared_ptr<std::basic_streambuf<char>>& underlying, const std::string& encoding);

/// UTF-8 for the user, bytes in `encoding` in `underlying`.
FL_API boost::shared_ptr<std::basic_streambuf<char>> make_utf8streambuf_adaptor(
    const boost::shared_ptr<std::basic_streambuf<char>>& underlying, const std::string& encoding);

/// A stream that reads UTF-16 from the buffer that `bytes` has now. Neither the stream nor its buffer is owned: both
/// must outlive the result. What is read ahead, up to 1,024 bytes of those that are ready there, is gone from `bytes`.
FL_API uistream make_uistream_adaptor(std::basic_istream<char>& bytes, const std::string& encoding);

/// The same for writing.
FL_API uostream make_uostream_adaptor(std::basic_ostream<char>& bytes, const std::string& encoding);

namespace test_helper {

/// An adaptor over `underlying` that can only be written, with a converter of the caller's, not null: bytes go through
/// it into `underlying`. An exception of the converter leaves the write.
FL_API boost::shared_ptr<std::basic_streambuf<char>> make_streambuf_adaptor(
    const boost::shared_ptr<std::basic_streambuf<char16_t>>& underlying,
    const boost::shared_ptr<fl::i18n::stream_converter<char16_t, char>>& converter);

}  // namespace test_helper
}  // namespace foundation::core::io
