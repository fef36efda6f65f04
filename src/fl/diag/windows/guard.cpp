// Code that survives a hardware fault. The compiler has no words for the system's structured exceptions, so the two
// functions that contain one are written in assembly, each with a scope table for __C_specific_handler whose filter, 1,
// takes every exception. What they call must not throw: a C++ exception would end here too, and never be released.
//
// They are naked functions and not an assembler's file, because so the debug information names them. This file is
// compiled without the compiler's own unwind tables, whose place theirs take.
#include <fl/diag/stacktrace.hpp>

#include "diag/windows/guard.hpp"

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

// One frame of ours stands in the stack, this one. The object is { capacity, end, frames[] }.
[[gnu::naked]] void stacktrace_base::capture(std::size_t) noexcept {
  asm(R"(
    .seh_proc qxfl_capture_frame
    pushq   %rbx
    .seh_pushreg %rbx
    subq    $32, %rsp
    .seh_stackalloc 32
    .seh_endprologue
    movq    %rcx, %rbx
    movl    $0xffff, %eax       # The system counts both numbers in fewer bits than we do.
    cmpq    %rax, %rdx
    cmovaq  %rax, %rdx
    movq    %rdx, %rcx          # skip
    movq    (%rbx), %rdx
    cmpq    %rax, %rdx
    cmovaq  %rax, %rdx          # capacity
    leaq    16(%rbx), %r8       # frames
    xorl    %r9d, %r9d          # no hash
.Lcapture_begin:
    callq   *__imp_RtlCaptureStackBackTrace(%rip)
    nop
.Lcapture_end:
    movzwl  %ax, %eax
    leaq    16(%rbx,%rax,8), %rdx
    leaq    16(%rbx), %rcx
.Ltrim:
    cmpq    %rcx, %rdx
    je      .Lset_end
    cmpq    $0, -8(%rdx)        # Null entries at the end are no frames.
    jne     .Lset_end
    subq    $8, %rdx
    jmp     .Ltrim
.Lset_end:
    movq    %rdx, 8(%rbx)
    addq    $32, %rsp
    popq    %rbx
    retq
.Lcapture_fault:
    leaq    16(%rbx), %rdx      # empty
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
