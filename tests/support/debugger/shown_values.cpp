// Values of the types that debuggers show, for debugger_test.py: it stops in `look`, and compares what the debugger
// shows of them with what is printed here.
#include <fl/diag.hpp>
#include <fl/process.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

namespace diag = foundation::core::diag;
namespace process = foundation::core::process;
using foundation::core::ustring;

struct values {
  ustring text = u"gr\u00fcn \"1\"";
  ustring long_text = ustring(300, u'x');
  diag::stacktrace<8> stack;
  diag::stacktrace<8> no_stack{0, false};
  diag::thread_context registers;
  diag::thread_context no_registers{false};
  process::exit_status_variant running;
  process::exit_status_variant ended = process::exited{0xC0000005, 0xC0000005};
  process::exit_status_variant stopped = process::signaled{9, 11};
  process::iopipe_device pipe;
  process::iopipe_device half_pipe;
  process::command plain{std::string("tool")};
  process::command tool = process::make_command("tool.exe", "-c", "my file.c", "\"\\\n");
  process::context as_it_is;
  process::context how;

  // What else is known of them.
  char pipe_text[80];
  const void* frames[8];
};

values& fill(values& shown) {
  static process::iopipe out;
  shown.half_pipe.close_for_write();
  shown.as_it_is.environment() = {};
  shown.how.environment() = {{"B", "2"}, {"a", "1"}, {"C", "3"}};
  shown.how.std_in(process::read_from_file(std::string("in.txt"))).std_out(process::pipe_to(out));
  shown.how.std_err(process::merge_with_stdout()).directory("C:\\work").user("me", "secret");
  shown.how.hide_windows(true);
  shown.how.create_no_window(false);
  shown.how.elevated(true);
  shown.how.inherited_handles().insert(reinterpret_cast<void*>(0x5c));
  return shown;
}

void describe(values& shown) {
  const process::iopipe_handles& handles = shown.pipe.handles();
  const auto number = [](void* handle) {
    return static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle));
  };
  std::snprintf(shown.pipe_text, sizeof shown.pipe_text, "read 0x%llx, write 0x%llx", number(handles.read_handle()),
                number(handles.write_handle()));
  std::copy(shown.stack.begin(), shown.stack.end(), shown.frames);
}

/// As much memory as the values have, which holds none.
template <int Byte>
values& broken() {
  alignas(values) static unsigned char memory[sizeof(values)];
  std::memset(memory, Byte, sizeof memory);
  return *std::launder(reinterpret_cast<values*>(memory));
}

[[gnu::noinline]] void look(values& shown, values& empty, values& junk) {
  const volatile void* const all[] = {&shown, &empty, &junk};
  static_cast<void>(all);
}

}  // namespace

int main() {
  static values shown;
  describe(fill(shown));
  look(shown, broken<0>(), broken<0xC1>());
}
