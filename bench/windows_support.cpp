#include "windows_support.hpp"

#include <fcntl.h>
#include <io.h>
#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>

namespace bench {
namespace {

std::string make_wire_text() {
  std::mt19937 random(20240229);
  std::uniform_int_distribution<std::size_t> length(20, 100);
  std::uniform_int_distribution<int> letter('!', '~');
  std::string text;
  while (text.size() < std::size_t{4} << 20) {
    for (std::size_t count = length(random); count != 0; --count) {
      text.push_back(static_cast<char>(letter(random)));
    }
    text += "\r\n";
  }
  return text;
}

std::wstring find_child() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"bench_child.exe";
}

}  // namespace

std::uint64_t bytes_in_use() {
  const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
  std::uint64_t sum = 0;
  PROCESS_HEAP_ENTRY entry{};
  while (HeapWalk(heap, &entry)) {
    if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) {
      sum += entry.cbData;
    }
  }
  check(GetLastError() == ERROR_NO_MORE_ITEMS, "HeapWalk");
  return sum;
}

pipe_ends make_pipe(DWORD buffer_size) {
  SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, FALSE};
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  check(CreatePipe(&read, &write, &attributes, buffer_size), "CreatePipe");
  return {unique_handle(read), unique_handle(write)};
}

DWORD read_some(HANDLE pipe, char* buffer, DWORD size) {
  DWORD count = 0;
  if (!ReadFile(pipe, buffer, size, &count, nullptr)) {
    check(GetLastError() == ERROR_BROKEN_PIPE, "ReadFile");
    return 0;
  }
  return count;
}

const std::string& wire_text() {
  static const std::string text = make_wire_text();
  return text;
}

unique_handle filled_pipe() {
  const std::string& text = wire_text();
  pipe_ends ends = make_pipe(static_cast<DWORD>(text.size()));
  constexpr std::size_t block = 64 * 1024;
  for (std::size_t at = 0; at < text.size(); at += block) {
    const auto count = static_cast<DWORD>(std::min(block, text.size() - at));
    DWORD written = 0;
    check(WriteFile(ends.write.get(), text.data() + at, count, &written, nullptr) && written == count, "WriteFile");
  }
  return std::move(ends.read);
}

std::unique_ptr<std::FILE, file_closer> open_text_file(unique_handle pipe, std::vector<char>& buffer) {
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(pipe.get()), _O_RDONLY | _O_TEXT);
  check(descriptor != -1, "_open_osfhandle");
  pipe.release();
  std::unique_ptr<std::FILE, file_closer> file(_fdopen(descriptor, "rt"));
  check(file != nullptr, "_fdopen");
  check(std::setvbuf(file.get(), buffer.data(), _IOFBF, buffer.size()) == 0, "setvbuf");
  return file;
}

const std::wstring& child_path() {
  static const std::wstring path = find_child();
  return path;
}

namespace {

// The attributes of a start: handles that are made inheritable, and the list of them.
class handle_list {
 public:
  explicit handle_list(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
    std::sort(handles_.begin(), handles_.end());
    handles_.erase(std::unique(handles_.begin(), handles_.end()), handles_.end());
    for (const HANDLE each : handles_) {
      check(SetHandleInformation(each, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT), "SetHandleInformation");
    }
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    check(InitializeProcThreadAttributeList(get(), 1, 0, &size), "InitializeProcThreadAttributeList");
    check(UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                    handles_.size() * sizeof(HANDLE), nullptr, nullptr),
          "UpdateProcThreadAttribute");
  }
  handle_list(const handle_list&) = delete;
  handle_list& operator=(const handle_list&) = delete;
  ~handle_list() { DeleteProcThreadAttributeList(get()); }

  LPPROC_THREAD_ATTRIBUTE_LIST get() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data()); }

 private:
  std::vector<HANDLE> handles_;
  std::vector<std::byte> memory_;
};

}  // namespace

// The child starts in ".", as one of the library does: a directory that is named costs the system more than none.
child start_program(const std::wstring& path, const wchar_t* argument, HANDLE input, inheritance inherited) {
  pipe_ends output = make_pipe();
  std::wstring command_line = L'"' + path + L'"';
  if (argument) {
    command_line.append(L" ").append(argument);
  }
  STARTUPINFOEXW extended{};
  STARTUPINFOW& startup = extended.StartupInfo;
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input ? input : GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = output.write.get();
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  std::optional<handle_list> list;
  DWORD flags = 0;
  if (inherited == inheritance::listed) {
    list.emplace(std::vector<HANDLE>{startup.hStdInput, startup.hStdOutput, startup.hStdError});
    extended.lpAttributeList = list->get();
    startup.cb = sizeof extended;
    flags = EXTENDED_STARTUPINFO_PRESENT;
  } else {
    check(SetHandleInformation(output.write.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT), "SetHandleInformation");
  }
  PROCESS_INFORMATION started{};
  check(CreateProcessW(path.c_str(), command_line.data(), nullptr, nullptr, TRUE, flags, nullptr, L".", &startup,
                       &started),
        "CreateProcessW");
  CloseHandle(started.hThread);
  return {unique_handle(started.hProcess), std::move(output.read)};
}

child start_child(const wchar_t* argument, HANDLE input, inheritance inherited) {
  return start_program(child_path(), argument, input, inherited);
}

}  // namespace bench
