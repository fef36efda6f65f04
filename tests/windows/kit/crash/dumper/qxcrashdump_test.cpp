// The program that writes dumps, asked by a process that is damaged: what they share may hold anything by then.

#include <fl/process/process.hpp>

#include "crash/dump_request.hpp"
#include "every_test.hpp"
#include "support.hpp"

#include <kit/run.hpp>

#include <windows.h>

#include <filesystem>

namespace {

namespace kit = foundation::kit;
namespace process = foundation::core::process;
using kit::dump_request;

class CrashDump : public testing::Test {
 protected:
  CrashDump() {
    const auto own = [](HANDLE handle) { return reinterpret_cast<std::uintptr_t>(handle); };
    std::copy(file_.begin(), file_.end(), shared_->file);
    shared_->process_id = GetCurrentProcessId();
    shared_->process = own(process_);
    shared_->request = own(request_);
    shared_->done = own(done_);
    how_.inherited_handles() = {process_, request_, done_, section_};
    how_.explicitlyInheritHandles(true);
  }
  ~CrashDump() override {
    for (const HANDLE each : {process_, request_, done_, section_}) {
      CloseHandle(each);
    }
    UnmapViewOfFile(shared_);
  }

  static process::command what(const std::string& argument) {
    return process::make_command(test_support::child_path("qxcrashdump"), argument);
  }
  std::string section() const { return std::to_string(reinterpret_cast<std::uintptr_t>(section_)); }
  bool is_done() const { return WaitForSingleObject(done_, 30000) == WAIT_OBJECT_0; }

  const test_support::temp_dir folder_;
  const std::wstring file_ = test_support::widen(folder_.file("dump"));
  HANDLE process_ = OpenProcess(PROCESS_ALL_ACCESS, FALSE, GetCurrentProcessId());
  HANDLE request_ = CreateEventW(nullptr, FALSE, FALSE, nullptr), done_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  HANDLE section_ = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(dump_request), nullptr);
  dump_request* shared_ = new (MapViewOfFile(section_, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(dump_request))) dump_request;
  process::context how_;
};

TEST_F(CrashDump, IsMadeByNobodyIfNoRequestOfThisVersionIsNamed) {
  for (const std::string& argument : {std::string("0"), std::string("x"), std::string("18446744073709551615"),
                                      std::to_string(reinterpret_cast<std::uintptr_t>(done_))}) {
    EXPECT_EQ(kit::run(what(argument), how_).exit_code(), 1u) << argument;
  }
  ++shared_->version;
  EXPECT_EQ(kit::run(what(section()), how_).exit_code(), 1u);
}

TEST_F(CrashDump, OfNonsenseSaysWhyThereIsNoneAndTheNextRequestIsHeard) {
  process::process writer(what(section()), how_);
  ASSERT_TRUE(is_done()) << "it is there";
  const std::function<void()> damages[] = {
      [&] { std::fill(std::begin(shared_->file), std::end(shared_->file), u'x'); },
      [&] { shared_->file[0] = u'\0'; },
      [&] { std::copy_n(u"C:x", 4, shared_->file); },
      [&] { std::copy_n(u"\\\\.\\nul\\x", 10, shared_->file); },
      [&] { shared_->process = shared_->done; },
  };
  const dump_request sound = *shared_;
  for (const auto& damage : damages) {
    *shared_ = sound;
    damage();
    shared_->error = 0;
    SetEvent(request_);
    ASSERT_TRUE(is_done());
    EXPECT_NE(shared_->error, 0u) << &damage - damages;
  }
  EXPECT_FALSE(std::filesystem::exists(".part")) << "of a file without a name, in the current directory";
  *shared_ = sound;
  shared_->pointers = ~std::uint64_t{0};  // Nothing is there, and the process has no such thread.
  shared_->thread = ~0u;
  SetEvent(request_);
  ASSERT_TRUE(is_done());
  *shared_ = sound;
  SetEvent(request_);
  ASSERT_TRUE(is_done());
  EXPECT_EQ(shared_->error, 0u);
  EXPECT_TRUE(test_support::read_file(folder_.file("dump")).starts_with("MDMP"));
  writer.kill();
}

}  // namespace
