#include <fl/mem/stats.hpp>

#include "mem/stats_reader.hpp"

namespace foundation::core::mem {

stats::stats() : alloced_(0) {}

stats::stats(unsigned long long alloced) : alloced_(alloced) {}

unsigned long long stats::GetAlloced() const {
  return alloced_;
}

stats stats::GetStats() {
  return stats(stats_reader ? stats_reader->ReadAlloced() : 0);
}

bool stats::IsSupported() {
  return stats_reader != nullptr;
}

}  // namespace foundation::core::mem
