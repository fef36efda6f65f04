// What the system has committed to this process, as the source of its statistics.
#pragma once

#include "mem/stats_reader.hpp"

namespace foundation::core::mem {

class WinMemStatsReader : public MemStatsReader {
 public:
  std::uint64_t ReadAlloced() override;
};

}  // namespace foundation::core::mem
