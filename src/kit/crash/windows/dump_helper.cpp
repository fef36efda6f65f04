#include "crash/windows/dump_helper.hpp"

#include <fl/process/process.hpp>
#include <i18n/convert.hpp>
#include <i18n/path.hpp>

#include "common/windows/own_folder.hpp"
#include "common/windows/system_error.hpp"
#include "crash/windows/file_name.hpp"

#include <windows.h>
#include <dbghelp.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace foundation::kit {

namespace {

namespace process = core::process;
using core::sysdep::windows::throw_system_error;

constexpr DWORD longest_start = 30000;  // milliseconds

std::uint64_t value_of(const owned_handle& handle) {
  return reinterpret_cast<std::uintptr_t>(handle.get());
}

/// What the program needs of this process, and no more.
owned_handle this_process() {
  HANDLE made = nullptr;
  constexpr DWORD rights = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ | PROCESS_DUP_HANDLE | SYNCHRONIZE;
  const BOOL done =
      DuplicateHandle(GetCurrentProcess(), GetCurrentProcess(), GetCurrentProcess(), &made, rights, FALSE, 0);
  return made_by("DuplicateHandle", done ? made : nullptr);
}

owned_handle new_event() {
  return made_by("CreateEventW", CreateEventW(nullptr, FALSE, FALSE, nullptr));
}

owned_handle new_section() {
  return made_by("CreateFileMappingW",
                 CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(dump_request), nullptr));
}

/// A job that ends the program when this process goes, however that was.
owned_handle new_job() {
  owned_handle job = made_by("CreateJobObjectW", CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (!SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits)) {
    throw_system_error(GetLastError(), "SetInformationJobObject");
  }
  return job;
}

dump_request* map(HANDLE section) {
  void* const view = MapViewOfFile(section, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(dump_request));
  if (view == nullptr) {
    throw_system_error(GetLastError(), "MapViewOfFile");
  }
  return new (view) dump_request;
}

constexpr std::uint32_t type_of(dump_content content) {
  constexpr std::uint32_t stacks = MiniDumpNormal | MiniDumpWithThreadInfo | MiniDumpWithUnloadedModules;
  constexpr std::uint32_t data =
      stacks | MiniDumpWithDataSegs | MiniDumpWithHandleData | MiniDumpWithIndirectlyReferencedMemory;
  constexpr std::uint32_t all_memory = data | MiniDumpWithFullMemory | MiniDumpWithFullMemoryInfo;
  return content == dump_content::stacks ? stacks : content == dump_content::data ? data : all_memory;
}

/// Of this DLL's folder, or of the program's where the kit is linked into it.
ustring own_helper() {
  const std::wstring folder = core::sysdep::windows::own_folder();
  if (folder.empty()) {
    throw_system_error(GetLastError(), "GetModuleFileNameW");
  }
  return ustring(folder.begin(), folder.end()) + u"qxcrashdump.exe";
}

DWORD milliseconds(std::chrono::milliseconds limit) {
  return static_cast<DWORD>(std::clamp<long long>(limit.count(), 0, INFINITE - 1));
}

}  // namespace

dump_helper::dump_helper(const crash_dump_options& options)
    : limit_(milliseconds(options.limit)),
      self_(this_process()),
      request_(new_event()),
      done_(new_event()),
      section_(new_section()),
      job_(new_job()),
      shared_(map(section_.get())) {
  const std::wstring file = absolute_file_name(options.file);
  file_ = fl::i18n::ustring_to_utf8(ustring(file.begin(), file.end()));
  const std::wstring native = fl::filesystem::path(file).native_access_form();  // of any length
  if (native.size() > dump_request::longest_file) {
    throw_system_error(ERROR_FILENAME_EXCED_RANGE, "GetFullPathNameW");
  }
  std::copy(native.begin(), native.end(), shared_->file);
  shared_->content = type_of(options.content);
  shared_->process_id = GetCurrentProcessId();
  shared_->process = value_of(self_);
  shared_->request = value_of(request_);
  shared_->done = value_of(done_);
  start(options.helper.empty() ? own_helper() : options.helper);
}

void dump_helper::start(const ustring& program) {
  process::command what(program);
  what.args().push_back(std::to_string(value_of(section_)));
  process::context how;
  how.inherited_handles() = {self_.get(), request_.get(), done_.get(), section_.get()};
  how.explicitlyInheritHandles(true);
  how.detached_process(true);  // So that it outlives what a console does to those on it.
  // A reader of our output is not to wait for the program's end.
  how.std_in(process::read_from_file("NUL"));
  how.std_out(process::discard());
  how.std_err(process::discard());
  child_ = owned_handle(process::process(what, how).release());
  for (const HANDLE handle : {self_.get(), request_.get(), done_.get(), section_.get()}) {
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);  // No business of those started later.
  }
  // Refused if the system is too old for a job in another one: the program watches this process anyway.
  AssignProcessToJobObject(job_.get(), child_.get());
  if (const char* const failure = wait(longest_start)) {
    end();
    throw_system_error(ERROR_SERVICE_REQUEST_TIMEOUT, failure);
  }
}

const char* dump_helper::wait(DWORD limit) const noexcept {
  const HANDLE waited_for[] = {done_.get(), child_.get()};
  switch (WaitForMultipleObjects(2, waited_for, FALSE, limit)) {
    case WAIT_OBJECT_0:
      return nullptr;
    case WAIT_OBJECT_0 + 1:
      return "the program that writes it has ended";
    default:
      return "the program that writes it did not answer in time";
  }
}

bool dump_helper::write(DWORD thread, const EXCEPTION_POINTERS* pointers, text_line& notes) noexcept {
  shared_->thread = thread;
  shared_->pointers = reinterpret_cast<std::uintptr_t>(pointers);
  SetEvent(request_.get());
  const char* const failure = wait(limit_);
  if (failure == nullptr && shared_->error == 0) {
    notes.put("Dump: ").put(file_).put('\n');
    return true;
  }
  notes.put("No dump: ");
  if (failure != nullptr) {
    notes.put(failure).put('\n');
  } else {
    notes.put("error ").hexadecimal(shared_->error, 8).put('\n');
  }
  return false;
}

void dump_helper::end() noexcept {
  TerminateProcess(child_.get(), EXIT_FAILURE);
  WaitForSingleObject(child_.get(), INFINITE);
}

dump_helper::~dump_helper() {
  end();
}

}  // namespace foundation::kit
