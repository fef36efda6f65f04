// What the memory manager asks of a system, scripted.
#pragma once

#include <string>

namespace test_support {

struct manager_platform {
  std::string options;    ///< The option string.
  int plugin_answer = 0;  ///< Of the observation plug-in.
  std::string calls;      ///< So far: 'p' for the plug-in, 't' for tuning, 'T' if it ends the process on corruption.
};

manager_platform& host_manager();

}  // namespace test_support
