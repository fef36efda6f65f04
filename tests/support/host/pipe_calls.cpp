// See the header. A read writes to its buffer beyond what it delivers: a real system may do that, and the sanitizer so
// sees a buffer that is shorter than the count says.
#include "host/pipe_calls.hpp"

#include <algorithm>

namespace test_support {

static pipe_script* current = nullptr;

pipe_script::pipe_script() {
  current = this;
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

pipe_transfer scripted_read(void* handle, char* buffer, std::uint32_t bytes, bool overlapped) {
  pipe_script& script = *test_support::current;
  script.read_calls.push_back({handle, bytes, overlapped});
  std::fill_n(buffer, bytes, '\x7E');
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
  static std::uintptr_t last = 0x1000;
  last += 8;
  return {{reinterpret_cast<void*>(last), reinterpret_cast<void*>(last + 4)}, {}};
}

pipe_transfer read_pipe(void* handle, char* buffer, std::uint32_t bytes) noexcept {
  return scripted_read(handle, buffer, bytes, false);
}

pipe_transfer read_pipe_overlapped(void* handle, char* buffer, std::uint32_t bytes) noexcept {
  return scripted_read(handle, buffer, bytes, true);
}

pipe_transfer write_pipe(void*, const char* buffer, std::uint32_t bytes) noexcept {
  pipe_script& script = *test_support::current;
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
  test_support::current->closed.push_back(handle);
}

}  // namespace foundation::core::sysdep::windows
