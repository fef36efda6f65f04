// Text of a fixed size with a stream that writes into it: the report log, and the message of one termination.
#pragma once

#include <boost/interprocess/streams/bufferstream.hpp>

#include <cstddef>
#include <cstring>
#include <locale>
#include <ostream>

namespace foundation::core::diag {

class text_buffer {
 public:
  static constexpr std::size_t capacity = 65536;  ///< Bytes of text.

  text_buffer() : stream_(text_, capacity) {
    // Digits as they are everywhere, and no facet that is made at its first use.
    stream().imbue(std::locale::classic());
  }
  text_buffer(const text_buffer&) = delete;
  text_buffer& operator=(const text_buffer&) = delete;

  /// What goes beyond the capacity is lost, and the stream has failed from then on.
  std::ostream& stream() noexcept { return stream_; }
  /// Zero-terminated, also when it is full.
  const char* text() const noexcept { return text_; }

  /// Empties the buffer. A stream that has failed stays so.
  void wipe() {
    std::memset(text_, 0, capacity);
    stream_.seekp(0);
  }

 private:
  char text_[capacity + 1] = {};  ///< One byte more than the stream writes to ends the text of a full buffer.
  boost::interprocess::basic_obufferstream<char> stream_;
};

}  // namespace foundation::core::diag
