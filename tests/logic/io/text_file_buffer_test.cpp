// Text files: modes, encodings, moves, and writes that the system refuses. Natively over a file buffer of the test's.
#include "io/text_file_buffer.hpp"

#include <fl/io.hpp>
#include <i18n/encoding.hpp>
#include <i18n/filebuf.hpp>

#include "every_test.hpp"

#include <boost/smart_ptr/make_shared.hpp>

#ifndef _WIN32
#include <sys/syscall.h>

#include <unistd.h>
#endif

#include <filesystem>

namespace {

using namespace foundation::core::io;
using fl::ustring;
using std::ios_base;
constexpr int binary_out = ios_base::out | ios_base::binary;
constexpr int binary_in = ios_base::in | ios_base::binary;

std::string content_of(const char* name) {
  std::ifstream file(name, ios_base::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

ustring all_of(uifstream& in) {
  return {std::istreambuf_iterator<char16_t>(in), {}};
}

/// In a folder of its own, which is the current one.
class FileStreams : public testing::Test {
 protected:
  FileStreams() {
    std::filesystem::create_directory(folder_);
    std::filesystem::current_path(folder_);
  }
  ~FileStreams() override {
    std::filesystem::current_path(former_);
    std::filesystem::remove_all(folder_);
  }

 private:
  const std::filesystem::path former_ = std::filesystem::current_path();
  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("qxfl-files-" + std::to_string(std::random_device()()));
};

TEST_F(FileStreams, LeaveTheModeToTheRunTimeAndTheEncodingToTheConverters) {
  const struct {
    int mode;
    std::string after;  ///< the file, "old\n" before, after writing "a\n"
  } cases[] = {
      {ios_base::out, "a\n"},
      {ios_base::out | ios_base::trunc | ios_base::in, "a\n"},
      {ios_base::out | ios_base::app, "old\na\n"},
      {ios_base::out | ios_base::in, "a\nd\n"},
      {ios_base::out | ios_base::in | ios_base::ate, "old\na\n"},
      {ios_base::in, "old\n"},
      {ios_base::trunc, "old\n"},
  };
  for (const auto& [mode, after] : cases) {
    std::ofstream("f", ios_base::binary) << "old\n";
    uofstream(fl::filesystem::path(u"f"), mode | ios_base::binary, "UTF-8") << u"a\n";
    EXPECT_EQ(content_of("f"), after) << mode;
  }
  const ustring text = u"\u00E9\u65E5\U0001F600\r\n";
  uofstream(ustring(u"f"), binary_out, "GB18030") << text;
  EXPECT_EQ(content_of("f"), fl::i18n::encode(text, "GB18030"));
  uifstream same(fl::filesystem::path(u"f"), binary_in, "GB18030");
  EXPECT_EQ(all_of(same), fl::i18n::decode(content_of("f"), "GB18030"));
  const auto file = boost::make_shared<text_file_buffer>();
  file->open(ustring(u"f"), ios_base::out | ios_base::binary);
  file->sputc('.');  // which opens the put area
  EXPECT_EQ(make_utf8streambuf_adaptor(file, "UTF-32")->sputc('x'), 'x') << "with the mark too much for an area";
  file->close();
  EXPECT_EQ(content_of("f"), '.' + fl::i18n::encode(u"x", "UTF-32"));
  uofstream(ustring(u"f")) << u"\u00E9 = " << 1.5;
  uifstream in(ustring(u"f"));
  EXPECT_EQ(all_of(in), u"\u00E9 = 1.5") << "UTF-8, with numbers";
  uifstream writing(ustring(u"f"), ios_base::out, "UTF-8");
  EXPECT_TRUE(writing.is_open());
  EXPECT_EQ(content_of("f"), "") << "opened for writing, as asked";
  EXPECT_THROW(uofstream(ustring(u"made"), ios_base::out, "klingon"), fl::i18n::unknown_encoding);
  EXPECT_TRUE(std::filesystem::remove("made")) << "it was made, and is closed";
  uifstream missing(fl::filesystem::path(u"missing"));
  EXPECT_TRUE(!missing.is_open() && missing.good());
  EXPECT_EQ(missing.get(), std::char_traits<char16_t>::eof());
  EXPECT_TRUE(missing.eof() && !missing.bad());
}

TEST_F(FileStreams, CloseWithTheStreamAndLeaveTheStateAlone) {
  uofstream out(ustring(u"f"));
  out << ustring(100000, u'x');
  out.close();
  out.close();
  EXPECT_TRUE(!out.is_open() && out.good());
  EXPECT_EQ(content_of("f").size(), 100000u);
  out << u'x';
  EXPECT_TRUE(out.bad());
  uifstream in(ustring(u"f"));
  in.get();
  in.close();
  EXPECT_TRUE(!in.is_open() && in.good());
  EXPECT_EQ(all_of(in).size(), 1023u) << "what was read ahead";

  uofstream target(ustring(u"target"));
  uofstream source(ustring(u"source"));
  std::basic_streambuf<char16_t>* const former = target.rdbuf();
  target << u"t";
  source << u"s";
  source.setstate(ios_base::eofbit);
  target = std::move(source);
  EXPECT_EQ(content_of("target"), "t") << "its file is closed";
  EXPECT_TRUE(target.is_open() && target.eof() && !source.is_open());
  EXPECT_EQ(target.rdbuf(), former);
  source.close();
  target.close();
  EXPECT_EQ(content_of("source"), "s");
  uifstream reader(ustring(u"f"));
  reader = uifstream(ustring(u"missing"));
  EXPECT_FALSE(reader.is_open());
  in = std::move(reader);
  reader.close();
  EXPECT_TRUE(!in.is_open() && !reader.is_open());
}

}  // namespace

#ifndef _WIN32
std::function<std::ptrdiff_t(int, const void*, std::size_t)> scripted_write;

std::ptrdiff_t write_at_once(int file, const void* bytes, std::size_t size) {
  return syscall(SYS_write, file, bytes, size);
}

/// Comes before that of the run-time, and so is what file buffers call.
extern "C" [[gnu::visibility("default")]] ssize_t write(int file, const void* bytes, std::size_t size) {
  return scripted_write ? scripted_write(file, bytes, size) : write_at_once(file, bytes, size);
}

TEST_F(FileStreams, GoBadAndWriteNothingTwiceWhenTheSystemRefusesOnceOrTakesHalf) {
  std::string text;
  while (text.size() < 200'000) {  // three times what the file's buffer holds
    text += std::to_string(text.size()) + ' ';
  }
  for (const std::size_t piece : {1u, 2u, 3u, 4u, 100u, 70'000u}) {
    for (const int way : {0, 1, 2, 3}) {
      const bool takes_half = way % 2 != 0;
      const int refused = 1 + way / 2;
      scripted_write = [&, call = 0](int file, const void* bytes, std::size_t size) mutable -> std::ptrdiff_t {
        if (++call == refused) {
          return takes_half ? write_at_once(file, bytes, size / 2) : -1;
        }
        return takes_half && call == refused + 1 ? -1 : write_at_once(file, bytes, size);
      };
      std::size_t accepted = 0;
      uofstream out(ustring(u"f"));
      const ustring units(text.begin(), text.end());
      while (accepted < text.size() && (piece == 1 ? out.put(units[accepted]) : out << units.substr(accepted, piece))) {
        accepted += piece;
      }
      EXPECT_TRUE(out.bad()) << piece << ' ' << way;
      out.close();
      scripted_write = nullptr;
      const std::string written = content_of("f");
      EXPECT_TRUE(written.size() >= accepted && text.starts_with(written)) << piece << ' ' << way;
    }
  }
}
#endif
