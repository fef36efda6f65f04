// The kit's memory resources under containers, against those of the standard library.

#include "row.hpp"

#include <kit/arena_resource.hpp>
#include <kit/pool_resource.hpp>

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <memory_resource>
#include <string>
#include <vector>

namespace {

constexpr std::size_t text_count = 10000;
constexpr int replacements = 10000;
constexpr std::uint64_t node_count = 1000;
constexpr std::uint64_t moves = 10000;
constexpr std::size_t node_size = 32;  // bytes at most

/// Many texts of 16 to 1,024 bytes live at a time, and one after the other is replaced at random.
bench::contender replace_texts(std::shared_ptr<std::pmr::memory_resource> resource) {
  const auto texts = std::make_shared<std::pmr::vector<std::pmr::string>>(text_count, resource.get());
  return {[resource, texts](bench::product& result) {
    std::uint64_t random = 20240229;
    std::uint64_t sum = 0;
    for (int i = 0; i != replacements; ++i) {
      random = random * 6364136223846793005 + 1442695040888963407;
      std::pmr::string& text = (*texts)[(random >> 40) % text_count];
      text = std::pmr::string(16 + (random >> 20) % 1009, 'x', resource.get());
      sum += text.size();
    }
    result.add_value(sum);
  }};
}

/// A queue of nodes: one goes and one comes.
bench::contender pass_nodes(std::shared_ptr<std::pmr::memory_resource> resource) {
  const auto queue = std::make_shared<std::pmr::list<std::uint64_t>>(node_count, resource.get());
  return {[resource, queue](bench::product& result) {
    std::uint64_t sum = 0;
    for (std::uint64_t i = 0; i != moves; ++i) {
      queue->pop_front();
      queue->push_back(i);
      sum += queue->back();
    }
    result.add_value(sum);
  }};
}

}  // namespace

int main(int argc, char** argv) {
  using foundation::kit::arena_resource;
  using foundation::kit::pool_resource;
  const std::shared_ptr<std::pmr::memory_resource> heap(std::pmr::new_delete_resource(), [](auto*) {});
  bench::add_row("pmr_texts_arena_vs_synchronized_pool", replace_texts(std::make_shared<arena_resource>()),
                 replace_texts(std::make_shared<std::pmr::synchronized_pool_resource>()));
  bench::add_row("pmr_texts_arena_vs_new_delete", replace_texts(std::make_shared<arena_resource>()),
                 replace_texts(heap));
  bench::add_row("pmr_list_pool_vs_unsynchronized_pool", pass_nodes(std::make_shared<pool_resource>(node_size)),
                 pass_nodes(std::make_shared<std::pmr::unsynchronized_pool_resource>()));
  bench::add_row("pmr_list_pool_vs_new_delete", pass_nodes(std::make_shared<pool_resource>(node_size)),
                 pass_nodes(heap));
  return bench::run(argc, argv);
}
