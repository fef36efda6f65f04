#include "texts.hpp"

#include <fl/io.hpp>
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>

#include "check.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <string>
#include <vector>

namespace io = foundation::core::io;

namespace {

const fl::ustring greeting =
    u"Gr\u00FC\u00DFe, \u0437\u0434\u0440\u0430\u0432\u0441\u0442\u0432\u0443\u0439\u0442\u0435, \u4F60\u597D, "
    u"\U0001F44B\n";

std::size_t size_of(const fl::filesystem::path& file) {
  return static_cast<std::size_t>(std::filesystem::file_size(file.native()));
}

/// Writes `count` greetings to a file whose name no code page holds, reads them back, and returns the file's size.
std::size_t write_and_read(const std::string& encoding, int count) {
  const fl::filesystem::path file(std::filesystem::temp_directory_path().u16string() +
                                  u"\\qxfl-\u4F60\u597D-\U0001F44B.txt");
  {
    io::uofstream out(file, std::ios_base::out | std::ios_base::binary, encoding);
    check(out.is_open(), "the file is made");
    for (int i = 0; i != count; ++i) {
      out << i << u' ' << greeting;
    }
  }
  const std::size_t size = size_of(file);
  {
    io::uifstream in(file, std::ios_base::in | std::ios_base::binary, encoding);
    int number = 0;
    fl::ustring rest;
    for (int i = 0; i != count; ++i) {
      check(in >> number && number == i && std::getline(in, rest) && u' ' + greeting == rest + u'\n',
            "each line comes back");
    }
    check(!std::getline(in, rest), "and nothing more");
  }
  std::filesystem::remove(file.native());
  return size;
}

}  // namespace

void write_three_encodings() {
  constexpr int count = 10000;
  const fl::ustring shown = greeting.substr(0, greeting.size() - 1);
  std::printf("  %d lines of \"%s\"\n", count, fl::i18n::ustring_to_utf8(shown).c_str());
  for (const char* const encoding : {"UTF-8", "UTF-16", "GB18030"}) {
    std::printf("  %-8s %7zu bytes, written and read back\n", encoding, write_and_read(encoding, count));
  }
}

void format_numbers() {
  io::uostringstream text;
  text << u"pi is about " << 3.14159 << u", and 2^64 - 1 is " << 18446744073709551615U << u", " << std::hex
       << std::showbase << 255 << u" is " << std::dec << 255;
  check(text.str() == u"pi is about 3.14159, and 2^64 - 1 is 18446744073709551615, 0xff is 255", "the numbers as text");
  std::printf("  %s\n", fl::i18n::ustring_to_utf8(text.str()).c_str());
  try {
    (void)fl::i18n::encode(text.str(), "no-such-encoding");
    check(false, "an encoding that nobody knows");
  } catch (const fl::i18n::unknown_encoding& e) {
    std::printf("  %s\n", e.what());
  }
}
