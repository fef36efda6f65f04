// Launches that fail: what is thrown and said, that no handle is lost, and that the next launch works.

#include <fl/except.hpp>
#include <fl/mem/ram_state.hpp>
#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "handle_leak.hpp"
#include "import_patch.hpp"
#include "launch_texts.hpp"

#include <gtest/gtest.h>

#include <windows.h>

#include <map>
#include <new>
#include <string>
#include <vector>

using foundation::core::sysdep::windows::process_impl;
using namespace launch_texts;
using test_support::injected;
using test_support::loses_no_handle;

namespace {

constexpr const char* library = "libqxfl.dll";
// What one launch uses.
struct materials {
  process::iopipe in, out, err, extra;
  test_support::temp_dir folder;
  process::context how;

  void attach_pipes() {
    how.std_in(process::pipe_from(in));
    how.std_out(process::pipe_to(out));
    how.std_err(process::pipe_to(err));
  }
};

// The calls that a launch makes, in the words of their failures. A function that is not named is not called.
struct scenario {
  const char* name;
  void (*prepare)(materials&);
  std::map<std::string, std::vector<std::string>> calls;
};

const std::string set_information = told("SetHandleInformation");
const std::string opening = told("OpenFile (open_file_handle)");
const std::string elevation = told("Cannot de-elevate: cannot confirm if process is elevated.");
const std::string no_list = "InitializeProcThreadAttributeList failed";
const std::pair<std::string, std::vector<std::string>> creation = {"CreateProcessW", {told("CreateProcessW")}};

const scenario scenarios[] = {
    {"pipes",
     [](materials& m) { m.attach_pipes(); },
     {{"SetHandleInformation", {set_information, set_information, set_information}}, creation}},
    {"files",
     [](materials& m) {
       m.how.std_in(process::read_from_file(m.folder.file("in")));
       m.how.std_out(process::overwrite_file(m.folder.file("out \u4e2d")));
       m.how.std_err(process::append_to_file(m.folder.file("err")));
     },
     {{"CreateFileA", {opening, opening}},
      {"CreateFileW", {opening}},
      {"SetEndOfFile", {told("SetEndOfFile (open_file_handle)")}},
      {"SetFilePointer", {told("SetFilePointer (open_file_handle)")}},
      creation}},
    {"merged streams",
     [](materials& m) {
       m.how.std_out(process::discard());
       m.how.std_err(process::merge_with_stdout());
     },
     {{"CreateFileA", {opening}},
      {"GetHandleInformation", {told("GetHandleInformation")}},
      {"DuplicateHandle", {told("DuplicateHandle")}},
      {"SetHandleInformation", {set_information}},
      creation}},
    {"explicit list, not elevated, output of the parent",
     [](materials& m) {
       m.how.explicitlyInheritHandles(true);
       m.how.elevationLevel(process::ElevationLevel::NonElevated);
       m.how.std_in(process::read_from_file("NUL"));
       m.how.inherit_pipe(m.extra, process::open_mode::read | process::open_mode::write);
     },
     {{"CreateFileA", {opening}},
      {"DuplicateHandle",
       {told("Failed to duplicate STD_OUTPUT_HANDLE."), told("Failed to duplicate STD_ERROR_HANDLE.")}},
      {"SetHandleInformation", std::vector(7, set_information)},  // the pipe's ends, and all five of the list
      {"InitializeProcThreadAttributeList", {no_list, no_list}},
      {"HeapAlloc", {"std::bad_alloc"}},
      {"UpdateProcThreadAttribute", {"UpdateProcThreadAttribute failed"}},
      {"OpenProcessToken", {elevation}},
      {"GetTokenInformation", {elevation}},
      creation}},
};

unsigned status_of_launch(const scenario& tried) {
  materials fresh;
  tried.prepare(fresh);
  return process::process(children::command("child_exit", {"5"}), fresh.how).exit_status();
}

// Refuses each call of one function in turn.
template <class Function>
void refuse_each(const char* function, typename injected<Function>::result_type failure, const scenario& tried) {
  SCOPED_TRACE(std::string(tried.name) + ", " + function);
  injected<decltype(&HeapAlloc), struct allocation> allocating(library, "HeapAlloc");
  injected<decltype(&HeapFree), struct release> freeing(library, "HeapFree");
  injected<Function, struct refused_call> call(library, function);
  ASSERT_EQ(status_of_launch(tried), 5u);
  const auto found = tried.calls.find(function);
  const std::vector<std::string> expected = found == tried.calls.end() ? std::vector<std::string>() : found->second;
  ASSERT_EQ(call.calls(), expected.size());
  const process::command what = children::command("child_exit", {"5", ""});
  for (std::size_t nth = 1; nth <= expected.size(); ++nth) {
    EXPECT_TRUE(loses_no_handle([&] {
      call.reset();
      allocating.reset();
      freeing.reset();
      materials fresh;
      tried.prepare(fresh);
      call.fail_at(nth, failure, injected_code);
      EXPECT_EQ(text_of_launch<process::process_init_error>(what, fresh.how), init_error_text(what, expected[nth - 1]));
      EXPECT_TRUE(fresh.extra.is_open_for_read() && fresh.extra.is_open_for_write());
      if (function == creation.first && tried.prepare == scenarios[0].prepare) {
        EXPECT_TRUE(!fresh.in.is_open_for_read() && fresh.in.is_open_for_write());
        EXPECT_TRUE(fresh.out.is_open_for_read() && !fresh.out.is_open_for_write());
        EXPECT_TRUE(fresh.err.is_open_for_read() && !fresh.err.is_open_for_write());
      }
    })) << "call "
        << nth;
    EXPECT_EQ(freeing.calls(), allocating.calls()) << "call " << nth;
    call.reset();
    EXPECT_EQ(status_of_launch(tried), 5u) << "after a failure";
  }
}

}  // namespace

