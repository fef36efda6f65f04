#include "options.hpp"

#include <i18n/convert.hpp>

#include <stdexcept>
#include <vector>

const char* const usage_text =
    "usage: transcode [--strict] FROM TO [IN] [OUT]\n"
    "\n"
    "Converts the file IN from the encoding FROM to the encoding TO (UTF-8, UTF-16LE, Shift_JIS, GB18030,\n"
    "windows-1252, ...; SYSTEM is the active code page) and writes it to OUT, which may be IN. \"-\" or nothing\n"
    "stands for standard input and output. Line ends stay as they are.\n"
    "\n"
    "What is ill-formed becomes U+FFFD, and a character that TO lacks a question mark. With --strict either ends\n"
    "the work with a message that says where it stands, and an OUT that was there before stays as it was.\n"
    "\n"
    "exit status: 0 done, 1 not done, 2 wrong usage\n";

namespace {

fl::filesystem::path file_name(const std::wstring& word) {
  return word == L"-" ? fl::filesystem::path() : fl::filesystem::path(word);
}

std::string encoding_name(const std::wstring& word) {
  return fl::i18n::ustring_to_utf8(fl::ustring(word.begin(), word.end()));
}

}  // namespace

transcode_options parse_options(int argc, wchar_t** argv) {
  transcode_options options;
  std::vector<std::wstring> words(argv + 1, argv + argc);
  if (!words.empty() && words[0] == L"--help") {
    options.help = true;
    return options;
  }
  if (!words.empty() && words[0] == L"--strict") {
    options.strict = true;
    words.erase(words.begin());
  }
  if (words.size() < 2 || words.size() > 4 || words[0].rfind(L"--", 0) == 0) {
    throw std::invalid_argument("two encodings are needed, and at most two files behind them");
  }
  words.resize(4);
  options.from = encoding_name(words[0]);
  options.to = encoding_name(words[1]);
  options.input = file_name(words[2]);
  options.output = file_name(words[3]);
  return options;
}
