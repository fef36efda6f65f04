// Converts a text file from one encoding to another, whatever its size, by way of UTF-16. What goes wrong is told in
// the user's language.
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>
#include <i18n/filebuf.hpp>
#include <i18n/message_catalog.hpp>

#include "messages.hpp"

#include <boost/system/system_error.hpp>
#include <kit/arguments.hpp>
#include <kit/console.hpp>
#include <kit/progress_line.hpp>
#include <kit/recode.hpp>
#include <kit/replacing_file.hpp>
#include <kit/user_error.hpp>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace kit = foundation::kit;
namespace message = messages::TRANSCODE;

namespace {

constexpr const char* usage_text =
    "usage: transcode [--strict] [--language TAG] FROM TO [IN] [OUT]\n"
    "\n"
    "Converts the file IN from the encoding FROM to the encoding TO (UTF-8, UTF-16LE, Shift_JIS, GB18030,\n"
    "windows-1252, ...; SYSTEM is the active code page) and writes it to OUT, which may be IN. \"-\" or nothing\n"
    "stands for standard input and output. Line ends stay as they are.\n"
    "\n"
    "What is ill-formed becomes U+FFFD, and a character that TO lacks a question mark. With --strict either ends\n"
    "the work with a message that says where it stands, and an OUT that was there before stays as it was.\n"
    "\n"
    "Messages are in the user's language, or in that of --language: de, en.\n"
    "\n"
    "exit status: 0 done, 1 not done, 2 wrong usage\n";

class problem : public kit::user_error<problem> {
 public:
  explicit problem(resource_core::BaseMsgID id, int status = 1) : user_error(std::move(id)), exit_status(status) {}
  int exit_status;
};

struct options {
  bool strict = false;
  std::string from, to;       // names of encodings
  std::string input, output;  // names of files; "-": standard input and output
};

options parse(std::vector<std::string> words) {
  const bool strict = !words.empty() && words[0] == "--strict";
  words.erase(words.begin(), words.begin() + strict);
  if (words.size() > 1 && words[0] == "--language") {
    fl::i18n::MessageCatalog::set_language(words[1]);
    words.erase(words.begin(), words.begin() + 2);
  }
  if (words.size() < 2 || words.size() > 4 || words[0].rfind("--", 0) == 0) {
    throw problem(message::usage(), 2);
  }
  words.resize(4, "-");
  for (const std::string& encoding : {words[0], words[1]}) {
    try {
      fl::i18n::decode("", encoding);
    } catch (const fl::i18n::unknown_encoding&) {
      throw problem(message::unknownEncoding(encoding), 2);
    }
  }
  return {strict, words[0], words[1], words[2], words[3]};
}

std::optional<std::uint64_t> size_of(std::streambuf& bytes) {
  const std::streamoff size = bytes.pubseekoff(0, std::ios_base::end, std::ios_base::in);
  const bool is_known = size >= 0 && bytes.pubseekpos(0, std::ios_base::in) == 0;
  return is_known ? std::optional<std::uint64_t>(size) : std::nullopt;
}

void convert(std::istream& in, std::ostream& out, const options& how) {
  kit::progress_line line(kit::console().err());
  const std::optional<std::uint64_t> total = size_of(*in.rdbuf());
  try {
    kit::recode(in, how.from, out, how.to, how.strict ? kit::lossy::refuse : kit::lossy::replace,
                [&](std::uint64_t bytes) { line.show_bytes(bytes, total); });
  } catch (const kit::missing_character& e) {
    const std::string text = e.what();  // begins with the character
    throw problem(
        message::notInEncoding(text.substr(0, text.find(' ')), how.to, static_cast<std::int64_t>(e.position())));
  } catch (const fl::i18n::conversion_error& e) {
    throw problem(message::illFormed(how.from, static_cast<std::int64_t>(e.position())));
  } catch (const std::ios_base::failure&) {
    const char* const reason = std::strerror(EIO);
    throw problem(in.bad() ? message::cannotRead(how.input, reason) : message::cannotWrite(how.output, reason));
  }
}

void transcode(const options& how) {
  fl::filesystem::basic_filebuf<char> file;
  if (how.input != "-" && !file.open(fl::i18n::utf8_to_ustring(how.input), std::ios_base::in | std::ios_base::binary)) {
    throw problem(message::cannotRead(how.input, std::strerror(errno)));
  }
  std::istream in(how.input == "-" ? kit::console().in().rdbuf() : &file);
  try {
    if (how.output == "-") {
      return convert(in, kit::console().out(), how);
    }
    kit::replacing_file out(fl::filesystem::path(fl::i18n::utf8_to_ustring(how.output)));
    out.stream().exceptions(std::ios_base::badbit);  // to know the reason
    convert(in, out.stream(), how);
    file.close();  // It may be the file whose place the new one takes.
    out.keep();
  } catch (const boost::system::system_error& e) {
    throw problem(message::cannotWrite(how.output, e.code().message()));
  }
}

}  // namespace

int main() try {
  std::vector<std::string> words = kit::utf8_arguments();
  words.erase(words.begin());
  if (!words.empty() && words[0] == "--help") {
    kit::console().out() << usage_text;
  } else {
    transcode(parse(words));
  }
  return 0;
} catch (const problem& e) {
  kit::console().err() << "transcode: " << e.what() << (e.exit_status == 2 ? std::string("\n\n") + usage_text : "\n");
  return e.exit_status;
} catch (const std::exception& e) {
  kit::console().err() << "transcode: " << e.what() << '\n';
  return 1;
}
