// The log of the native build: its records go no further than here.
#pragma once

#include <string>
#include <vector>

namespace test_support {

struct log_record {
  std::string channel;
  unsigned severity;
  std::string text;
};

/// The records since this was last called, in their order. Any thread. Nothing is recorded until a test asks for it by
/// `foundation::log::set_level`.
std::vector<log_record> drain_log_records();

}  // namespace test_support
