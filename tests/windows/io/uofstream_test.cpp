// Text files through the library as a client links it: names, modes, sharing, failures, memory.
#include <fl/io.hpp>
#include <i18n/encoding.hpp>

#include "import_patch.hpp"
#include "support.hpp"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <string>
#include <utility>

namespace {

using namespace foundation::core::io;
using fl::ustring;
using namespace std::string_literals;
using std::ios_base;
using test_support::injected;
using test_support::read_file;
using test_support::write_file;
using file_path = fl::filesystem::path;

/// A folder that is the current one while it lives.
class scratch_folder {
 public:
  scratch_folder() { std::filesystem::current_path(wide("")); }
  ~scratch_folder() { std::filesystem::current_path(former_); }

  std::string file(const std::string& name) const { return folder_.file(name); }
  std::wstring wide(const std::string& name) const { return test_support::widen(file(name)); }
  ustring name(const std::string& name) const { return file_path(wide(name)).string(); }

 private:
  test_support::temp_dir folder_;
  std::filesystem::path former_ = std::filesystem::current_path();
};

ustring all_of(uifstream& in) {
  return {std::istreambuf_iterator<char16_t>(in), {}};
}

TEST(FileStreams, ReachTheFileThatTheNameMeansInEveryForm) {
  const scratch_folder folder;
  const std::wstring here = folder.wide(""), root = L"\\\\?\\" + here;
  const std::wstring x(120, L'x'), day(120, L'\u65E5'), deep = x + L"\\" + day + L"\\";
  std::filesystem::create_directories(root + deep);
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"gr\u00F6\u00DFe \u0159 \u65E5\u672C \U0001F600.txt", L"gr\u00F6\u00DFe \u0159 \u65E5\u672C \U0001F600.txt"},
      {L"nowhere\\..\\.\\b.txt", L"b.txt"},
      {here + L"nowhere/../c.txt", L"c.txt"},
      {deep + L"d.txt", deep + L"d.txt"},
      {L".\\" + deep + L"..//e.txt", x + L"\\e.txt"},
      {here + deep + L"../" + day + L"/f.txt", deep + L"f.txt"},
      {root + deep + L"g.txt", deep + L"g.txt"},
  };
  for (const auto& [name, file] : cases) {
    const file_path path(name);
    uofstream(path) << u"n = " << 42;
    uifstream in(path.string());
    EXPECT_EQ(all_of(in), u"n = 42") << test_support::narrow(name);
    in.close();
    EXPECT_TRUE(std::filesystem::remove(root + file)) << test_support::narrow(name);
  }
}

// The current directory matters for all but the absolute ones, so it is a short one.
TEST(NativeAccessForm, GetsThePrefixWhereTheSystemsLimitWouldBeReached) {
  const scratch_folder folder;
  ASSERT_TRUE(SetCurrentDirectoryW(L"C:\\windows"));
  const std::wstring tail = std::wstring(123, L'a') + L"\\" + std::wstring(123, L'b');  // 247 units
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"C:\\123456789" + tail, L""},
      {L"C:/1234567890" + tail, L"\\\\?\\C:\\1234567890" + tail},
      {L"\\\\srv\\share\\." + tail, L"\\\\?\\UNC\\srv\\share\\." + tail},
      {L"1" + tail, L""},
      {L"12" + tail, L"\\\\?\\C:\\windows\\12" + tail},
      {L"C:12" + tail, L"\\\\?\\C:\\windows\\12" + tail},
      {L"\\1234567890" + tail, L"\\\\?\\C:\\1234567890" + tail},
      {L"..\\1234567890" + tail, L"\\\\?\\C:\\1234567890" + tail},
      {L"\\\\?\\C:\\x\\..\\" + tail, L""},
      {L"\\\\.\\" + tail + tail, L""},
      {L"NUL", L""},
      {L"", L""},
  };
  for (const auto& [name, form] : cases) {
    EXPECT_EQ(fl::filesystem::detail::make_native_access_form_with_cleanup_i18n(file_path(name).string()),
              form.empty() ? name : form);
  }
}

