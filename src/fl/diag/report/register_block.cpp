#include "diag/report/register_block.hpp"

#include "diag/report/report_line.hpp"

namespace foundation::core::diag {

namespace {

template <class Value>
report_line& put_item(report_line& line, std::string_view name, Value value) {
  line.put(' ').repeat(4 - name.size(), ' ').put(name).put(" = ");
  return line.hexadecimal(value, 2 * sizeof value);
}

void write_pair(std::ostream& os, std::string_view name, std::uint64_t value, std::string_view name2,
                std::uint64_t value2) {
  report_line line;
  put_item(line, name, value);
  put_item(line, name2, value2).put('\n');
  write(os, line.view());
}

}  // namespace

void write_register_block(std::ostream& os, const registers& values) {
  write_pair(os, "RAX", values.rax, "RBX", values.rbx);
  write_pair(os, "RCX", values.rcx, "RDX", values.rdx);
  write_pair(os, "RSP", values.rsp, "RBP", values.rbp);
  write_pair(os, "RSI", values.rsi, "RDI", values.rdi);
  write(os, " \n");
  write_pair(os, "R8", values.r8, "R9", values.r9);
  write_pair(os, "R10", values.r10, "R11", values.r11);
  write_pair(os, "R12", values.r12, "R13", values.r13);
  write_pair(os, "R14", values.r14, "R15", values.r15);
  write(os, " \n");
  report_line last;
  put_item(last, "RIP", values.rip);
  put_item(last, "EFL", values.flags).put("\n \n");
  put_item(last, "CS", values.cs);
  put_item(last, "FS", values.fs);
  put_item(last, "GS", values.gs).put('\n');
  write(os, last.view());
  os.flush();
  os << std::dec;
  os.fill(' ');
}

}  // namespace foundation::core::diag
