// Input of UTF-16 text: the counterpart of fl/io/uostream.hpp.
//
// Thread safety: as for the standard streams, one thread at a time per stream.
#pragma once

#include <cpp11compat/char16_streams.hpp>
#include <fl/export.hpp>
#include <fl/util/ustring.hpp>

#include <boost/smart_ptr/shared_ptr.hpp>

#include <istream>

namespace foundation::core::io {

/// A stream that reads UTF-16 from a shared buffer.
class FL_API uistream : public std::basic_istream<char16_t> {
 public:
  /// Reads from `buffer`, of which it holds a share. With a null `buffer` the stream is in the state `badbit`.
  explicit uistream(const boost::shared_ptr<std::basic_streambuf<char16_t>>& buffer);
  ~uistream() override;

  /// As the move assignment of `uostream`: `rdbuf` of both stays as it was. Since this class has no access to the
  /// buffer that it holds, a target can only be destroyed or assigned to again.
  uistream& operator=(uistream&& other);

 private:
  boost::shared_ptr<std::basic_streambuf<char16_t>> buf;  ///< may be null
};

}  // namespace foundation::core::io
