// Calling what may run into a hardware fault.
#pragma once

/// Calls `function(argument)`. Returns false if a hardware fault, or any other exception of the system, ended it on the
/// way: nothing that it would have undone is undone then, and no destructor has run. `function` must not throw.
extern "C" bool qxfl_run_guarded(void (*function)(void*), void* argument) noexcept;
