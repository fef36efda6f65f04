// Writes and reads UTF-8 text files as UTF-16: the library's file streams against the standard library's wide ones with
// codecvt_utf8_utf16. Both are opened in binary mode and as they come, each with the buffers that it has.

#include <fl/io/uifstream.hpp>
#include <fl/io/uofstream.hpp>

#include "row.hpp"
#include "windows_support.hpp"

#include <codecvt>
#include <cstdint>
#include <fstream>
#include <locale>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

namespace io = foundation::core::io;

constexpr std::size_t small_text = 4 * 1024 * 1024;  // In bytes of UTF-8, as are all sizes here.
constexpr int copies_of_large_text = 16;
constexpr int binary = static_cast<int>(std::ios_base::binary);

const std::u16string european = u"\u00E4\u00F6\u00FC\u00DF\u00E9\u00E8\u00F1\u00E5\u0159\u0142\u20AC\u2019";

// Lines of 40 to 80 units: ASCII, but for one unit in `ascii_run`, which is a European character. Nothing beyond the
// first plane: such a text of some 100,000 units brings the peer's stream into a failed state.
std::vector<std::u16string> make_lines(std::uint32_t ascii_run) {
  std::vector<std::u16string> lines;
  std::uint32_t state = 1;
  const auto next = [&state](std::uint32_t limit) { return (state = state * 1664525 + 1013904223) / 65536 % limit; };
  for (std::size_t bytes = 0; bytes < small_text;) {
    std::u16string line;
    const std::size_t length = 40 + next(40);
    while (line.size() < length) {
      if (next(ascii_run) == 0) {
        line += european[next(static_cast<std::uint32_t>(european.size()))];
      } else {
        line += static_cast<char16_t>(next(6) == 0 ? u' ' : u'a' + next(26));
      }
    }
    line += u'\n';
    bytes += line.size() + line.size() / 20;
    lines.push_back(std::move(line));
  }
  return lines;
}

constexpr std::uint32_t no_end = 0x10000;
const std::vector<std::u16string> ascii_lines = make_lines(no_end);
const std::vector<std::u16string> european_lines = make_lines(20);

template <class String>
std::vector<String> text_as(const std::vector<std::u16string>& lines) {
  std::vector<String> result;
  for (const std::u16string& line : lines) {
    result.emplace_back(line.begin(), line.end());
  }
  return result;
}

std::string temporary_file(const char* name) {
  char folder[MAX_PATH];
  bench::check(GetTempPathA(MAX_PATH, folder) != 0, "GetTempPathA");
  return folder + ("qxfl-bench-" + std::to_string(GetCurrentProcessId())) + name;
}

std::string content_of(const std::string& name) {
  std::ifstream file(name, std::ios_base::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct ours {
  using string = std::u16string;
  using output = io::uofstream;
  using input = io::uifstream;
  static std::u16string wide(const std::string& name) { return {name.begin(), name.end()}; }
  static output create(const std::string& name) { return {wide(name), std::ios_base::out | binary, "UTF-8"}; }
  static input open(const std::string& name) { return {wide(name), std::ios_base::in | binary, "UTF-8"}; }
};

struct peer {
  using string = std::wstring;
  using output = std::wofstream;
  using input = std::wifstream;
  static std::locale with_utf8() { return {std::locale::classic(), new std::codecvt_utf8_utf16<wchar_t>}; }
  static output create(const std::string& name) {
    output file;
    file.imbue(with_utf8());
    file.open(name, std::ios_base::out | std::ios_base::binary);
    return file;
  }
  static input open(const std::string& name) {
    input file;
    file.imbue(with_utf8());
    file.open(name, std::ios_base::in | std::ios_base::binary);
    return file;
  }
};

struct by_lines {
  template <class Output, class String>
  static void write(Output& file, const String& line) {
    file << line;
  }
};

struct by_units {
  template <class Output, class String>
  static void write(Output& file, const String& line) {
    for (const auto unit : line) {
      file << unit;
    }
  }
};

template <class Side, class Way>
void write_lines(const std::string& name, const std::vector<typename Side::string>& lines, std::size_t count,
                 int copies) {
  typename Side::output file = Side::create(name);
  for (int copy = 0; copy < copies; ++copy) {
    for (std::size_t i = 0; i < count; ++i) {
      Way::write(file, lines[i]);
    }
  }
  file.flush();
  if (!file.good()) {
    throw std::runtime_error("cannot write " + name);
  }
}

// All goes to NUL, so that nothing can be compared there; `check_same_bytes` does it.
template <class Side, class Way>
bench::contender writer(const std::vector<std::u16string>& text, int copies) {
  return {[lines = text_as<typename Side::string>(text), copies](bench::product& result) {
    write_lines<Side, Way>("NUL", lines, lines.size(), copies);
    result.add_value(lines.size());
  }};
}

template <class Side, class Way>
std::string written_bytes(const std::vector<std::u16string>& text) {
  const std::string name = temporary_file(".sample");
  write_lines<Side, Way>(name, text_as<typename Side::string>(text), text.size(), 1);
  std::string bytes = content_of(name);
  DeleteFileA(name.c_str());
  return bytes;
}

template <class Way>
void check_same_bytes(const std::vector<std::u16string>& text) {
  const std::string bytes = written_bytes<ours, Way>(text);
  if (bytes.empty() || bytes != written_bytes<peer, Way>(text)) {
    throw std::runtime_error("the contenders write different bytes");
  }
}

// The file that is read, made once.
class text_file {
 public:
  explicit text_file(const char* name, const std::vector<std::u16string>& lines) : name_(temporary_file(name)) {
    write_lines<ours, by_lines>(name_, lines, lines.size(), 1);
  }
  text_file(const text_file&) = delete;
  text_file& operator=(const text_file&) = delete;
  ~text_file() { DeleteFileA(name_.c_str()); }
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

template <class Side>
bench::contender reader(const std::string& name) {
  return {[name](bench::product& result) {
    typename Side::input file = Side::open(name);
    typename Side::string line;
    while (std::getline(file, line)) {
      result.add_line({reinterpret_cast<const char*>(line.data()), line.size() * sizeof line[0]});
    }
  }};
}

template <class Way>
void add_writers(const std::string& name, const std::vector<std::u16string>& text, int copies) {
  check_same_bytes<Way>(text);
  bench::add_row(name, writer<ours, Way>(text, copies), writer<peer, Way>(text, copies));
}

void add_readers(const std::string& name, const text_file& file) {
  bench::add_row(name, reader<ours>(file.name()), reader<peer>(file.name()));
}

}  // namespace

int main(int argc, char** argv) {
  add_writers<by_lines>("write_ascii_lines_vs_wofstream", ascii_lines, copies_of_large_text);
  add_writers<by_lines>("write_european_lines_vs_wofstream", european_lines, copies_of_large_text);
  add_writers<by_units>("write_ascii_units_vs_wofstream", ascii_lines, 1);
  add_writers<by_units>("write_european_units_vs_wofstream", european_lines, 1);
  const text_file ascii(".ascii", ascii_lines);
  const text_file european(".european", european_lines);
  add_readers("getline_ascii_file_vs_wifstream", ascii);
  add_readers("getline_european_file_vs_wifstream", european);
  return bench::run(argc, argv);
}
