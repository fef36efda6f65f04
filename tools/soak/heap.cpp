// soak_heap [SECONDS]: the private arena under what programs do to a heap: several threads, many small blocks and few
// large ones, most of them short-lived, some handed to another thread, in phases of growth and decline, and moments
// without memory. The whole arena is validated every few hundred operations, and each block's bytes are its own.
#include <dlmalloc/validator.hpp>

#include "import_patch.hpp"
#include "measure.hpp"
#include "random_numbers.hpp"

#include <array>
#include <thread>

namespace {

using namespace foundation::core::mem::dlmalloc;
using test_support::random_numbers;

constexpr std::size_t thread_count = 4;
constexpr std::size_t operations_of_validation = 256;  // of one thread
constexpr std::size_t operations_of_phase = 400'000;   // likewise
constexpr std::size_t fewest_blocks = 200, most_blocks = 4000;
constexpr std::size_t largest = 1024 * 1024;  // bytes of a block
constexpr DWORD refusal_ms = 4, plenty_ms = 100;

std::atomic<std::size_t> operations, validations, refused_maps, refused_blocks, live, peak;
std::atomic<bool> refuses{false}, over{false};

/// A block, and what its bytes are made from.
struct block {
  unsigned char* bytes = nullptr;
  std::size_t size = 0;
  std::uint64_t seed = 0;

  /// Calls with the place and the due value of some of the first bytes and of the last one.
  template <class Action>
  void for_some(std::size_t count, Action action) const {
    const auto due = [this](std::size_t at) {
      return static_cast<unsigned char>((seed + at) * 0x9E3779B97F4A7C15 >> 56);
    };
    for (std::size_t at = 0; at < count; at += size < 1024 ? 5 : 251) {
      action(at, due(at));
    }
    if (count == size) {
      action(size - 1, due(size - 1));
    }
  }
  void fill() const {
    for_some(size, [this](std::size_t at, unsigned char due) { bytes[at] = due; });
  }
  void check(std::size_t count) const {
    bool same = true;
    for_some(count, [&](std::size_t at, unsigned char due) { same &= bytes[at] == due; });
    soak::expect(same, "nobody else writes into a block");
  }
};

std::size_t any_size(random_numbers& random) {
  const std::uint64_t kind = random.below(1000);
  return random.between(1, kind < 600   ? 128
                           : kind < 860 ? 1024
                           : kind < 980 ? 16 * 1024
                           : kind < 998 ? 200 * 1024
                                        : largest);
}

void count_bytes(std::size_t more, std::size_t less) {
  const std::size_t now = live += more - less;
  for (std::size_t known = peak; now > known && !peak.compare_exchange_weak(known, now);) {
  }
}

struct {
  std::mutex guard;
  std::vector<block> blocks;
} inboxes[thread_count];

class worker {
 public:
  explicit worker(std::size_t number) : number_(number), random_(number) {}

  void run() {
    for (std::size_t count = 0; !over; ++count) {
      operate(target(count));
      if (count % operations_of_validation == 0) {
        serialised(arena, [](malloc_state& m) {
          validate(m);
          return 0;
        });
        ++validations;
        operations += operations_of_validation;
        test_support::tell_progress();
      }
    }
    while (!blocks_.empty() || receive()) {
      give_back(take(blocks_.size() - 1));
    }
  }

 private:
  /// Goes up and down between the fewest and the most.
  static std::size_t target(std::size_t count) {
    const std::size_t place = count % operations_of_phase, half = operations_of_phase / 2;
    return fewest_blocks + (most_blocks - fewest_blocks) * (place < half ? place : operations_of_phase - place) / half;
  }

  void operate(std::size_t wanted) {
    const std::uint64_t choice = random_.below(100);
    if (choice < 8 && !blocks_.empty()) {
      resize(blocks_[random_.below(blocks_.size())]);
    } else if (choice < 10) {
      receive();
    } else if (blocks_.size() < wanted && (blocks_.empty() || choice < 60)) {
      allocate();
    } else if (choice < 12 && !blocks_.empty()) {
      send(take(random_.below(blocks_.size())));
    } else if (!blocks_.empty()) {
      // Most blocks live for a short time.
      const std::size_t young = std::min<std::size_t>(blocks_.size(), 40);
      give_back(take(random_.chance(75) ? blocks_.size() - 1 - random_.below(young) : random_.below(blocks_.size())));
    }
  }

  void allocate() {
    const bool cleared = random_.chance(10);
    block made{nullptr, any_size(random_), random_.bits()};
    made.bytes = static_cast<unsigned char*>(cleared ? dlcalloc(1, made.size) : dlmalloc(made.size));
    if (made.bytes == nullptr) {
      ++refused_blocks;
      return;
    }
    soak::expect(!cleared || std::all_of(made.bytes, made.bytes + made.size, [](int byte) { return byte == 0; }),
                 "a cleared block is clear");
    made.fill();
    count_bytes(made.size, 0);
    blocks_.push_back(made);
  }

