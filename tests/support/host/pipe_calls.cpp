// See the header. A read writes to its buffer beyond what it delivers, up to the last byte: a real system may do that,
// and the sanitizer so sees a buffer that is shorter than the count says.
#include "host/pipe_calls.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace test_support {

static pipe_script* current = nullptr;

static pipe_script& script() {
  if (current == nullptr) {
    std::abort();
  }
  return *current;
}

pipe_script::pipe_script() {
  if (std::exchange(current, this) != nullptr) {
    std::abort();
  }
}

pipe_script::~pipe_script() {
  current = nullptr;
}

void pipe_script::arrive(const std::vector<std::string>& chunks) {
  for (const std::string& chunk : chunks) {
    reads.push_back({chunk, {}});
  }
}

}  // namespace test_support

namespace foundation::core::sysdep::windows {
namespace {

using test_support::pipe_script;

// The beginning and the last byte are enough to show what the rest would, and cheap for a large buffer.
void scribble(char* buffer, std::uint32_t bytes) {
  std::fill_n(buffer, std::min(bytes, 64U), '\x7E');
  if (bytes != 0) {
    buffer[bytes - 1] = '\x7E';
  }
}

pipe_transfer scripted_read(void* handle, char* buffer, std::uint32_t bytes, bool overlapped) {
  pipe_script& script = test_support::script();
  script.read_calls.push_back({handle, bytes, overlapped});
  scribble(buffer, bytes);
  if (script.reads.empty()) {
    return {0, {"ReadFile", error_broken_pipe}};
  }
  pipe_script::read_result& next = script.reads.front();
  const pipe_failure failure = next.failure;
  const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(bytes, next.bytes.size() - script.consumed));
  std::copy_n(next.bytes.data() + script.consumed, count, buffer);
  script.consumed += count;
  if (script.consumed == next.bytes.size()) {
    script.reads.pop_front();
    script.consumed = 0;
  }
  return {failure ? 0 : count, failure};
}

}  // namespace

pipe_creation create_pipe() noexcept {
  static std::uintptr_t next_handle = 0x1000;
  test_support::script();  // there must be one
  void* const read = reinterpret_cast<void*>(next_handle);
  void* const write = reinterpret_cast<void*>(next_handle + 4);
  next_handle += 8;
  return {{read, write}, {}};
}

pipe_transfer read_pipe(void* handle, char* buffer, std::uint32_t bytes) noexcept {
  return scripted_read(handle, buffer, bytes, false);
}

pipe_transfer read_pipe_overlapped(void* handle, char* buffer, std::uint32_t bytes) noexcept {
  return scripted_read(handle, buffer, bytes, true);
}

pipe_transfer write_pipe(void*, const char* buffer, std::uint32_t bytes) noexcept {
  pipe_script& script = test_support::script();
  script.written.emplace_back(buffer, bytes);
  pipe_script::write_result next;
  if (!script.writes.empty()) {
    next = script.writes.front();
    script.writes.pop_front();
  }
  const std::uint32_t taken = next.failure ? 0 : std::min(bytes, next.taken);
  script.arrived.append(buffer, taken);
  return {taken, next.failure};
}

void close_pipe_handle(void* handle) noexcept {
  test_support::script().closed.push_back(handle);
}

}  // namespace foundation::core::sysdep::windows
