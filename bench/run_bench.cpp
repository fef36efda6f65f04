// Runs a command to its end: starts a child with both outputs in pipes, an input without content and a list of what it
// inherits, reads both outputs side by side and waits for the exit code: through the kit, with bare system calls, and
// with Boost.Process. The kit's child is in a job as well, which counts and ends what the child leaves behind. What its
// peers do about that stands beside them.

#include <fl/process/command.hpp>

#include "row.hpp"
#include "windows_support.hpp"

#include <boost/asio/io_context.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/readable_pipe.hpp>
#include <boost/filesystem/path.hpp>
#include <boost/process/v2/process.hpp>
#include <boost/process/v2/start_dir.hpp>
#include <boost/process/v2/stdio.hpp>
#include <kit/run.hpp>
#include <kit/run_all.hpp>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace kit = foundation::kit;
namespace fp = foundation::core::process;
using bench::check;
using bench::unique_handle;

/// What all contenders find out about a child.
struct run_record {
  std::string out, err;
  unsigned exit_code = 0;

  void add_to(bench::product& result) const {
    result.add(out);
    result.add(err);
    result.add_value(exit_code);
  }
};

const fp::command& command() {
  static const fp::command made(boost::filesystem::path(bench::child_path()).string());
  return made;
}

// ---- ours ----

void add(const kit::run_result& run, bench::product& result) {
  result.add(run.out.bytes);
  result.add(run.err.bytes);
  result.add_value(static_cast<unsigned>(run.exit_code().value()));
}

void run_ours(bench::product& result) {
  add(kit::run(command()), result);
}

// ---- bare calls ----

/// The parent's end of a pipe that can be read while another one is, and the child's end.
class overlapped_pipe {
 public:
  overlapped_pipe() : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    static std::atomic<unsigned> made{0};
    check(event_.get() != nullptr, "CreateEventW");
    const std::wstring name =
        L"\\\\.\\pipe\\qxfl-bench-" + std::to_wstring(GetCurrentProcessId()) + L'-' + std::to_wstring(++made);
    const HANDLE read =
        CreateNamedPipeW(name.c_str(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                         PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS, 1, size, size, 0, nullptr);
    check(read != INVALID_HANDLE_VALUE, "CreateNamedPipeW");
    read_ = unique_handle(read);
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    const HANDLE write = CreateFileW(name.c_str(), GENERIC_WRITE, 0, &inheritable, OPEN_EXISTING, 0, nullptr);
    check(write != INVALID_HANDLE_VALUE, "CreateFileW");
    child_end = unique_handle(write);
  }

  HANDLE event() const { return event_.get(); }
  bool is_open() const { return read_.get() != nullptr; }

  /// Takes what a read brought and begins the next one.
  void go_on(std::string& all) {
    DWORD count = 0;
    if (begun_ && !GetOverlappedResult(read_.get(), &overlapped_, &count, FALSE)) {
      end();
      return;
    }
    all.append(buffer_.data(), count);
    overlapped_ = {};
    overlapped_.hEvent = event_.get();
    begun_ = true;
    if (!ReadFile(read_.get(), buffer_.data(), size, nullptr, &overlapped_) && GetLastError() != ERROR_IO_PENDING) {
      end();
    }
  }

  unique_handle child_end;

 private:
  void end() {
    check(GetLastError() == ERROR_BROKEN_PIPE, "ReadFile");
    read_.reset();
  }

  static constexpr DWORD size = 64 * 1024;
  unique_handle read_, event_;
  OVERLAPPED overlapped_{};
  bool begun_ = false;
  std::vector<char> buffer_ = std::vector<char>(size);
};

/// The attributes of a start: the handles that the child inherits and, if it is to be in one, a job.
class start_attributes {
 public:
  start_attributes(std::vector<HANDLE> handles, HANDLE job) : handles_(std::move(handles)), job_(job) {
    const DWORD count = job_ ? 2 : 1;
    SIZE_T bytes = 0;
    InitializeProcThreadAttributeList(nullptr, count, 0, &bytes);
    memory_.resize(bytes);
    check(InitializeProcThreadAttributeList(get(), count, 0, &bytes), "InitializeProcThreadAttributeList");
    set(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(), handles_.size() * sizeof(HANDLE));
    if (job_) {
      set(PROC_THREAD_ATTRIBUTE_JOB_LIST, &job_, sizeof job_);
    }
  }
  start_attributes(const start_attributes&) = delete;
  start_attributes& operator=(const start_attributes&) = delete;
  ~start_attributes() { DeleteProcThreadAttributeList(get()); }

  LPPROC_THREAD_ATTRIBUTE_LIST get() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data()); }

 private:
  void set(DWORD_PTR attribute, void* value, SIZE_T bytes) {
    check(UpdateProcThreadAttribute(get(), 0, attribute, value, bytes, nullptr, nullptr), "UpdateProcThreadAttribute");
  }

  std::vector<HANDLE> handles_;
  HANDLE job_;
  std::vector<std::byte> memory_;
};

