#include "loggers.hpp"

namespace foundation::core::loggers {

logger mobservation("foundation::core::mem::manager::mobservation");
logger deelevate_utils("fl::process::deelevate_utils");
logger process_impl("fl::process::process_impl");
logger process("fl::process::process");
logger process_reaper("fl::process::process_reaper");
logger which("fl::process::which");
logger cpu_info("foundation::core::system::CpuInfo");
logger pe_cores("fl::system::windows::PECores");

}  // namespace foundation::core::loggers
