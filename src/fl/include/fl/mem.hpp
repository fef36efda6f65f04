// Everything about memory: the manager and its options, the aligned heap, pools, RAM and statistics.
#pragma once

#include <fl/mem/aligned_heap.hpp>
#include <fl/mem/managed_pool.hpp>
#include <fl/mem/manager.hpp>
#include <fl/mem/page.hpp>
#include <fl/mem/ram_state.hpp>
#include <fl/mem/stats.hpp>
