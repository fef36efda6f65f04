// Launches that fail: what is thrown and said, that no handle is lost, and that the next launch works.

#include "children.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"
#include "launch_texts.hpp"

#include <windows.h>

using namespace launch_texts;
using test_support::injected;

namespace {

const test_support::temp_dir folder;

// What one launch uses.
struct materials {
  process::iopipe in, out, extra;
  process::context how;

  // One variable, since each allocation of a launch is refused in turn.
  materials() { how.environment() = {{"a variable", "with a value that does not fit into the string itself"}}; }
};

}  // namespace

// Also for want of memory, behind the creation of the child too. A context that cannot be assigned is as before.
TEST(LaunchFailure, OfEachSystemCallIsToldAndLosesNoHandle) {
  const struct {
    const char* name;
    void (*prepare)(materials&);
    test_support::refusal_outcomes outcomes;
  } scenarios[] = {
      {"files",
       [](materials& m) {
         m.how.std_in(process::read_from_file(folder.file("in")));
         m.how.std_out(process::overwrite_file(folder.file("out \u4e2d")));
         m.how.std_err(process::append_to_file(folder.file("err")));
       },
       {{"CreateFileA", "2 x OpenFile (open_file_handle)!"},
        {"CreateFileW", "OpenFile (open_file_handle)!"},
        {"MultiByteToWideChar", "5 | 3 x bad conversion"},
        {"SetEndOfFile", "SetEndOfFile (open_file_handle)!"},
        {"SetFilePointer", "SetFilePointer (open_file_handle)!"}}},
      {"pipes, merged streams, an explicit list",
       [](materials& m) {
         m.how.std_in(process::pipe_from(m.in)).std_out(process::pipe_to(m.out));
         m.how.std_err(process::merge_with_stdout());
         m.how.explicitlyInheritHandles(true);
         m.how.inherit_pipe(m.extra, process::open_mode::read | process::open_mode::write);
       },
       {{"DuplicateHandle", "DuplicateHandle!"},
        {"GetHandleInformation", "GetHandleInformation!"},
        {"HeapAlloc", "std::bad_alloc"},
        {"InitializeProcThreadAttributeList", "2 x InitializeProcThreadAttributeList failed"},
        {"SetHandleInformation", "5 x SetHandleInformation!"},  // streams and the pipe's ends
        {"UpdateProcThreadAttribute", "UpdateProcThreadAttribute failed"}}},
  };
  const children::stand_ins no_processes(true);
  injected<decltype(&HeapAlloc)> allocating("HeapAlloc");
  injected<decltype(&HeapFree)> freeing("HeapFree");
  const process::command what = children::command("exit", {"5", ""});
  for (const auto& [name, prepare, outcomes] : scenarios) {
    SCOPED_TRACE(name);
    const auto prepare_launch = [&, prepare] {
      const auto fresh = std::make_shared<materials>();
      prepare(*fresh);
      return [&what, fresh] {
        process::context how;
        how.environment().clear();
        const process::context before = how;
        try {
          how = fresh->how;
          return std::to_string(process::process(what, how).exit_status());
        } catch (const std::bad_alloc&) {
          EXPECT_TRUE(how == before || how == fresh->how);
          throw;
        } catch (const process::process_init_error& e) {
          const bool started = std::string(e.what()).find("bad_alloc") != std::string::npos;  // perhaps
          EXPECT_TRUE(started || (fresh->extra.is_open_for_read() && fresh->extra.is_open_for_write()));
          throw;
        }
      };
    };
    test_support::refusal_outcomes expected = {
        {"CreateProcessW", "CreateProcessW!"},
        {"GetExitCodeProcess", "system_error: GetExitCodeProcess!"},
        {"MultiByteToWideChar", "3 x bad conversion"},
        {"WaitForSingleObject", "system_error: WaitForSingleObject!"},
        {"new", "bad_alloc: std::bad_alloc | std::bad_alloc | bad_alloc: std::bad_alloc"}};
    for (const auto& [call, outcome] : outcomes) {
      expected[call] = outcome;
    }
    EXPECT_EQ(reasons(what, test_support::refuse_each_call(prepare_launch)), expected);
  }
  EXPECT_EQ(freeing.calls(), allocating.calls());
}

// A NUL would cut a text short. The child's ends are closed however early the launch fails, so that no reader hangs.
TEST(LaunchFailure, OfABadTextSaysWhatIsWrongWithItAndStartsNothing) {
  const injected<decltype(&CreateProcessW)> creation("CreateProcessW");
  const std::string nul("a\0b", 3);
  const process::command good = children::command("exit", {"0"});
  const auto nothing = [](auto&) {};
  const struct {
    std::string reason;
    process::command what;
    std::function<void(process::context&)> spoil;
  } rows[] = {
      {"bad conversion", children::command("exit", {"0", "\xED\xA0\x80"}), nothing},
      {"the command line holds a NUL character", children::command("exit", {"0", nul}), nothing},
      {"the directory holds a NUL character", good, [&](auto& how) { how.directory(nul); }},
      {"the file name holds a NUL character", good, [&](auto& how) { how.std_in(process::read_from_file(nul)); }},
      {"the name of an environment variable holds a NUL character", good,
       [&](auto& how) { how.environment()[nul] = "1"; }},
      {"the value of an environment variable holds a NUL character", good,
       [&](auto& how) { how.environment()["A"] = nul; }},
      {"the password holds a NUL character", good, [&](auto& how) { how.user("somebody", nul); }},
      {"the name of the user holds a NUL character", good, [&](auto& how) { how.user(nul, "password"); }},
      {"the domain of the user holds a NUL character", good, [&](auto& how) { how.user(nul + "\\me", "password"); }},
  };
  for (const auto& [reason, what, spoil] : rows) {
    process::iopipe in, out, err;
    process::context how;
    how.std_in(process::pipe_from(in)).std_out(process::pipe_to(out)).std_err(process::pipe_to(err));
    spoil(how);
    const auto launch = [&what, &how] { process::process(what, how); };
    EXPECT_THAT(launch, testing::ThrowsMessage<process::process_init_error>(testing::EndsWith("\": " + reason + "\n")));
    EXPECT_EQ(in.is_open_for_read(), how.std_in().which() != 1) << reason;
    EXPECT_FALSE(out.is_open_for_write() || err.is_open_for_write()) << reason;
  }
  EXPECT_EQ(creation.calls(), 0u);
}
