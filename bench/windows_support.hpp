// What the benchmarks of pipes and children share: plain system calls, checked, and the pipe that every reader finds
// full. Each handle has one owner at a time; nothing here is shared between threads.
#pragma once

#include "row.hpp"

#include <windows.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bench {

/// Throws with the name of a system call and its error unless the call succeeded.
inline void check(bool succeeded, const char* call) {
  if (!succeeded) {
    throw std::runtime_error(std::string(call) + ": error " + std::to_string(GetLastError()));
  }
}

/// Owns a handle, or none.
class unique_handle {
 public:
  explicit unique_handle(HANDLE handle = nullptr) : handle_(handle) {}
  unique_handle(unique_handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  unique_handle& operator=(unique_handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~unique_handle() { reset(); }

  HANDLE get() const { return handle_; }
  HANDLE release() { return std::exchange(handle_, nullptr); }
  void reset() {
    if (handle_) {
      CloseHandle(release());
    }
  }

 private:
  HANDLE handle_;
};

/// The sizes of all blocks in the run-time's heap. What that heap adds to each is left out: it hangs on the state of
/// its free lists.
std::uint64_t bytes_in_use();

/// A pipe of which neither end is inheritable.
struct pipe_ends {
  unique_handle read;
  unique_handle write;
};

/// `buffer_size` in bytes; 0 is the system's default, with which the library makes its pipes.
pipe_ends make_pipe(DWORD buffer_size = 0);

/// One read into a buffer; 0 at the end of the pipe.
DWORD read_some(HANDLE pipe, char* buffer, DWORD size);

/// About 4 MiB of text in lines of 20 to 100 characters that end in CR LF; the same in every process.
const std::string& wire_text();

/// The reading end of a pipe that holds all of `wire_text()` and has no writer any more. A writer at work beside the
/// reader would make every time depend on how the system hands over between the two, which is far above the differences
/// looked for here.
unique_handle filled_pipe();

/// A contender that reads a pipe which is made and filled anew, outside the time, before each run. `read` gets the
/// reading end and the product.
template <class Read>
contender reader_of_filled_pipe(Read read) {
  const auto pipe = std::make_shared<unique_handle>();
  return {[pipe, read](product& result) { read(std::move(*pipe), result); }, [pipe] { *pipe = filled_pipe(); }};
}

struct file_closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A FILE of the C run-time over the reading end of a pipe, in text mode, with the given buffer, which must outlive it.
std::unique_ptr<std::FILE, file_closer> open_text_file(unique_handle pipe, std::vector<char>& buffer);

/// A child that `start_child` started, and the parent's ends of its standard streams.
struct child {
  unique_handle process;
  unique_handle output;
};

/// The full path of the program that the benchmarks start, which lies beside this one.
const std::wstring& child_path();

/// What a child inherits: all handles that are inheritable at the moment, or its three standard ones, by a list.
enum class inheritance { open, listed };

/// Starts a program with its output in a pipe. Null for input: this process's own standard input. `argument` may be
/// null.
child start_program(const std::wstring& path, const wchar_t* argument, HANDLE input,
                    inheritance inherited = inheritance::open);
/// The same with the child program.
child start_child(const wchar_t* argument, HANDLE input, inheritance inherited = inheritance::open);

}  // namespace bench
