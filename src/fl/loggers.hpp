// The loggers of the library's units. The objects stand in windows/load.cpp, where their order of construction is
// fixed.
#pragma once

#include <foundation_log/logger.hpp>
#include <foundation_log/scope_trace.hpp>

namespace foundation::core::loggers {

using logger = log::basic_diagnostic_logger<char>;

extern logger mobservation;     // "foundation::core::mem::manager::mobservation"
extern logger deelevate_utils;  // "fl::process::deelevate_utils"
extern logger process_impl;     // "fl::process::process_impl"
extern logger process;          // "fl::process::process"
extern logger process_reaper;   // "fl::process::process_reaper"
extern logger which;            // "fl::process::which"
extern logger cpu_info;         // "foundation::core::system::CpuInfo"
extern logger pe_cores;         // "fl::system::windows::PECores"

}  // namespace foundation::core::loggers