TEST(FileStreams, TellByIsOpenAloneThatAFileCannotBeOpened) {
  const scratch_folder folder;
  const HANDLE held = CreateFileW(folder.wide("held").c_str(), GENERIC_READ, 0, nullptr, CREATE_NEW, 0, nullptr);
  std::filesystem::create_directory(folder.wide("folder"));
  const ustring zero = folder.name("zero");
  for (const ustring& name : {ustring(), folder.name("held"), folder.name("folder"), folder.name("."),
                              folder.name("folder/.."), folder.name("no/such"), zero + u'\0', zero + u'\0' + u'x'}) {
    uofstream out(name);
    EXPECT_TRUE(!out.is_open() && out.good()) << file_path(name).native().c_str();
    out << u'x';
    EXPECT_TRUE(out.bad());
    out.close();
  }
  CloseHandle(held);
  EXPECT_FALSE(std::filesystem::exists(folder.wide("zero")));
  uifstream in(folder.name("missing"));
  EXPECT_TRUE(!in.is_open() && in.good());
  EXPECT_EQ(in.get(), std::char_traits<char16_t>::eof());
  EXPECT_TRUE(in.eof() && !in.bad());
  std::filesystem::permissions(folder.wide("held"), std::filesystem::perms::owner_read);
  EXPECT_TRUE(uifstream(folder.name("held")).is_open()) << "to read, no more rights are asked for";

  uofstream nowhere(ustring(u"NUL"));
  nowhere << u"gone" << std::flush;
  EXPECT_TRUE(nowhere.is_open() && nowhere.good());

  EXPECT_THROW(uofstream(folder.name("made"), ios_base::out, "klingon"), fl::i18n::unknown_encoding);
  EXPECT_TRUE(std::filesystem::remove(folder.wide("made"))) << "it was made, and is closed";
}

TEST(FileStreams, LeaveTheModeToTheRunTimeAndTheEncodingToTheConverters) {
  const scratch_folder folder;
  const struct {
    int mode;
    std::string after;  ///< the file, "old\r\n" before, after writing "a\n"
  } cases[] = {
      {ios_base::out, "a\r\n"},
      {ios_base::out | ios_base::binary, "a\n"},
      {ios_base::out | ios_base::trunc | ios_base::in, "a\r\n"},
      {ios_base::out | ios_base::app, "old\r\na\r\n"},
      {ios_base::out | ios_base::in, "a\r\n\r\n"},
      {ios_base::out | ios_base::in | ios_base::ate | ios_base::binary, "old\r\na\n"},
      {ios_base::in, "old\r\n"},
      {ios_base::trunc, "old\r\n"},
  };
  for (const auto& [mode, after] : cases) {
    write_file(folder.file("f"), "old\r\n");
    uofstream(file_path(folder.name("f")), mode, "UTF-8") << u"a\n";
    EXPECT_EQ(read_file(folder.file("f")), after) << mode;
  }
  const ustring text = u"\u00E9\u65E5\U0001F600\r\n";
  uofstream(folder.name("f"), ios_base::out | ios_base::binary, "GB18030") << text;
  EXPECT_EQ(read_file(folder.file("f")), fl::i18n::encode(text, "GB18030"));
  uifstream same(folder.name("f"), ios_base::in | ios_base::binary, "GB18030");
  EXPECT_EQ(all_of(same), text);
  write_file(folder.file("f"), "\357\273\277a\r\nb\032c");
  uifstream in(folder.name("f"));
  EXPECT_EQ(all_of(in), u"\uFEFFa\nb");
  uifstream writing(folder.name("f"), ios_base::out, "UTF-8");
  EXPECT_TRUE(writing.is_open());
  EXPECT_EQ(read_file(folder.file("f")), "") << "opened for writing, as asked";
}

TEST(FileStreams, DenyNothingToOtherReadersAndWriters) {
  const scratch_folder folder;
  uofstream out(folder.name("f"));
  out << u"first" << std::flush;
  uifstream in(folder.name("f"));
  EXPECT_EQ(all_of(in), u"first");
  uofstream second(folder.name("f"), ios_base::out | ios_base::app, "UTF-8");
  second << u" second" << std::flush;
  EXPECT_EQ(read_file(folder.file("f")), "first second");
}

