// Managed pools: a chunk and back, against Boost.Pool's own pools, and the release of many chunks that came back in no
// order, against sorting as many pointers.

#include <fl/mem/managed_pool.hpp>

#include "row.hpp"

#include <boost/pool/pool.hpp>
#include <boost/pool/singleton_pool.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace {

using foundation::core::mem::managed_pool;

constexpr std::size_t chunk_size = 64;  // bytes
constexpr std::size_t chunks_to_release = 1000000;
constexpr int runs_of_release = 10;

// The least that can stand behind the interface.
class bare_pool : public managed_pool {
 public:
  void* allocate() override { return pool_.malloc(); }
  void deallocate(void* chunk) override { pool_.free(chunk); }
  bool release_free_memory() override { return false; }

 private:
  boost::pool<boost::default_user_allocator_new_delete> pool_{chunk_size};
};

// Boost's pool for all threads: no object, but a lock that is taken for each chunk.
struct of_this_program;
using singleton = boost::singleton_pool<of_this_program, chunk_size>;

struct singleton_access {
  static void* allocate() { return singleton::malloc(); }
  static void deallocate(void* chunk) { singleton::free(chunk); }
};

template <class Pool>
void take_and_give_back(Pool& pool, bench::product& result) {
  std::uint64_t sum = 0;
  for (std::uint64_t value = 0; value != 10000; ++value) {
    void* const chunk = pool.allocate();
    std::memcpy(chunk, &value, sizeof value);
    benchmark::ClobberMemory();
    std::uint64_t found = 0;
    std::memcpy(&found, chunk, sizeof found);
    sum += found;
    pool.deallocate(chunk);
  }
  result.add_value(sum);
}

bench::contender pairs(std::shared_ptr<managed_pool> pool) {
  return {[=](bench::product& result) { take_and_give_back(*pool, result); }};
}

bench::contender singleton_pairs() {
  return {[](bench::product& result) {
    singleton_access pool;
    take_and_give_back(pool, result);
  }};
}

std::shared_ptr<managed_pool> make_pool() {
  return foundation::core::mem::create_managed_pool(chunk_size, 1);
}

std::vector<std::uint32_t> make_order() {
  std::vector<std::uint32_t> order(chunks_to_release);
  for (std::uint32_t i = 0; i != chunks_to_release; ++i) {
    order[i] = i;
  }
  std::shuffle(order.begin(), order.end(), std::mt19937(20240229));
  return order;
}

// Pointers to chunks of a pool in the order in which they are to come back.
std::vector<void*> chunks_in_order(managed_pool& pool) {
  static const std::vector<std::uint32_t> order = make_order();
  std::vector<void*> chunks(order.size());
  for (void*& chunk : chunks) {
    chunk = pool.allocate();
  }
  std::vector<void*> shuffled(order.size());
  std::transform(order.begin(), order.end(), shuffled.begin(), [&](std::uint32_t which) { return chunks[which]; });
  return shuffled;
}

// A run that has done its work produces "true".
bench::contender release() {
  const auto pool = make_pool();
  const auto give_all_back = [pool] {
    for (void* const chunk : chunks_in_order(*pool)) {
      pool->deallocate(chunk);
    }
  };
  return {[pool](bench::product& result) { result.add_value(pool->release_free_memory()); }, give_all_back,
          runs_of_release};
}

bench::contender sort_pointers() {
  const auto pointers = std::make_shared<std::vector<void*>>();
  const auto fill = [pointers] {
    *pointers = chunks_in_order(*make_pool());
    if (pointers->front() < pointers->back()) {
      std::swap(pointers->front(), pointers->back());
    }
  };
  const auto sort = [pointers](bench::product& result) {
    std::sort(pointers->begin(), pointers->end());
    result.add_value(pointers->front() < pointers->back());
  };
  return {sort, fill, runs_of_release};
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("pool_pair_64_vs_boost_pool", pairs(make_pool()), pairs(std::make_shared<bare_pool>()));
  bench::add_row("pool_pair_64_vs_singleton_pool", pairs(make_pool()), singleton_pairs());
  bench::add_row("pool_release_1000000_vs_sort", release(), sort_pointers());
  return bench::run(argc, argv);
}
