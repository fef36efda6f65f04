// The aligned heap of the process: which of its variants it is (run_time_heap.hpp, arena_heap.hpp), and that there is
// one at most. Implements fl/mem/aligned_heap.hpp and mem/aligned_heap_create.hpp.
//
// Thread safety: the manager makes the heap, on one thread.

#include <fl/mem/aligned_heap.hpp>

#include "diag/assertion.hpp"
#include "mem/aligned_heap_create.hpp"
#include "mem/arena_heap.hpp"
#include "mem/assertion_paths.hpp"
#include "mem/block_header.hpp"
#include "mem/run_time_heap.hpp"

#include <boost/lexical_cast.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include <bit>
#include <cstdlib>
#include <cstring>

namespace foundation::core::mem {

aligned_heap* aligned_heap::instance = nullptr;

aligned_heap::aligned_heap() {
  diag::assert_that(!instance, "!instance", detail::heap_path);
  instance = this;
}

aligned_heap::~aligned_heap() {
  diag::assert_that(instance, "instance", detail::heap_path);
  instance = nullptr;
}

namespace {

constexpr std::size_t largest_alignment = 32768;

bool is_legal_alignment(std::size_t alignment) {
  return std::has_single_bit(alignment) && alignment >= detail::native_alignment && alignment <= largest_alignment;
}

/// `text` is a number with an optional sign, where "-" negates it in the unsigned type.
std::size_t parse_alignment(const char* text) {
  const auto alignment = boost::lexical_cast<std::size_t>(text);
  return is_legal_alignment(alignment) ? alignment : detail::default_alignment;
}

}  // namespace

boost::shared_ptr<void> detail::aligned_heap_create(bool debug) {
  const char* const text = std::getenv("QX_ALIGNED_HEAP_ALIGNMENT");
  const bool use_arena = text != nullptr && std::strcmp(text, "dlmalloc") == 0;
  const std::size_t alignment = text == nullptr || use_arena ? default_alignment : parse_alignment(text);
  diag::assert_that(is_legal_alignment(alignment), "is_legal_alignment(alignment)", heap_path);
  if (debug) {
    return boost::make_shared<debug_ops>(alignment);
  }
  if (use_arena) {
    return boost::make_shared<dlmalloc_ops>();
  }
  if (alignment <= native_alignment) {
    return boost::make_shared<os_ops>(alignment);
  }
  return boost::make_shared<aligned_ops>(alignment);
}

}  // namespace foundation::core::mem