  void resize(block& old) {
    const std::size_t size =
        random_.chance(50) && old.size < largest ? old.size + random_.below(old.size + 64) : any_size(random_);
    old.check(old.size);
    void* const moved = dlrealloc(old.bytes, size);
    if (moved == nullptr) {
      ++refused_blocks;
      old.check(old.size);
      return;
    }
    block now{static_cast<unsigned char*>(moved), old.size, old.seed};
    now.check(std::min(old.size, size));
    count_bytes(size, old.size);
    old = {now.bytes, size, random_.bits()};
    old.fill();
  }

  block take(std::size_t place) {
    std::swap(blocks_[place], blocks_.back());
    const block taken = blocks_.back();
    blocks_.pop_back();
    return taken;
  }

  void give_back(const block& old) {
    old.check(old.size);
    count_bytes(0, old.size);
    dlfree(old.bytes);
  }

  void send(const block& one) {
    auto& inbox = inboxes[(number_ + 1) % thread_count];
    const std::lock_guard lock(inbox.guard);
    inbox.blocks.push_back(one);
  }

  /// Whether there was something.
  bool receive() {
    auto& inbox = inboxes[number_];
    const std::lock_guard lock(inbox.guard);
    blocks_.insert(blocks_.end(), inbox.blocks.begin(), inbox.blocks.end());
    const bool any = !inbox.blocks.empty();
    inbox.blocks.clear();
    return any;
  }

  std::size_t number_;
  random_numbers random_;
  std::vector<block> blocks_;
};

void print_sample(double seconds) {
  const std::size_t now = live, footprint = dlmalloc_footprint();
  soak::print_row({soak::text(seconds, 0), soak::text(operations.load()), soak::text(validations.load()),
                   soak::text(refused_maps.load()), soak::text(refused_blocks.load()), soak::kib(now),
                   soak::kib(footprint), soak::text(static_cast<double>(footprint) / static_cast<double>(now)),
                   soak::kib(peak), soak::kib(dlmalloc_max_footprint())});
}

/// Takes the system's memory away now and then, and samples, until the time is up.
void control(double seconds) {
  constexpr int samples = 20;
  const soak::stopwatch watch;
  std::size_t footprint_of_first_half = 0;
  for (int sample = 1; sample <= samples; ++sample) {
    while (watch.seconds() < seconds * sample / samples) {
      ::Sleep(plenty_ms);
      refuses = true;
      ::Sleep(refusal_ms);
      refuses = false;
    }
    print_sample(watch.seconds());
    if (sample == samples / 2) {
      footprint_of_first_half = dlmalloc_max_footprint();
    }
  }
  soak::expect(dlmalloc_max_footprint() <= footprint_of_first_half + footprint_of_first_half / 10,
               "the second half needs no more memory than the first");
}

void soak_heap(const std::vector<std::string>& arguments) {
  const test_support::injected<decltype(&::VirtualAlloc)> map(
      nullptr, "VirtualAlloc", [](auto original, void* at, SIZE_T size, DWORD kind, DWORD protection) -> void* {
        if (refuses) {
          ++refused_maps;
          ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
          return nullptr;
        }
        return original(at, size, kind, protection);
      });
  soak::print_heads({"seconds", "operations", "validations", "refused maps", "refused blocks", "live, KiB",
                     "footprint, KiB", "footprint/live", "peak live, KiB", "peak footprint, KiB"});
  {
    std::vector<worker> workers;
    std::vector<std::jthread> threads;
    workers.reserve(thread_count);
    for (std::size_t number = 0; number != thread_count; ++number) {
      threads.emplace_back(&worker::run, &workers.emplace_back(number));
    }
    control(static_cast<double>(soak::number_or(arguments, 0, 3600)));
    over = true;
  }
  for (auto& inbox : inboxes) {  // What came when its owner had gone.
    for (const block& left : inbox.blocks) {
      left.check(left.size);
      count_bytes(0, left.size);
      dlfree(left.bytes);
    }
  }
  sys_trim(arena);
  validate(arena);
  soak::expect(live == 0 && dlmalloc_footprint() == arena.latest.size, "all memory goes back but for one segment");
  soak::expect(refused_maps != 0 && refused_blocks != 0, "memory was refused");
  soak::expect(dlmalloc_max_footprint() < peak + peak / 2 + 8 * 1024 * 1024, "the footprint is bounded");
}

}  // namespace

int main(int count, char** arguments) {
  return soak::run(count, arguments, 60, soak_heap);
}
