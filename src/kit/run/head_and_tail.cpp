#include "run/head_and_tail.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace foundation::kit::detail {

head_and_tail::head_and_tail(std::optional<std::size_t> limit) noexcept
    : limit_(limit.value_or(std::numeric_limits<std::size_t>::max())), head_(limit_ - limit_ / 2) {}

void head_and_tail::append(std::string_view piece) {
  const std::size_t taken = fill(piece);
  total_ += piece.size();
  go_round(piece.substr(taken));
}

std::size_t head_and_tail::fill(std::string_view piece) {
  const std::size_t taken = std::min(piece.size(), limit_ - kept_.size());
  kept_.append(piece.substr(0, taken));
  return taken;
}

void head_and_tail::go_round(std::string_view piece) noexcept {
  const std::size_t ring = limit_ - head_;
  if (piece.empty() || ring == 0) {
    return;
  }
  // Of what goes round more than once, only the last round is seen.
  if (piece.size() > ring) {
    next_ = (next_ + (piece.size() - ring)) % ring;
    piece.remove_prefix(piece.size() - ring);
  }
  const std::size_t before_the_end = std::min(piece.size(), ring - next_);
  char* const start = kept_.data() + head_;
  std::memcpy(start + next_, piece.data(), before_the_end);
  std::memcpy(start, piece.data() + before_the_end, piece.size() - before_the_end);
  next_ = (next_ + piece.size()) % ring;
}

run_output head_and_tail::take() && {
  run_output result;
  result.dropped = total_ - kept_.size();
  if (result.dropped != 0) {
    result.gap = head_;
    const auto ring = kept_.begin() + static_cast<std::ptrdiff_t>(head_);
    std::rotate(ring, ring + static_cast<std::ptrdiff_t>(next_), kept_.end());
  }
  result.bytes = std::move(kept_);
  return result;
}

}  // namespace foundation::kit::detail