TEST(FileStreams, CloseWithTheStreamAndLeaveTheStateAlone) {
  const scratch_folder folder;
  uofstream out(folder.name("f"));
  out << ustring(100000, u'x');
  out.close();
  out.close();
  EXPECT_TRUE(!out.is_open() && out.good());
  EXPECT_EQ(read_file(folder.file("f")).size(), 100000u);
  out << u'x';
  EXPECT_TRUE(out.bad());
  uifstream in(folder.name("f"));
  in.get();
  in.close();
  EXPECT_EQ(all_of(in).size(), 1023u) << "what was read ahead";

  uofstream target(folder.name("target"));
  uofstream source(folder.name("source"));
  std::basic_streambuf<char16_t>* const former = target.rdbuf();
  target << u"t";
  source << u"s";
  target = std::move(source);
  EXPECT_EQ(read_file(folder.file("target")), "t") << "its file is closed";
  EXPECT_TRUE(target.is_open() && !source.is_open());
  EXPECT_EQ(target.rdbuf(), former);
  source.close();
  target.close();
  EXPECT_EQ(read_file(folder.file("source")), "s");

  fl::filesystem::basic_filebuf<char> buffer;
  EXPECT_EQ(buffer.open(folder.name("f"), ios_base::in), &buffer);
  EXPECT_EQ(buffer.open(folder.name("f"), ios_base::in), nullptr);
  EXPECT_TRUE(buffer.close() != nullptr && buffer.open(folder.name("f"), ios_base::in) != nullptr);
  EXPECT_EQ(buffer.sgetc(), 'x');
  char area[16] = {};
  fl::filesystem::basic_filebuf<char> with_area;
  with_area.pubsetbuf(area, sizeof area);
  with_area.open(folder.name("f"), ios_base::out);
  with_area.sputn("abc", 3);
  EXPECT_STREQ(area, "abc") << "the user's buffer stays";
}

TEST(FileStreams, GoBadAndWriteNothingTwiceWhenTheSystemRefusesOnceOrTakesHalf) {
  const scratch_folder folder;
  ustring text;
  while (text.size() < 200'000) {  // three times what the file's buffer holds
    text += file_path(std::to_wstring(text.size()) + L' ').string();
  }
  for (const std::size_t piece : {1u, 2u, 3u, 4u, 100u, 70'000u}) {
    for (const int way : {0, 1, 2, 3}) {
      const bool takes_half = way % 2 != 0;
      const int refused = 1 + way / 2;
      injected<int (*)(int, const void*, unsigned)> writes("libstdc++-6.dll", "_write");
      writes.handle_with([&, call = 0](auto write, int file, const void* bytes, unsigned size) mutable {
        if (++call == refused) {
          return takes_half ? write(file, bytes, size / 2) : -1;
        }
        return takes_half && call == refused + 1 ? -1 : write(file, bytes, size);
      });
      std::size_t accepted = 0;
      uofstream out(folder.name("f"), ios_base::out | ios_base::binary, "UTF-8");
      while (accepted < text.size() && (piece == 1 ? out.put(text[accepted]) : out << text.substr(accepted, piece))) {
        accepted += piece;
      }
      EXPECT_TRUE(out.bad()) << piece << ' ' << way;
      out.close();
      const ustring written = fl::i18n::decode(read_file(folder.file("f")), "UTF-8");
      EXPECT_TRUE(written.size() >= accepted && text.starts_with(written)) << piece << ' ' << way;
    }
  }
}

TEST(FileStreams, WithoutMemoryTakeNothingAndCanBeAskedAgain) {
  const scratch_folder folder;
  write_file(folder.file("f"), "abc");
  uifstream in(folder.name("f"));
  uofstream out(folder.name("g"));
  const ustring text(30'000, u'x');  // more than goes straight into the file's buffer
  // The library's own areas; the strings of the run-time are allocated elsewhere.
  for (const char* const allocation : {"_Znwy", "_Znay"}) {
    injected<void* (*)(std::size_t)> memory("libqxfl.dll", allocation);
    memory.handle_with([](auto, std::size_t) -> void* { throw std::bad_alloc(); });
    EXPECT_THROW(in.rdbuf()->sgetc(), std::bad_alloc) << allocation;
    if (allocation == "_Znay"s) {
      EXPECT_THROW(out.rdbuf()->sputn(text.data(), 30'000), std::bad_alloc);
    }
  }
  EXPECT_EQ(all_of(in), u"abc");
  out << text.substr(0, 10) << std::flush;
  EXPECT_EQ(read_file(folder.file("g")).size(), 10u);
}

}  // namespace
