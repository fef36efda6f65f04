// Takes the place of the system beneath the arena: address space is given out in a chosen order, none of it twice,
// and as long as the test allows. Memory that went back faults when it is touched. Not for several threads but through
// the arena, whose lock serialises the calls.
#pragma once

#include <dlmalloc/arena_pages.hpp>

#include <cstddef>
#include <cstdint>
#include <map>

namespace test_support {

enum class page_order {
  upwards,    ///< Each mapping lies behind the one before.
  downwards,  ///< Each mapping lies before the one before.
  scattered,  ///< With a gap between any two.
};

class scripted_pages {
 public:
  static constexpr std::size_t granularity = 65536;

  scripted_pages();

  page_order order = page_order::upwards;
  std::uint64_t maps_left = UINT64_MAX;  ///< mappings until there is no more memory
  bool refuse_unmap = false;             ///< nothing is taken back

  std::size_t mapped() const { return mapped_; }
  /// Takes all mappings away, and the settings back.
  void reset();
  /// From now on memory that went back is closed by AddressSanitizer, if that is there, and not by the system, which
  /// takes far longer.
  void stay_mapped();

  void* map(std::size_t size);
  bool unmap(void* start, std::size_t size);

 private:
  using regions = std::map<char*, std::size_t>;
  void give(regions::iterator region);

  char* area_;                         ///< address space of `area_size` bytes
  char *low_ = area_, *high_ = area_;  ///< all that is or was mapped lies between these
  regions regions_;                    ///< what is mapped, with its size
  std::size_t mapped_ = 0;
  bool stays_mapped_ = false;
};

scripted_pages& host_pages();

}  // namespace test_support
