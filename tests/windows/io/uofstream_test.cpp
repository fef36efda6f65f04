// Text files through the library as a client links it: names, modes, sharing, failures, memory.
#include <fl/io.hpp>
#include <i18n/encoding.hpp>

#include "import_patch.hpp"
#include "support.hpp"

#include <gtest/gtest.h>

#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

namespace {

using namespace foundation::core::io;
using fl::ustring;
using std::ios_base;
using test_support::injected;
using test_support::read_file;
using test_support::write_file;
using file_path = fl::filesystem::path;

/// A folder that is the current one while it lives.
class scratch_folder {
 public:
  scratch_folder() {
    GetCurrentDirectoryW(MAX_PATH, former_);
    SetCurrentDirectoryW(wide("").c_str());
  }
  ~scratch_folder() { SetCurrentDirectoryW(former_); }

  std::string file(const std::string& name) const { return folder_.file(name); }
  std::wstring wide(const std::string& name) const { return test_support::widen(file(name)); }
  ustring name(const std::string& name) const { return file_path(wide(name)).string(); }

 private:
  test_support::temp_dir folder_;
  wchar_t former_[MAX_PATH];
};

struct handle_closer {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using unique_handle = std::unique_ptr<HANDLE, handle_closer>;

/// Null if the file cannot be opened by who denies nothing.
unique_handle open_natively(const std::wstring& name, DWORD access) {
  const HANDLE file = CreateFileW(name.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  return unique_handle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

ustring all_of(uifstream& in) {
  return {std::istreambuf_iterator<char16_t>(in), {}};
}

TEST(FileStreams, ReachTheFileThatTheNameMeansInEveryForm) {
  const scratch_folder folder;
  const std::wstring root = L"\\\\?\\" + folder.wide("");
  const std::wstring deep = std::wstring(120, L'x') + L"\\" + std::wstring(120, L'\u65E5') + L"\\";
  std::wstring made = root;
  for (const std::wstring& part : {std::wstring(120, L'x'), std::wstring(120, L'\u65E5')}) {
    ASSERT_TRUE(CreateDirectoryW((made += part + L"\\").c_str(), nullptr));
  }
  const auto absolute = [&](const std::wstring& rest) { return folder.wide("") + rest; };
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"gr\u00F6\u00DFe \u0159 \u65E5\u672C \U0001F600.txt", L"gr\u00F6\u00DFe \u0159 \u65E5\u672C \U0001F600.txt"},
      {L"./no/such/../../a//", L""},
      {L"nowhere\\..\\.\\b.txt", L"b.txt"},
      {absolute(L"nowhere/../c.txt"), L"c.txt"},
      {deep + L"d.txt", deep + L"d.txt"},
      {L".\\" + deep + L"..//e.txt", deep.substr(0, 121) + L"e.txt"},
      {absolute(deep + L"../" + std::wstring(120, L'\u65E5') + L"/f.txt"), deep + L"f.txt"},
      {root + deep + L"g.txt", deep + L"g.txt"},
  };
  for (const auto& [name, file] : cases) {
    const file_path path(name);
    uofstream out(path);
    EXPECT_EQ(out.is_open(), !file.empty()) << path.native().size();
    if (file.empty()) {
      continue;
    }
    out << u"n = " << 42 << u'\n';
    out.close();
    EXPECT_TRUE(open_natively(root + file, GENERIC_READ)) << test_support::narrow(file);
    uifstream in(path.string());
    ustring word;
    int number = 0;
    EXPECT_TRUE(in >> word >> word >> number) << test_support::narrow(name);
    EXPECT_EQ(number, 42);
    in.close();
    EXPECT_TRUE(DeleteFileW((root + file).c_str()));
  }
  EXPECT_TRUE(RemoveDirectoryW((root + deep).c_str()));
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
  write_file(folder.file("held"), "x");
  unique_handle alone(CreateFileW(folder.wide("held").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  write_file(folder.file("locked"), "x");
  SetFileAttributesW(folder.wide("locked").c_str(), FILE_ATTRIBUTE_READONLY);
  CreateDirectoryW(folder.wide("folder").c_str(), nullptr);
  const ustring zero = folder.name("zero");
  for (const ustring& name : {ustring(), folder.name("held"), folder.name("folder"), folder.name("."),
                              folder.name("folder/.."), folder.name("no/such"), zero + u'\0', zero + u'\0' + u'x'}) {
    uofstream out(name);
    EXPECT_TRUE(!out.is_open() && out.good()) << file_path(name).native().c_str();
    out << u'x';
    EXPECT_TRUE(out.bad());
    out.close();
  }
  EXPECT_FALSE(open_natively(folder.wide("zero"), GENERIC_READ));
  uifstream in(folder.name("missing"));
  EXPECT_TRUE(!in.is_open() && in.good());
  EXPECT_EQ(in.get(), std::char_traits<char16_t>::eof());
  EXPECT_TRUE(in.eof() && !in.bad());
  // Wine lets the superuser write to a read-only file.
  EXPECT_EQ(uofstream(folder.name("locked")).is_open(), open_natively(folder.wide("locked"), GENERIC_WRITE) != nullptr);
  EXPECT_TRUE(uifstream(folder.name("locked")).is_open());
  SetFileAttributesW(folder.wide("locked").c_str(), FILE_ATTRIBUTE_NORMAL);

  uofstream nowhere(ustring(u"NUL"));
  nowhere << u"gone" << std::flush;
  EXPECT_TRUE(nowhere.is_open() && nowhere.good());

  EXPECT_THROW(uofstream(folder.name("made"), ios_base::out, "klingon"), fl::i18n::unknown_encoding);
  EXPECT_TRUE(DeleteFileW(folder.wide("made").c_str())) << "it was made, and is closed";
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
  for (const char* const encoding : {"UTF-8", "UTF-16", "GB18030", "Shift_JIS"}) {
    uofstream(folder.name("f"), ios_base::out | ios_base::binary, encoding) << text;
    const std::string bytes = fl::i18n::encode(text, encoding);
    EXPECT_EQ(read_file(folder.file("f")), bytes) << encoding;
    uifstream in(folder.name("f"), ios_base::in | ios_base::binary, encoding);
    EXPECT_EQ(all_of(in), fl::i18n::decode(bytes, encoding)) << encoding;
  }
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
  EXPECT_TRUE(open_natively(folder.wide("f"), GENERIC_READ | GENERIC_WRITE));
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

std::size_t private_bytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  EXPECT_TRUE(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters));
  return counters.PagefileUsage;
}

TEST(FileStreams, TakeNoMoreMemoryForAFileOf64MiB) {
  const scratch_folder folder;
  constexpr std::size_t lines = 1024 * 1024;
  const ustring line = ustring(59, u'\u00E9') + u"abcd\n";  // 123 bytes of UTF-8, one more in text mode
  ustring read;
  read.reserve(100);
  uofstream out(folder.name("f"));
  out << line << line << std::flush;
  const std::size_t before = private_bytes();
  std::size_t most = before;
  {
    const std::string other(4 * 1024 * 1024, 'x');
    EXPECT_GT(private_bytes(), before + other.size() / 2) << "the figure would show it";
  }
  for (std::size_t i = 2; i < lines; ++i) {
    out << line;
    if (i % 10000 == 0) {
      most = std::max(most, private_bytes());
    }
  }
  out.close();
  EXPECT_LT(most - before, 1024u * 1024);
  uifstream in(folder.name("f"));
  std::size_t count = 0;
  for (; std::getline(in, read); ++count) {
    ASSERT_EQ(line.compare(0, 63, read), 0) << count;
    if (count % 10000 == 0) {
      most = std::max(most, private_bytes());
    }
  }
  EXPECT_EQ(count, lines);
  EXPECT_LT(most - before, 1024u * 1024);
}

}  // namespace
