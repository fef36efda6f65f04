// Where the statistics of memory come from.
#pragma once

#include <cstdint>
#include <memory>

namespace foundation::core::mem {

/// Asks the system; any thread may call it.
class MemStatsReader {
 public:
  /// The bytes committed to this process; 0 if the system gives no figure.
  virtual std::uint64_t ReadAlloced() = 0;
  virtual ~MemStatsReader() = default;
};

/// Null where there is nothing to read. Set when the library loads, in load.cpp, and deleted when it is unloaded.
extern std::unique_ptr<MemStatsReader> stats_reader;

}  // namespace foundation::core::mem
