#include "run_child.hpp"

#include <windows.h>

#include <future>
#include <memory>
#include <system_error>
#include <utility>

#include "support.hpp"

namespace test_support {
namespace {

void require(BOOL done, const char* call) {
  if (!done)
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), call);
}

struct close_handle {
  void operator()(HANDLE handle) const noexcept { ::CloseHandle(handle); }
};
using unique_handle = std::unique_ptr<void, close_handle>;

// A pipe of which the child inherits one end.
struct child_pipe {
  enum class child_end { read, write };

  explicit child_pipe(child_end inherited) {
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    require(::CreatePipe(&read, &write, nullptr, 0), "CreatePipe");
    const bool reads = inherited == child_end::read;
    child.reset(reads ? read : write);
    parent.reset(reads ? write : read);
    require(::SetHandleInformation(child.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT), "SetHandleInformation");
  }

  unique_handle child;
  unique_handle parent;
};

// The list of handles that a child inherits: other inheritable handles of this process stay here, or a pipe would not
// end while an unrelated child lives.
class inherited_handles {
 public:
  explicit inherited_handles(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
    SIZE_T size = 0;
    ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    require(::InitializeProcThreadAttributeList(list(), 1, 0, &size), "InitializeProcThreadAttributeList");
    require(::UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                        handles_.size() * sizeof(HANDLE), nullptr, nullptr),
            "UpdateProcThreadAttribute");
  }
  inherited_handles(const inherited_handles&) = delete;
  inherited_handles& operator=(const inherited_handles&) = delete;
  ~inherited_handles() { ::DeleteProcThreadAttributeList(list()); }

  LPPROC_THREAD_ATTRIBUTE_LIST list() noexcept {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  }

 private:
  std::vector<HANDLE> handles_;
  std::vector<char> memory_;
};

unique_handle start(const std::string& name, const std::string& arguments, HANDLE in, HANDLE out, HANDLE err,
                    std::vector<HANDLE> handles) {
  handles.insert(handles.end(), {in, out, err});
  inherited_handles inherited(std::move(handles));
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = in;
  startup.StartupInfo.hStdOutput = out;
  startup.StartupInfo.hStdError = err;
  startup.lpAttributeList = inherited.list();
  std::wstring line = widen("\"" + child_path(name) + "\"" + (arguments.empty() ? "" : " ") + arguments);
  PROCESS_INFORMATION made{};
  require(::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                           &startup.StartupInfo, &made),
          "CreateProcessW");
  ::CloseHandle(made.hThread);
  return unique_handle(made.hProcess);
}

std::string read_all(HANDLE pipe) {
  std::string all;
  char chunk[65536];
  DWORD got = 0;
  while (::ReadFile(pipe, chunk, sizeof chunk, &got, nullptr))
    all.append(chunk, got);
  return all;
}

void write_all(HANDLE pipe, const std::string& text) {
  DWORD put = 0;
  for (std::size_t at = 0; at != text.size(); at += put)
    if (!::WriteFile(pipe, text.data() + at, static_cast<DWORD>(text.size() - at), &put, nullptr))
      return;  // the child does not read on, which is its right
}

}  // namespace

child_result run_child(const std::string& name, const std::string& arguments, const std::string& input,
                       const std::vector<void*>& inherited) {
  child_pipe in(child_pipe::child_end::read);
  child_pipe out(child_pipe::child_end::write);
  child_pipe err(child_pipe::child_end::write);
  const unique_handle child = start(name, arguments, in.child.get(), out.child.get(), err.child.get(), inherited);
  for (child_pipe* each : {&in, &out, &err})
    each->child.reset();

  auto reading_out = std::async(std::launch::async, read_all, out.parent.get());
  auto reading_err = std::async(std::launch::async, read_all, err.parent.get());
  write_all(in.parent.get(), input);
  in.parent.reset();
  child_result result{0, reading_out.get(), reading_err.get()};
  ::WaitForSingleObject(child.get(), INFINITE);
  DWORD code = 0;
  require(::GetExitCodeProcess(child.get(), &code), "GetExitCodeProcess");
  result.exit_code = code;
  return result;
}

}  // namespace test_support