TEST(LaunchFailure, OfEachSystemCallIsToldAndLosesNoHandle) {
  injected<decltype(&GetTokenInformation)> question(library, "GetTokenInformation");
  question.handle_with([](auto, auto, TOKEN_INFORMATION_CLASS, LPVOID answer, DWORD size, PDWORD length) {
    EXPECT_EQ(size, sizeof(TOKEN_ELEVATION));
    static_cast<TOKEN_ELEVATION*>(answer)->TokenIsElevated = FALSE;
    *length = size;
    return TRUE;
  });
#define REFUSE_EACH(function, failure) refuse_each<decltype(&function)>(#function, failure, tried)
  for (const scenario& tried : scenarios) {
    REFUSE_EACH(SetHandleInformation, FALSE);
    REFUSE_EACH(GetHandleInformation, FALSE);
    REFUSE_EACH(DuplicateHandle, FALSE);
    REFUSE_EACH(CreateFileA, INVALID_HANDLE_VALUE);
    REFUSE_EACH(CreateFileW, INVALID_HANDLE_VALUE);
    REFUSE_EACH(SetEndOfFile, FALSE);
    REFUSE_EACH(SetFilePointer, INVALID_SET_FILE_POINTER);
    REFUSE_EACH(InitializeProcThreadAttributeList, FALSE);
    REFUSE_EACH(HeapAlloc, nullptr);
    REFUSE_EACH(UpdateProcThreadAttribute, FALSE);
    REFUSE_EACH(OpenProcessToken, FALSE);
    REFUSE_EACH(GetTokenInformation, FALSE);
    REFUSE_EACH(CreateProcessW, FALSE);
  }
#undef REFUSE_EACH
}

// Each allocation in turn finds no memory: of an assignment, which then changes nothing, and of a launch, those behind
// the creation of the child included.
TEST(LaunchFailure, ForWantOfMemoryLosesNoHandle) {
  injected<void* (*)(std::size_t)> allocation(library, "_Znwy");
  const process::command what = children::command("child_exit", {"0"});
  int failures = 0;
  for (bool launched = false; !launched; ++failures) {
    EXPECT_TRUE(loses_no_handle([&] {
      materials fresh;
      fresh.attach_pipes();
      fresh.how.explicitlyInheritHandles(true);
      fresh.how.inherit_pipe(fresh.extra, process::open_mode::read);
      process::context how;
      how.environment().clear();
      const process::context before = how;
      int count = 0;
      allocation.handle_with([&](auto original, std::size_t bytes) {
        return count++ == failures ? throw std::bad_alloc() : original(bytes);
      });
      try {
        how = fresh.how;
        process_impl::launch(what, how);
        launched = true;
      } catch (const process::process_init_error&) {
      } catch (const std::bad_alloc&) {
        EXPECT_EQ(how, before);
      }
      allocation.handle_with(nullptr);
    })) << "allocation "
        << failures;
  }
  EXPECT_GT(failures, 10);
}

TEST(LaunchFailure, OfABadTextSaysWhatIsWrongWithIt) {
  const process::command good = children::command("child_exit", {"0"});
  const process::command searched("cmd.exe");  // which only a search would find
  const process::command bad_name("C:\\\xFF.exe");
  const process::command bad_argument = children::command("child_exit", {"0", "\xED\xA0\x80"});
  process::context bad_directory, bad_user;
  bad_directory.directory("C:\\\xC3");
  bad_user.user("domain\\", "password");
  EXPECT_EQ(text_of_launch<process::process_init_error>(searched, {}),
            init_error_text(searched, told("CreateProcessW", ERROR_FILE_NOT_FOUND)));
  for (const process::command& bad : {bad_name, bad_argument}) {
    EXPECT_EQ(text_of_launch<process::process_init_error>(bad, {}), init_error_text(bad, "bad conversion"));
  }
  EXPECT_EQ(text_of_launch<process::process_init_error>(good, bad_directory), init_error_text(good, "bad conversion"));
  EXPECT_EQ(text_of_launch<process::process_bad_user>(good, bad_user),
            bad_user_text(good,
                          "Failed to parse user string \"domain\\\". User must be specified as either USER@DOMAIN, "
                          "DOMAIN\\USER or USER."));
}

// In page 1252 of the tests the Cyrillic letter would be a question mark.
TEST(LaunchFailure, InALanguageWithOtherLettersIsToldInUtf8AsAreOtherFailuresOfTheSystem) {
  const process::command what("C:\\missing.exe");
  injected<DWORD (*)(DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**)> message(library, "FormatMessageW");
  message.handle_with([](auto, DWORD flags, auto, auto, auto, LPWSTR buffer, auto, auto) {
    EXPECT_TRUE(flags & FORMAT_MESSAGE_ALLOCATE_BUFFER);
    return give_message(buffer, L"F\u00fcr jeden gesperrt: \u0416.\r\n");
  });
  const std::string text = text_of_launch<process::process_init_error>(what, process::context());
  EXPECT_NE(text.find("CreateProcessW: F\u00fcr jeden gesperrt: \u0416 ["), std::string::npos) << text;
  injected<BOOL (*)(MEMORYSTATUSEX*)> memory(library, "GlobalMemoryStatusEx");
  memory.fail_always(FALSE, injected_code);
  try {
    const foundation::core::mem::RamState never;
    FAIL();
  } catch (const foundation::core::except::IException& e) {
    EXPECT_NE(e.ToUstring().find(u": F\u00fcr jeden gesperrt: \u0416 ["), std::u16string::npos);
  }
}
