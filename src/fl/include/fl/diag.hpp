// Everything about fatal errors: ending the process, reports, contexts, stacks and symbols.
#pragma once

#include <fl/diag/demangle.hpp>
#include <fl/diag/fast_exit.hpp>
#include <fl/diag/stacktrace.hpp>
#include <fl/diag/symbols.hpp>
#include <fl/diag/terminate.hpp>
#include <fl/diag/terminate_handler.hpp>
#include <fl/diag/termination_observer.hpp>
#include <fl/diag/thread_context.hpp>
#include <fl/diag/thread_name.hpp>
#include <fl/diag/unknown_exception_name.hpp>
