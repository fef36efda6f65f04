// Text in memory, read and written as UTF-16: of East Asian encodings through an adaptor over a stream buffer, as a
// stream would call it, against the system's conversion of the same pieces, which must end where a character does; and
// of UTF-8 through the same and through a stream that goes by lines, against simdutf itself.
//
// Wine's system has no code page 54936, so GB18030 has a peer of code page 936 and text of two-byte characters, whose
// bytes are the same in both.

#include <fl/io/streambuf_adaptor.hpp>
#include <fl/io/uistream.hpp>
#include <fl/io/uostream.hpp>

#include "row.hpp"
#include "windows_support.hpp"

#include <boost/smart_ptr/make_shared.hpp>

#include <simdutf.h>

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

// ---- UTF-8 ----

constexpr std::size_t utf8_piece = 1024;  // Units, or bytes and what the last character has beyond them.

// Lines of 40 to 80 units: small letters and spaces, and one unit in `ascii_run` from `others`.
std::vector<std::u16string> make_lines(const std::u16string& others, std::uint32_t ascii_run) {
  std::vector<std::u16string> lines;
  std::uint32_t state = 1;
  const auto next = [&state](std::uint32_t limit) { return (state = state * 1664525 + 1013904223) / 65536 % limit; };
  for (std::size_t units = 0; units < text_size; units += lines.back().size()) {
    std::u16string line;
    for (std::uint32_t left = 40 + next(40); left != 0; --left) {
      if (next(ascii_run) == 0) {
        line += others[next(static_cast<std::uint32_t>(others.size()))];
      } else {
        line += static_cast<char16_t>(next(6) == 0 ? u' ' : u'a' + next(26));
      }
    }
    lines.push_back(line + u'\n');
  }
  return lines;
}

struct utf8_sample {
  std::vector<std::u16string> lines;
  std::string bytes;
  std::vector<std::string_view> byte_pieces;
  std::u16string units;
  std::vector<std::u16string_view> unit_pieces;
};

bool continues_character(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

std::shared_ptr<const utf8_sample> make_utf8_sample(const std::u16string& others, std::uint32_t ascii_run) {
  const auto result = std::make_shared<utf8_sample>();
  result->lines = make_lines(others, ascii_run);
  for (const std::u16string& line : result->lines) {
    result->units += line;
  }
  result->bytes.resize(3 * result->units.size());
  result->bytes.resize(
      simdutf::convert_utf16le_to_utf8(result->units.data(), result->units.size(), result->bytes.data()));
  for (std::size_t begin = 0, end = 0; begin < result->bytes.size(); begin = end) {
    end = std::min(begin + utf8_piece, result->bytes.size());
    while (end < result->bytes.size() && continues_character(result->bytes[end])) {
      ++end;
    }
    result->byte_pieces.emplace_back(result->bytes.data() + begin, end - begin);
  }
  for (std::size_t begin = 0; begin < result->units.size(); begin += utf8_piece) {
    result->unit_pieces.push_back(std::u16string_view(result->units).substr(begin, utf8_piece));
  }
  return result;
}

void add_utf8_pieces(const std::string& stem, const std::shared_ptr<const utf8_sample>& text) {
  const auto read = [text](bench::product& result) {
    const auto adaptor = io::make_ustreambuf_adaptor(boost::make_shared<memory_source>(text->bytes), "UTF-8");
    static char16_t area[utf8_piece];
    while (const std::streamsize count = adaptor->sgetn(area, utf8_piece)) {
      take_units(result, area, static_cast<std::size_t>(count));
    }
  };
  const auto peer_reads = [text](bench::product& result) {
    static char16_t area[2 * utf8_piece];
    for (const std::string_view piece : text->byte_pieces) {
      take_units(result, area, simdutf::convert_utf8_to_utf16le(piece.data(), piece.size(), area));
    }
  };
  const auto write = [text](bench::product& result) {
    const auto adaptor = io::make_ustreambuf_adaptor(boost::make_shared<product_sink>(result), "UTF-8");
    for (const std::u16string_view piece : text->unit_pieces) {
      const auto count = static_cast<std::streamsize>(piece.size());
      bench::check(adaptor->sputn(piece.data(), count) == count, "sputn");
    }
  };
  const auto peer_writes = [text](bench::product& result) {
    static char area[3 * utf8_piece];
    for (const std::u16string_view piece : text->unit_pieces) {
      result.add({area, simdutf::convert_utf16le_to_utf8(piece.data(), piece.size(), area)});
    }
  };
  bench::add_row("read_utf8_" + stem + "_vs_simdutf", {read}, {peer_reads});
  bench::add_row("write_utf8_" + stem + "_vs_simdutf", {write}, {peer_writes});
}

// The streams take and give lines; the peer has the lines in a buffer of its own, as a program without streams would.
void add_utf8_lines(const std::string& stem, const std::shared_ptr<const utf8_sample>& text) {
  const auto write = [text](bench::product& result) {
    io::uostream out(io::make_ustreambuf_adaptor(boost::make_shared<product_sink>(result), "UTF-8"));
    for (const std::u16string& line : text->lines) {
      out << line;
    }
    out.flush();
    bench::check(out.good(), "<<");
  };
  const auto peer_writes = [text](bench::product& result) {
    static char area[3 * utf8_piece];
    for (const std::u16string& line : text->lines) {
      result.add({area, simdutf::convert_utf16le_to_utf8(line.data(), line.size(), area)});
    }
  };
  const auto read = [text](bench::product& result) {
    io::uistream in(io::make_ustreambuf_adaptor(boost::make_shared<memory_source>(text->bytes), "UTF-8"));
    std::u16string line;
    while (std::getline(in, line)) {
      take_units(result, line.data(), line.size());
    }
  };
  const auto peer_reads = [text](bench::product& result) {
    static char16_t area[2 * utf8_piece];
    std::u16string line;
    for (const std::string_view piece : text->byte_pieces) {
      const std::size_t count = simdutf::convert_utf8_to_utf16le(piece.data(), piece.size(), area);
      for (const char16_t *at = area, *const end = area + count; at != end;) {
        const char16_t* const line_end = simdutf::find(at, end, u'\n');
        line.append(at, line_end);
        at = line_end;
        if (at != end) {
          take_units(result, line.data(), line.size());
          line.clear();
          ++at;
        }
      }
    }
  };
  bench::add_row("write_utf8_lines_" + stem + "_vs_simdutf", {write}, {peer_writes});
  bench::add_row("getline_utf8_" + stem + "_vs_simdutf", {read}, {peer_reads});
}

void add_utf8_rows(const std::string& stem, const std::u16string& others, std::uint32_t ascii_run) {
  const auto text = make_utf8_sample(others, ascii_run);
  add_utf8_pieces(stem, text);
  add_utf8_lines(stem, text);
}

}  // namespace

int main(int argc, char** argv) {
  add_rows("gb18030", gb18030);
  add_rows("shift_jis", shift_jis);
  const std::u16string european = u"\u00E4\u00F6\u00FC\u00DF\u00E9\u00E8\u00F1\u00E5\u0159\u0142\u20AC\u2019";
  const std::u16string chinese = u"\u6570\u636E\u5E93\u7D22\u5F15\u8868\u540D\u5B57\u884C\u5217";
  add_utf8_rows("ascii", european, 0x10000);
  add_utf8_rows("european", european, 20);
  add_utf8_rows("cjk", chinese, 1);
  return bench::run(argc, argv);
}
