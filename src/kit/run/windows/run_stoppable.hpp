// `kit::run` for callers that have a request of their own to stop, besides that of the options. Implemented in run.cpp.
#pragma once

#include <kit/run.hpp>

namespace foundation::kit::detail {

/// As `run`; `stop` may be null, and is borrowed.
run_result run_stoppable(const process::command& what, const process::context& how, const run_limits& limits,
                         const run_options& options, const cancellation* stop);

}  // namespace foundation::kit::detail
