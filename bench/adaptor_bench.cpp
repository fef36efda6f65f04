// Text of East Asian encodings in memory, read and written as UTF-16: an adaptor over a stream buffer, as a stream
// would call it, against the system's conversion of the same pieces, which must end where a character does.
//
// Wine's system has no code page 54936, so GB18030 has a peer of code page 936 and text of two-byte characters, whose
// bytes are the same in both.

#include <fl/io/streambuf_adaptor.hpp>

#include "row.hpp"
#include "windows_support.hpp"

#include <boost/smart_ptr/make_shared.hpp>

#include <cstdint>
#include <memory>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace io = foundation::core::io;

constexpr std::size_t text_size = 256 * 1024;  // In bytes.
constexpr std::size_t piece_size = 4096;       // Of bytes or units.

struct encoding {
  const char* name;
  UINT page;
  unsigned char first_lead, last_lead, first_trail, last_trail;  // A rectangle of ideographs without gaps.
};

constexpr encoding gb18030 = {"GB18030", 936, 0xB0, 0xD6, 0xA1, 0xFE};
constexpr encoding shift_jis = {"Shift_JIS", 932, 0x89, 0x97, 0x80, 0xFC};

// One side of a row: the whole text, and the pieces of it that the peer is given.
struct sample {
  std::string bytes;
  std::vector<std::string_view> byte_pieces;
  std::u16string units;
  std::vector<std::u16string_view> unit_pieces;
};

// Lines of 20 to 60 ideographs with some ASCII between.
std::string make_bytes(const encoding& which) {
  std::string text;
  std::uint32_t state = 1;
  const auto next = [&state](std::uint32_t limit) { return (state = state * 1664525 + 1013904223) / 65536 % limit; };
  while (text.size() < text_size) {
    for (std::uint32_t left = 20 + next(40); left != 0; --left) {
      if (next(10) == 0) {
        text += static_cast<char>('0' + next(10));
      } else {
        text += static_cast<char>(which.first_lead + next(which.last_lead - which.first_lead + 1u));
        text += static_cast<char>(which.first_trail + next(which.last_trail - which.first_trail + 1u));
      }
    }
    text += '\n';
  }
  return text;
}

std::size_t character_at(const std::string& text, std::size_t at) {
  return static_cast<unsigned char>(text[at]) < 0x80 ? 1 : 2;
}

int decode(const encoding& which, std::string_view bytes, char16_t* units, std::size_t room) {
  const int count = MultiByteToWideChar(which.page, MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(bytes.size()),
                                        reinterpret_cast<wchar_t*>(units), static_cast<int>(room));
  bench::check(count != 0, "MultiByteToWideChar");
  return count;
}

int encode(const encoding& which, std::u16string_view units, char* bytes, std::size_t room) {
  BOOL has_others = FALSE;
  const int count =
      WideCharToMultiByte(which.page, WC_NO_BEST_FIT_CHARS, reinterpret_cast<const wchar_t*>(units.data()),
                          static_cast<int>(units.size()), bytes, static_cast<int>(room), nullptr, &has_others);
  bench::check(count != 0 && !has_others, "WideCharToMultiByte");
  return count;
}

std::shared_ptr<const sample> make_sample(const encoding& which) {
  const auto result = std::make_shared<sample>();
  result->bytes = make_bytes(which);
  for (std::size_t begin = 0, end = 0; begin < result->bytes.size(); begin = end) {
    while (end < result->bytes.size() && end - begin <= piece_size - 2) {
      end += character_at(result->bytes, end);
    }
    result->byte_pieces.emplace_back(result->bytes.data() + begin, end - begin);
  }
  result->units.resize(result->bytes.size());
  const int count = decode(which, result->bytes, result->units.data(), result->units.size());
  result->units.resize(static_cast<std::size_t>(count));
  for (std::size_t begin = 0; begin < result->units.size(); begin += piece_size) {
    result->unit_pieces.push_back(std::u16string_view(result->units).substr(begin, piece_size));
  }
  return result;
}

// Bytes in memory, without a copy.
class memory_source : public std::streambuf {
 public:
  explicit memory_source(const std::string& text) {
    char* const begin = const_cast<char*>(text.data());
    setg(begin, begin, begin + text.size());
  }
};

// Where the peer writes as well: the product.
class product_sink : public std::streambuf {
 public:
  explicit product_sink(bench::product& result) : result_(result) {}

 private:
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    result_.add({bytes, static_cast<std::size_t>(count)});
    return count;
  }
  bench::product& result_;
};

void take_units(bench::product& result, const char16_t* units, std::size_t count) {
  result.add({reinterpret_cast<const char*>(units), count * sizeof *units});
}

void add_reading(const std::string& row, const encoding& which, const std::shared_ptr<const sample>& text) {
  const auto ours = [which, text](bench::product& result) {
    const auto adaptor = io::make_ustreambuf_adaptor(boost::make_shared<memory_source>(text->bytes), which.name);
    static char16_t area[piece_size];
    while (const std::streamsize count = adaptor->sgetn(area, piece_size)) {
      take_units(result, area, static_cast<std::size_t>(count));
    }
  };
  const auto peer = [which, text](bench::product& result) {
    static char16_t area[piece_size];
    for (const std::string_view piece : text->byte_pieces) {
      take_units(result, area, static_cast<std::size_t>(decode(which, piece, area, piece_size)));
    }
  };
  bench::add_row(row, {ours}, {peer});
}

void add_writing(const std::string& row, const encoding& which, const std::shared_ptr<const sample>& text) {
  const auto ours = [which, text](bench::product& result) {
    const auto adaptor = io::make_ustreambuf_adaptor(boost::make_shared<product_sink>(result), which.name);
    for (const std::u16string_view piece : text->unit_pieces) {
      const auto count = static_cast<std::streamsize>(piece.size());
      bench::check(adaptor->sputn(piece.data(), count) == count, "sputn");
    }
  };
  const auto peer = [which, text](bench::product& result) {
    static char area[2 * piece_size];
    for (const std::u16string_view piece : text->unit_pieces) {
      result.add({area, static_cast<std::size_t>(encode(which, piece, area, sizeof area))});
    }
  };
  bench::add_row(row, {ours}, {peer});
}

void add_rows(const std::string& stem, const encoding& which) {
  const auto text = make_sample(which);
  add_reading("read_" + stem + "_vs_multibytetowidechar", which, text);
  add_writing("write_" + stem + "_vs_widechartomultibyte", which, text);
}

}  // namespace

int main(int argc, char** argv) {
  add_rows("gb18030", gb18030);
  add_rows("shift_jis", shift_jis);
  return bench::run(argc, argv);
}
