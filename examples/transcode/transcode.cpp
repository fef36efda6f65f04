// Converts a text file from one encoding to another, whatever its size. Bytes come from a file buffer of the library, a
// converter makes UTF-16 of them, and they leave through a stream of UTF-16 that writes the other encoding.
#include <fl/io.hpp>
#include <i18n/convert.hpp>

#include "options.hpp"
#include "progress.hpp"

#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace io = foundation::core::io;

namespace {

using byte_buffer = std::basic_streambuf<char>;
using byte_file = fl::filesystem::basic_filebuf<char>;
using text_stream = std::basic_ostream<char16_t>;

constexpr std::size_t block_size = 65536;  // bytes that are read at a time

[[noreturn]] void fail(const std::string& what, const fl::filesystem::path& file, const std::string& why) {
  throw std::runtime_error(what + " " + fl::i18n::ustring_to_utf8(file.string()) + ": " + why);
}

std::filesystem::path system_form(const fl::filesystem::path& file) {
  return file.native_access_form();
}

/// Standard input, or the file with that name, which `file` holds then.
byte_buffer& open_input(const fl::filesystem::path& name, byte_file& file) {
  if (name.empty()) {
    _setmode(_fileno(stdin), _O_BINARY);
    return *std::cin.rdbuf();
  }
  if (!file.open(name.string(), std::ios_base::in | std::ios_base::binary)) {
    fail("cannot read", name, std::strerror(errno));
  }
  return file;
}

/// In bytes; 0 for what has no size.
std::uint64_t size_of(byte_buffer& bytes) {
  const std::streamoff end = bytes.pubseekoff(0, std::ios_base::end, std::ios_base::in);
  return end > 0 && bytes.pubseekpos(0, std::ios_base::in) == 0 ? static_cast<std::uint64_t>(end) : 0;
}

/// Converts a block and hands the units to `use(units, count)`.
template <class Converter, class In, class Area, class Use>
void convert_block(const Converter& converter, const In* from, const In* end, bool last, Area& area, Use use) {
  for (std::size_t more = 1; more != 0;) {
    auto* to = area.data();
    more = converter.convert(&to, area.data() + area.size(), &from, end, last);
    use(area.data(), to - area.data());
  }
}

/// Throws if a strict conversion meets what it cannot convert, and if `out` does not accept the text.
void convert_all(byte_buffer& in, text_stream& out, const transcode_options& options, progress& shown) {
  const fl::i18n::stream_codecvt_string_to_ustring decoder(options.from, !options.strict);
  // The streams of the library put a question mark for what the encoding lacks. Who is strict asks before.
  const fl::i18n::stream_codecvt_ustring_to_string probe(options.to, !options.strict);
  std::vector<char> bytes(block_size), probed(block_size);
  std::vector<char16_t> units(block_size);
  for (bool last = false; !last;) {
    const std::streamsize count = in.sgetn(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    last = count < static_cast<std::streamsize>(bytes.size());
    convert_block(decoder, bytes.data(), bytes.data() + count, last, units,
                  [&](const char16_t* text, std::streamsize n) {
                    if (options.strict) {
                      convert_block(probe, text, text + n, false, probed, [](const char*, std::streamsize) {});
                    }
                    out.write(text, n);
                  });
    if (!out) {
      throw std::runtime_error("the output cannot be written");
    }
    shown.add(static_cast<std::uint64_t>(count));
  }
  if (!out.flush()) {
    throw std::runtime_error("the output cannot be written");
  }
}

/// A file that takes the place of another one when it is whole, and is removed if it does not come to that.
class new_file {
 public:
  explicit new_file(const fl::filesystem::path& final_name)
      : final_name_(final_name), name_(final_name.string() + u".part") {}
  new_file(const new_file&) = delete;
  new_file& operator=(const new_file&) = delete;
  ~new_file() {
    std::error_code ignored;
    if (!kept_) {
      std::filesystem::remove(system_form(name_), ignored);
    }
  }

  const fl::filesystem::path& name() const { return name_; }
  void keep() {
    std::error_code error;
    std::filesystem::rename(system_form(name_), system_form(final_name_), error);
    if (error) {
      fail("cannot write", final_name_, error.message());
    }
    kept_ = true;
  }

 private:
  fl::filesystem::path final_name_;
  fl::filesystem::path name_;  // while it is written
  bool kept_ = false;
};

void write_to_file(byte_buffer& in, const transcode_options& options, progress& shown, byte_file& in_file) {
  new_file target(options.output);
  io::uofstream out(target.name(), std::ios_base::out | std::ios_base::binary, options.to);
  if (!out.is_open()) {
    fail("cannot write", target.name(), std::strerror(errno));
  }
  convert_all(in, out, options, shown);
  out.close();
  in_file.close();  // It may be the file whose place the new one takes.
  target.keep();
}

void write_to_standard_output(byte_buffer& in, const transcode_options& options, progress& shown) {
  _setmode(_fileno(stdout), _O_BINARY);
  io::uostream out = io::make_uostream_adaptor(std::cout, options.to);
  convert_all(in, out, options, shown);
}

void transcode(const transcode_options& options) {
  byte_file in_file;
  byte_buffer& in = open_input(options.input, in_file);
  progress shown(size_of(in_file));
  if (options.output.empty()) {
    write_to_standard_output(in, options, shown);
  } else {
    write_to_file(in, options, shown, in_file);
  }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  std::ios_base::sync_with_stdio(false);
  try {
    const transcode_options options = parse_options(argc, argv);
    if (options.help) {
      std::cout << usage_text;
    } else {
      transcode(options);
    }
    return 0;
  } catch (const std::invalid_argument& e) {  // unknown encodings too
    std::cerr << "transcode: " << e.what() << "\n\n" << usage_text;
    return 2;
  } catch (const std::exception& e) {
    std::cerr << "transcode: " << e.what() << "\n";
    return 1;
  }
}
