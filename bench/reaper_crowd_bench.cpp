// Ten thousand open waits that end in random order, in two rows.
//
// Against bare RegisterWaitForSingleObject. No machine runs so many children, so events stand for them, made outside
// the time. An event has no exit code: GetExitCodeProcess is stood in for, by the fault injection of the tests, on both
// sides.
//
// Against a hundred of them at a time. The system's pool does not do both equally fast (Wine's has a thread for each 63
// waits), so it is stood in for, by a table of callbacks that this program calls on its own thread. All else is as it
// is: duplicates of the handle of a child that has ended are asked for the exit code and closed.

#include "import_patch.hpp"
#include "reaping.hpp"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <numeric>
#include <optional>
#include <random>
#include <vector>

namespace {

using test_support::import_patch;

constexpr std::size_t crowd = 10000;
constexpr std::size_t handful = 100;

// Redirects an import of this program for as long as the object lives.
class stand_in {
 public:
  template <class Function>
  stand_in(const char* name, Function function)
      : patch_(nullptr, name, reinterpret_cast<import_patch::any_function>(function), original_) {}

 private:
  std::atomic<import_patch::any_function> original_{};
  import_patch patch_;
};

/// The numbers below `count` in an order that is the same in every process.
std::vector<std::size_t> shuffled(std::size_t count) {
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(20240229));
  return order;
}

// ---- a crowd against the bare call ----

BOOL WINAPI tell_seven(HANDLE, DWORD* code) {
  *code = 7;
  return TRUE;
}

// Events that stand for children: handles to wait on, which the contender takes over, and handles to set them by.
struct children {
  children() {
    for (std::size_t i = 0; i != crowd; ++i) {
      own.emplace_back(CreateEventW(nullptr, TRUE, FALSE, nullptr));
      bench::check(own.back().get() != nullptr, "CreateEventW");
      waited_on.push_back(bench::duplicate(own.back().get()));
    }
  }
  void end() const {
    static const std::vector<std::size_t> order = shuffled(crowd);
    for (const std::size_t next : order) {
      SetEvent(own[next].get());
    }
  }

  std::vector<bench::unique_handle> own;
  std::vector<HANDLE> waited_on;
  stand_in code{"GetExitCodeProcess", tell_seven};
};

// A pool without threads, in which nothing gets slower with the number of the waits. The callbacks stand in the order
// of their registration.
struct scripted_pool {
  struct wait {
    WAITORTIMERCALLBACK callback;
    void* context;
  };
  static inline std::vector<wait> open;

  static BOOL WINAPI register_wait(HANDLE* made, HANDLE, WAITORTIMERCALLBACK callback, void* context, ULONG, ULONG) {
    open.push_back({callback, context});
    *made = reinterpret_cast<HANDLE>(open.size());
    return TRUE;
  }
  static BOOL WINAPI unregister_wait(HANDLE, HANDLE) { return TRUE; }

  stand_in registration{"RegisterWaitForSingleObject", register_wait};
  stand_in end{"UnregisterWaitEx", unregister_wait};
};

// A child that has ended, with handles that the contender takes over.
struct ended_child {
  ended_child() {
    while (duplicates.size() != crowd) {
      duplicates.push_back(bench::duplicate(child().process.get()));
    }
  }
  static const bench::child& child() {
    static const bench::child ended = [] {
      bench::child started = bench::start_child(nullptr, nullptr);
      char byte[4096];
      while (bench::read_some(started.output.get(), byte, sizeof byte) != 0) {
      }
      bench::check(WaitForSingleObject(started.process.get(), INFINITE) == WAIT_OBJECT_0, "WaitForSingleObject");
      return started;
    }();
    return ended;
  }

  std::vector<HANDLE> duplicates;
  scripted_pool pool;
};

// One of them, or none, stands.
std::optional<children> events;
std::optional<ended_child> ended;

void prepare_events() {
  events.reset();
  ended.reset();
  events.emplace();
}

void expect_sevens(bench::product& result) {
  for (std::size_t i = 0; i != crowd; ++i) {
    result.add_value(std::uint32_t{7});
  }
}

void end_events() {
  events->end();
}
void reap_ours(bench::product& result) {
  bench::reap_ours(events->waited_on, end_events, result);
}
void reap_bare(bench::product& result) {
  bench::reap_bare(events->waited_on, end_events, result);
}

// ---- a crowd against handfuls ----

void prepare_ended() {
  events.reset();
  ended.reset();
  ended.emplace();
}

/// Waits as often as a crowd needs, `at_once` of them at a time.
bench::contender reap_ended(std::size_t at_once) {
  return {[at_once, order = shuffled(at_once)](bench::product& result) {
            for (std::size_t first = 0; first != crowd; first += at_once) {
              bench::statuses all = bench::wait_on(ended->duplicates.data() + first, at_once);
              for (const std::size_t next : order) {
                const auto [callback, context] = scripted_pool::open[next];
                callback(context, FALSE);
              }
              scripted_pool::open.clear();
              bench::take_codes(all, result);
            }
          },
          prepare_ended};
}

}  // namespace

int main(int argc, char** argv) {
  // Each in a process of its own: the threads that the pool has made for one would be there for the other.
  bench::add_separate_row("reap_10000_shuffled_vs_register_wait", {reap_ours, prepare_events},
                          {reap_bare, prepare_events}, {expect_sevens});
  bench::add_row("reap_10000_vs_100", reap_ended(crowd), reap_ended(handful));
  return bench::run(argc, argv);
}
