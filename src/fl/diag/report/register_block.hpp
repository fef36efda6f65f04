// The register block of a report.
#pragma once

#include <cstdint>
#include <ostream>

namespace foundation::core::diag {

/// The registers that a report shows, without the form in which a system keeps them.
struct registers {
  std::uint64_t rax, rbx, rcx, rdx, rsp, rbp, rsi, rdi;
  std::uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
  std::uint64_t rip;
  std::uint32_t flags;
  std::uint16_t cs, fs, gs;
};

/// Writes the block and flushes. Leaves the stream in decimal and with a blank as its fill character.
void write_register_block(std::ostream& os, const registers& values);

}  // namespace foundation::core::diag