unique_handle open_nul() {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  const HANDLE nul =
      CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_EXISTING, 0, nullptr);
  check(nul != INVALID_HANDLE_VALUE, "CreateFileW");
  return unique_handle(nul);
}

/// A job that ends its processes when it is closed.
unique_handle make_job() {
  unique_handle job(CreateJobObjectW(nullptr, nullptr));
  check(job.get() != nullptr, "CreateJobObjectW");
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  check(SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits),
        "SetInformationJobObject");
  return job;
}

unique_handle start_bare(overlapped_pipe& out, overlapped_pipe& err, HANDLE job) {
  const unique_handle in = open_nul();
  start_attributes attributes({in.get(), out.child_end.get(), err.child_end.get()}, job);
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = in.get();
  startup.StartupInfo.hStdOutput = out.child_end.get();
  startup.StartupInfo.hStdError = err.child_end.get();
  startup.lpAttributeList = attributes.get();
  std::wstring line = L'"' + bench::child_path() + L'"';
  PROCESS_INFORMATION started{};
  check(CreateProcessW(bench::child_path().c_str(), line.data(), nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT,
                       nullptr, L".", &startup.StartupInfo, &started),
        "CreateProcessW");
  CloseHandle(started.hThread);
  out.child_end.reset();
  err.child_end.reset();
  return unique_handle(started.hProcess);
}

void read_both(overlapped_pipe& out, overlapped_pipe& err, run_record& run) {
  out.go_on(run.out);
  err.go_on(run.err);
  while (out.is_open() && err.is_open()) {
    const HANDLE events[] = {out.event(), err.event()};
    const DWORD which = WaitForMultipleObjects(2, events, FALSE, INFINITE);
    check(which <= 1, "WaitForMultipleObjects");
    which == 0 ? out.go_on(run.out) : err.go_on(run.err);
  }
  overlapped_pipe& last = out.is_open() ? out : err;
  while (last.is_open()) {
    check(WaitForSingleObject(last.event(), INFINITE) == WAIT_OBJECT_0, "WaitForSingleObject");
    last.go_on(&last == &out ? run.out : run.err);
  }
}

run_record run_bare(bool with_job) {
  const unique_handle job = with_job ? make_job() : unique_handle();
  overlapped_pipe out, err;
  const unique_handle process = start_bare(out, err, job.get());
  run_record run;
  read_both(out, err, run);
  check(WaitForSingleObject(process.get(), INFINITE) == WAIT_OBJECT_0, "WaitForSingleObject");
  DWORD code = 0;
  check(GetExitCodeProcess(process.get(), &code), "GetExitCodeProcess");
  run.exit_code = code;
  return run;
}

// ---- Boost.Process ----

void run_boost(bench::product& result) {
  namespace bp = boost::process::v2;
  namespace asio = boost::asio;
  static const boost::filesystem::path path(bench::child_path());
  static asio::io_context context;
  run_record run;
  asio::readable_pipe out(context), err(context);
  bp::process child(context, path, {}, bp::process_stdio{nullptr, out, err}, bp::process_start_dir("."));
  const auto ended = [](const boost::system::error_code& error, std::size_t) {
    check(error == asio::error::eof || error == asio::error::broken_pipe, "async_read");
  };
  asio::async_read(out, asio::dynamic_buffer(run.out), ended);
  asio::async_read(err, asio::dynamic_buffer(run.err), ended);
  context.restart();
  context.run();
  run.exit_code = static_cast<unsigned>(child.wait());
  run.add_to(result);
}

// ---- many ----

constexpr std::size_t many = 200;
constexpr unsigned at_a_time = 8;

void run_many_ours(bench::product& result) {
  static const std::vector<fp::command> commands(many, command());
  for (const kit::run_outcome& each : kit::run_all(commands, at_a_time)) {
    add(each.result, result);
  }
}

/// Threads that take the next one until there is none.
void run_many_bare(bench::product& result) {
  std::vector<run_record> runs(many);
  std::atomic<std::size_t> next{0};
  {
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread != at_a_time; ++thread) {
      threads.emplace_back([&] {
        for (std::size_t index; (index = next++) < many;) {
          runs[index] = run_bare(true);
        }
      });
    }
  }
  for (const run_record& each : runs) {
    each.add_to(result);
  }
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("run_captured_vs_createprocess", {run_ours},
                 {[](bench::product& result) { run_bare(false).add_to(result); }});
  bench::add_row("run_captured_in_job_vs_createprocess", {run_ours},
                 {[](bench::product& result) { run_bare(true).add_to(result); }});
  bench::add_row("run_captured_vs_boost_process", {run_ours}, {run_boost});
  bench::add_row("run_all_200_vs_threads", {run_many_ours, {}, 1}, {run_many_bare, {}, 1});
  return bench::run(argc, argv);
}
