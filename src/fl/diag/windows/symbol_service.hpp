// The functions of the system's symbol service, and whether it is safe to ask for them.
//
// The library of the service is loaded late: when the termination engine has been built, which in most programs that
// have use for it is long before anything breaks, or else when a stack is first walked from a context or printed. That
// may be in a process which is about to end, so two things were looked at.
//
// Memory. Loading takes some of the process heap, as starting the service does, which comes right behind it: where the
// one fails or faults the other would have. Stacks are then printed without names. The engines are built without it, so
// that they are there to report such a fault.
//
// The loader's lock. Loading waits for it, and a thread that has stopped inside the loader, or waits there for the one
// that ends the process, never gives it back. So nobody asks for the service, or for the names of modules, before it
// has been seen that the lock is free or the calling thread's own.
#pragma once

#include "common/windows/late_function.hpp"

#include <windows.h>
#include <dbghelp.h>

namespace foundation::core::diag::symbol_service {

template <class Function>
using function = sysdep::windows::late_function<Function>;

// Each is for use under the lock of symbol_engine: none is safe beside another one.
extern function<decltype(::SymGetOptions)> get_options;
extern function<decltype(::SymSetOptions)> set_options;
extern function<decltype(::SymInitialize)> initialize;
extern function<decltype(::SymCleanup)> cleanup;
extern function<decltype(::SymFromAddr)> from_address;
extern function<decltype(::SymFunctionTableAccess64)> function_table_access;
extern function<decltype(::SymGetModuleBase64)> get_module_base;
extern function<decltype(::StackWalk64)> walk_stack;
extern function<decltype(::UnDecorateSymbolName)> undecorate_name;

/// Waits until the loader's lock is free or the calling thread's, and says whether that has been so before the wait was
/// too long for one who works. False at once for a thread that was stopped while it prepared. Allocates nothing.
bool loader_is_free() noexcept;

}  // namespace foundation::core::diag::symbol_service
