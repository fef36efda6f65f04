// Code that survives a hardware fault. The compiler has no words for the system's structured exceptions, so the two
// functions that contain one are written in assembly, each with a scope table for __C_specific_handler whose filter, 1,
// handles every exception. What they call must not throw: a C++ exception would end here too, and never be released.
//
// They are naked functions and not an assembler's file, because so the debug information names them. This file is
// compiled without the compiler's own unwind tables, which theirs stand in for.
#include "diag/windows/guard.hpp"

#include <fl/diag/stacktrace.hpp>

[[gnu::naked]] bool qxfl_run_guarded(void (*)(void*), void*) noexcept {
  asm(R"(
    .seh_proc qxfl_run_guarded_frame
    subq    $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    movq    %rcx, %rax
    movq    %rdx, %rcx
.Lrun_begin:
    callq   *%rax
    nop                         # The return address has to lie before the end of the scope.
.Lrun_end:
    movl    $1, %eax
.Lrun_return:
    addq    $40, %rsp
    retq
.Lrun_fault:
    xorl    %eax, %eax
    jmp     .Lrun_return
    .seh_handler __C_specific_handler, @except
    .seh_handlerdata
    .long   1
    .rva    .Lrun_begin, .Lrun_end
    .long   1
    .rva    .Lrun_fault
    .text
    .seh_endproc
)");
}

namespace foundation::core::diag {

// One frame of ours stands in the stack, this one. That the members lie where the assembly goes to is asserted in
// stacktrace.cpp: here nothing may stand beside it.
[[gnu::naked]] void stacktrace_base::capture(std::size_t) noexcept {
  asm(R"(
    .seh_proc qxfl_capture_frame
    movq    %rcx, 8(%rsp)       # The object, in the place that the caller keeps for it.
    subq    $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    leaq    16(%rcx), %r8       # frames
    movl    $0xffff, %eax       # The system counts both numbers in fewer bits than we do.
    cmpq    %rax, %rdx
    cmovaq  %rax, %rdx
    movq    (%rcx), %r9
    movq    %rdx, %rcx          # skip
    cmpq    %rax, %r9
    cmovaq  %rax, %r9
    movq    %r9, %rdx           # capacity
    xorl    %r9d, %r9d          # no hash
.Lcapture_begin:
    callq   *__imp_RtlCaptureStackBackTrace(%rip)
    nop
.Lcapture_end:
    movzwl  %ax, %eax
.Lset_end:
    movq    48(%rsp), %rcx
    leaq    16(%rcx), %r8
    leaq    (%r8,%rax,8), %rdx
.Ltrim:
    cmpq    %r8, %rdx
    je      .Ltrimmed
    cmpq    $0, -8(%rdx)        # Null entries at the end are no frames.
    jne     .Ltrimmed
    subq    $8, %rdx
    jmp     .Ltrim
.Ltrimmed:
    movq    %rdx, 8(%rcx)
    addq    $40, %rsp
    retq
.Lcapture_fault:
    xorl    %eax, %eax
    jmp     .Lset_end
    .seh_handler __C_specific_handler, @except
    .seh_handlerdata
    .long   1
    .rva    .Lcapture_begin, .Lcapture_end
    .long   1
    .rva    .Lcapture_fault
    .text
    .seh_endproc
)");
}

}  // namespace foundation::core::diag
