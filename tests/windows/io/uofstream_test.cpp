// Text files through the library as a client links it: names, line ends, sharing, memory.
#include <fl/io.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <windows.h>

#include <filesystem>

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
      {L"\\1234567890" + tail, L"\\\\?\\C:\\1234567890" + tail},
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
  std::filesystem::permissions(folder.wide("held"), std::filesystem::perms::owner_read);
  EXPECT_TRUE(uifstream(folder.name("held")).is_open()) << "to read, no more rights are asked for";

  uofstream nowhere(ustring(u"NUL"));
  nowhere << u"gone" << std::flush;
  EXPECT_TRUE(nowhere.is_open() && nowhere.good());
}

TEST(FileStreams, TranslateLineEndsUnlessTheyAreBinary) {
  const scratch_folder folder;
  uofstream(file_path(folder.name("f"))) << u"a\n";
  EXPECT_EQ(read_file(folder.file("f")), "a\r\n");
  uofstream(folder.name("f"), ios_base::out | ios_base::binary, "UTF-8") << u"a\n";
  EXPECT_EQ(read_file(folder.file("f")), "a\n");
  write_file(folder.file("f"), "\357\273\277a\r\nb\032c");
  uifstream in(folder.name("f"));
  EXPECT_EQ(all_of(in), u"\uFEFFa\nb");
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

TEST(FileBuffer, IsOpenOnceAndKeepsTheBufferOfTheUser) {
  const scratch_folder folder;
  write_file(folder.file("f"), "x");
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

TEST(FileStreams, WithoutMemoryTakeNothingAndCanBeAskedAgain) {
  const scratch_folder folder;
  write_file(folder.file("f"), "abc");
  uifstream in(folder.name("f"));
  uofstream out(folder.name("g"));
  const ustring text(30'000, u'x');  // more than goes straight into the file's buffer
  {
    // The library's own areas; the strings of the run-time are allocated elsewhere.
    injected<void* (*)(std::size_t)> memory("libqxfl.dll", "_Znay");
    memory.handle_with([](auto, std::size_t) -> void* { throw std::bad_alloc(); });
    EXPECT_THROW(in.rdbuf()->sgetc(), std::bad_alloc);
    EXPECT_THROW(out.rdbuf()->sputn(text.data(), 30'000), std::bad_alloc);
  }
  EXPECT_EQ(all_of(in), u"abc");
  out << text.substr(0, 10) << std::flush;
  EXPECT_EQ(read_file(folder.file("g")).size(), 10u);
}

}  // namespace
