// What the logic of memory asks of a system, scripted. Pages have 4,096 bytes; nothing reads statistics.
#pragma once

#include "mem/physical_memory.hpp"

#include <string>

namespace test_support {

/// What RamState sees, for the test to set.
foundation::core::mem::physical_memory& host_memory();

/// What the memory manager sees.
struct manager_script {
  std::string options;    ///< The option string.
  int plugin_answer = 0;  ///< Of the observation plug-in.
  std::string calls;      ///< So far: 'p' for the plug-in, 't' for tuning, 'T' if it ends the process on corruption.
};
manager_script& host_manager();

}  // namespace test_support
