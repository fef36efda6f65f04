// All objects that are built when the library loads, in the order that is part of its contract; each is destroyed when
// the library is unloaded, in reverse. No other unit defines a namespace-scope object with a dynamic initialiser;
// what Boost's headers define has no need of these, nor they of it.
// Nothing here reads the environment or starts a thread.

#include <fl/diag/terminate.hpp>
#include <fl/mem/page.hpp>
#include <foundation_log/termination.hpp>

#include "loggers.hpp"
#include "mem/page_mask.hpp"
#include "mem/windows/win_mem_stats_reader.hpp"
#include "process/windows/lookup/search_path.hpp"

#include <memory>
#include <sstream>

namespace foundation::core {

namespace {

/// Lets the log's fatal path end where all fatal errors end.
log::detail::termination_handler fatal_log_records([](const std::ostringstream& text, const char* file, int line,
                                                      const char* function) {
  diag::terminate(text, file, line, function);
});

}  // namespace

namespace loggers {

logger mobservation("foundation::core::mem::manager::mobservation");

}  // namespace loggers

namespace mem {

std::unique_ptr<MemStatsReader> stats_reader = std::make_unique<WinMemStatsReader>();
const std::uintptr_t page_mask = 0 - get_page_size();

}  // namespace mem

namespace loggers {

logger deelevate_utils("fl::process::deelevate_utils");
logger process_impl("fl::process::process_impl");
logger process("fl::process::process");
logger process_reaper("fl::process::process_reaper");
logger which("fl::process::which");

}  // namespace loggers

namespace process::windows {

search_path_cache search_path;

}  // namespace process::windows

namespace loggers {

logger cpu_info("foundation::core::system::CpuInfo");
logger pe_cores("fl::system::windows::PECores");

}  // namespace loggers

}  // namespace foundation::core
