#include "system/probe_log.hpp"

#include "loggers.hpp"

namespace foundation::core::system {

void complainAboutTopology(std::string_view text) noexcept {
  loggers::cpu_info.log(log::severity::complaint, text);
}

void complainAboutTiers(std::string_view text) noexcept {
  loggers::pe_cores.log(log::severity::complaint, text);
}

}  // namespace foundation::core::system
