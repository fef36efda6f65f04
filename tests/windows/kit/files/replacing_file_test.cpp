#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <boost/system/system_error.hpp>
#include <kit/replacing_file.hpp>

#include <windows.h>

#include <filesystem>

namespace {

using foundation::kit::replacing_file;
using test_support::injected;

class ReplacingFile : public testing::Test {
 protected:
  std::string content() const { return test_support::read_file(name_); }
  bool has_part() const { return std::filesystem::exists(test_support::widen(name_ + ".part")); }
  fl::filesystem::path path() const { return fl::filesystem::path(test_support::widen(name_)); }

  /// The name of the call that `work` fails with.
  template <class Work>
  static std::string failure(Work work) {
    try {
      work();
      return "none";
    } catch (const boost::system::system_error& error) {
      return std::string(error.what()).substr(0, std::string(error.what()).find(':'));
    }
  }

  test_support::temp_dir folder_;
  std::string name_ = folder_.file("gr\u00f6\u00dfe.txt");
};

TEST_F(ReplacingFile, ShowsNothingUntilItIsKept) {
  test_support::write_file(name_, "old\n");
  {
    replacing_file second(path());
    second.stream() << std::string(200000, 'x') << std::flush;
    EXPECT_EQ(content(), "old\n");
    EXPECT_EQ(failure([&] { replacing_file meanwhile(path()); }), "CreateFileW");
    EXPECT_TRUE(has_part()) << "the second one's was removed";
  }
  EXPECT_EQ(content(), "old\n");
  EXPECT_FALSE(has_part());
  replacing_file third(path());
  third.stream() << "new" << 1;
  third.keep();
  EXPECT_EQ(content(), "new1");
  EXPECT_FALSE(has_part());
}

TEST_F(ReplacingFile, LeavesTheOtherFileAloneWhenItFailsAndMayBeTriedAgain) {
  test_support::write_file(name_, "old");
  const std::string text(70000, 'x');
  injected<decltype(&WriteFile)> write("libqxkit.dll", "WriteFile");
  injected<decltype(&FlushFileBuffers)> flush("libqxkit.dll", "FlushFileBuffers");
  injected<decltype(&MoveFileExW)> move("libqxkit.dll", "MoveFileExW");
  replacing_file file(path());
  write.fail_at(1, FALSE, ERROR_DISK_FULL);
  EXPECT_FALSE(file.stream() << text);
  write.fail_at(2, FALSE, ERROR_DISK_FULL);
  EXPECT_EQ(failure([&] { file.keep(); }), "WriteFile");
  write.reset();
  write.handle_with([](auto, HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return TRUE; });
  EXPECT_EQ(failure([&] { file.keep(); }), "WriteFile") << "nothing was written";
  write.handle_with([](auto original, HANDLE to, const void* bytes, DWORD count, DWORD* put, OVERLAPPED*) {
    return original(to, bytes, std::min<DWORD>(count, 30000), put, nullptr);
  });
  EXPECT_EQ(failure([&] { file.keep(); }), "WriteFile") << "something may be lost";
  file.stream().clear();
  flush.fail_at(2, FALSE, ERROR_IO_DEVICE);
  EXPECT_EQ(failure([&] { file.keep(); }), "FlushFileBuffers");
  move.fail_at(1, FALSE, ERROR_SHARING_VIOLATION);
  EXPECT_EQ(failure([&] { file.keep(); }), "MoveFileExW");
  EXPECT_EQ(content(), "old");
  EXPECT_EQ(failure([&] { replacing_file meanwhile(path()); }), "CreateFileW") << "what is whole was cut off";
  file.keep();
  EXPECT_TRUE(content() == text);
}

TEST_F(ReplacingFile, RemovesNothingButItsOwnFile) {
  injected<decltype(&DeleteFileW)> remove("libqxkit.dll", "DeleteFileW", [&](auto original, const wchar_t* name) {
    EXPECT_EQ(CreateFileW(name, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr), INVALID_HANDLE_VALUE)
        << "and loses what it writes";
    return original(name);
  });
  replacing_file(path()).stream() << "text";
  EXPECT_EQ(remove.calls(), 1u);
  EXPECT_FALSE(has_part());
}

TEST_F(ReplacingFile, IsNotKeptIfItsStreamHasDroppedSomething) {
  test_support::write_file(name_, "old");
  replacing_file file(path());
  std::istringstream nothing;
  file.stream() << "begin" << nothing.rdbuf() << "dropped";
  EXPECT_EQ(failure([&] { file.keep(); }), "WriteFile");
  EXPECT_EQ(content(), "old");
  file.stream().clear();
  file.keep();
  EXPECT_EQ(content(), "begin");
}

TEST_F(ReplacingFile, RefusesANameWithAZero) {
  EXPECT_EQ(failure([] { replacing_file file(fl::filesystem::path(fl::ustring(u"a\0b", 3))); }), "CreateFileW");
}

}  // namespace
