// The log without a system: its records go no further than here, and neither does what it says of itself.
#pragma once

#include <atomic>
#include <string>
#include <vector>

namespace test_support {

struct log_record {
  std::string channel;
  unsigned severity;
  std::string text;
  unsigned depth;  ///< of scopes
};

inline std::string log_environment;                 ///< the value of QX_LOG, which the first use of a logger reads
inline bool log_lacks_memory = false;               ///< for reading that
inline std::atomic<bool> log_takes_records = true;  ///< as a program can switch it where the records go

/// The records since this was last called, in their order, and what went to standard error. Any thread. Nothing is
/// recorded until a test asks for it by `foundation::log::set_level`.
std::vector<log_record> drain_log_records();

}  // namespace test_support
