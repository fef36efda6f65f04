// soak_shared [SECONDS]: 16 threads share a few children at a time, of which they poll, await, kill, move, detach and
// release any at any moment. Every reader of a child's status must get the same one.
#include <fl/process/testing.hpp>

#include "children.hpp"
#include "measure.hpp"
#include "random_numbers.hpp"

#include <array>
#include <shared_mutex>
#include <thread>

namespace {

namespace process = foundation::core::process;
using test_support::random_numbers;

constexpr unsigned thread_count = 16;
constexpr unsigned threads_that_wait = 12;  // The others end what these wait for.
constexpr unsigned child_count = 6;         // at a time
constexpr unsigned segments = 10;

/// What was done, over all threads.
enum deed { started, polled, awaited, by_future, killed, moved, detached, released, status_seen, deed_count };
std::array<std::atomic<std::size_t>, deed_count> done;

/// Many who use a thing, or one who has it to itself, which nobody waits for. (That of the run-time, std::shared_mutex,
/// lets in both where several threads are the first to use it, and leaves two handles behind.)
class guest_book {
 public:
  void lock_shared() {
    for (int guests = guests_;;) {
      if (guests < 0) {
        std::this_thread::yield();
        guests = guests_;
      } else if (guests_.compare_exchange_weak(guests, guests + 1)) {
        return;
      }
    }
  }
  void unlock_shared() { --guests_; }
  bool try_lock() {
    int none = 0;
    return guests_.compare_exchange_strong(none, -1);
  }
  void unlock() { guests_ = 0; }

 private:
  std::atomic<int> guests_{0};  ///< -1: somebody has it to himself
};

/// A child and what is known of it. Only moves need it to themselves.
class shared_child {
 public:
  explicit shared_child(random_numbers& random)
      : own_code_(random.chance(30) ? static_cast<std::uint32_t>(random.between(2, 200)) : 0),
        child_(own_code_ == 0 ? end_.waiting() : children::command("exit", {std::to_string(own_code_)})) {
    ++done[started];
  }

  /// One operation, at random. Only `may_wait` waits for the child.
  void operate(random_numbers& random, bool may_wait) {
    try {
      const std::shared_lock lock(moves_);
      operate_on_running(random, may_wait);
    } catch (const process::process_kill_error&) {
      const std::shared_lock lock(moves_);
      soak::expect(given_up_ || child_.exited(), "only what has ended cannot be killed");
    } catch (const std::logic_error& refusal) {
      const std::string reason = refusal.what();
      const bool gone = reason == "process has been detached" && given_up_;
      soak::expect(gone || reason == "cannot release a process with an active future", reason);
    }
    if (random.chance(5)) {
      move_away_and_back();
    }
  }

  /// Whether it is of little use to go on with it.
  bool is_over() const { return over_; }
  /// Nobody may find it any more, and some may wait for it.
  void end() { end_.set(); }

 private:
  void operate_on_running(random_numbers& random, bool may_wait) {
    const std::uint64_t choice = random.below(1000);
    if (choice < 5) {
      kill_called_ = true;
      child_.kill();
      ++done[killed];
    } else if (choice < 10) {
      end_.set();
    } else if (choice < 13) {
      given_up_ = true;
      child_.detach();
      over_ = true;
      ++done[detached];
    } else if (choice < 16) {
      release();
    } else if (choice < 100 && may_wait) {
      see(child_.exit_status());
      ++done[awaited];
    } else if (choice < 200) {
      look_at_future(random, may_wait);
    } else if (choice < 250) {
      soak::expect(child_.id() != 0, "a child has an id");
      child_.working_set_size();
    } else {
      ++done[polled];
      over_ = child_.exited() || over_;
    }
  }

  void release() {
    given_up_ = true;
    void* const handle = child_.release();
    over_ = true;
    ++done[released];
    end_.set();
    DWORD code = STILL_ACTIVE;
    ::WaitForSingleObject(handle, INFINITE);
    ::GetExitCodeProcess(handle, &code);
    ::CloseHandle(handle);
    see(code);
  }

  void look_at_future(random_numbers& random, bool may_wait) {
    const auto status = child_.exit_status_async();
    ++done[by_future];
    if (may_wait || status.is_ready()) {
      see(std::get<process::exited>(status.get()).exit_code);
    } else if (random.chance(10)) {
      end_.set();
    }
  }

  void move_away_and_back() {
    const std::unique_lock lock(moves_, std::try_to_lock);  // Those who wait would not end it.
    if (lock) {
      process::process elsewhere(std::move(child_));
      child_ = std::move(elsewhere);
      ++done[moved];
    }
  }

  void see(std::uint32_t code) {
    std::int64_t nothing = -1;
    const bool agrees = code_seen_.compare_exchange_strong(nothing, code) || nothing == code;
    soak::expect(agrees, "every reader sees the same status");
    soak::expect(code == own_code_ || (code == 1 && kill_called_), "the status is the child's own, or of a kill");
    over_ = true;
    ++done[status_seen];
  }

  children::common_event end_;
  std::uint32_t own_code_;  ///< 0 for a child that waits for its end
  process::process child_;
  guest_book moves_;
  std::atomic<bool> kill_called_{false}, given_up_{false}, over_{false};
  std::atomic<std::int64_t> code_seen_{-1};
};

/// The children that all threads reach. One that is over is replaced after a while.
class common_children {
 public:
  common_children() {
    random_numbers random(0);
    for (auto& child : children_) {
      child = std::make_shared<shared_child>(random);
    }
  }

  void operate(random_numbers& random, bool may_wait) {
    const std::size_t place = random.below(child_count);
    std::unique_lock lock(mutex_);
    const auto child = children_[place];
    lock.unlock();
    child->operate(random, may_wait);
    if (child->is_over() && random.chance(5)) {
      auto next = std::make_shared<shared_child>(random);
      lock.lock();
      children_[place].swap(next);
      lock.unlock();
      next->end();
    }
  }

 private:
  std::mutex mutex_;
  std::array<std::shared_ptr<shared_child>, child_count> children_;
};

void run_segment(unsigned segment, double seconds) {
  common_children all;
  std::atomic<unsigned> waiting{threads_that_wait};
  const soak::stopwatch watch;
  const auto work = [&](unsigned own) {
    const bool may_wait = own < threads_that_wait;
    random_numbers random(segment * thread_count + own);
    while (may_wait ? watch.seconds() < seconds : waiting != 0) {
      try {
        all.operate(random, may_wait);
      } catch (const std::exception& failure) {
        soak::expect(false, std::string("an operation threw: ") + failure.what());
      }
      if (may_wait) {
        test_support::tell_progress();
      }
      if (random.chance(20)) {
        ::Sleep(1);
      }
    }
    waiting -= may_wait ? 1 : 0;
  };
  std::vector<std::jthread> threads;
  for (unsigned own = 0; own != thread_count; ++own) {
    threads.emplace_back(work, own);
  }
}

void soak_shared(const std::vector<std::string>& arguments) {
  const double seconds = static_cast<double>(soak::number_or(arguments, 0, 600));
  const soak::stopwatch watch;
  soak::holdings warm{};
  soak::print_heads(soak::with_holdings(
      {"seconds", "children", "polls", "waits", "futures", "kills", "moves", "detached", "released", "statuses seen"}));
  for (unsigned segment = 1; segment <= segments; ++segment) {
    run_segment(segment, seconds / segments);
    process::testing::join_all_async_procs();
    const soak::holdings now = soak::measure();
    warm = segment == 1 ? now : warm;
    std::vector<std::string> cells = {soak::text(watch.seconds(), 0)};
    for (const std::atomic<std::size_t>& count : done) {
      cells.push_back(soak::text(count.load()));
    }
    soak::print_row(soak::with_holdings(std::move(cells), now));
  }
  soak::expect_flat(warm, soak::measure());
}

}  // namespace

int main(int count, char** arguments) {
  return soak::run(count, arguments, 60, soak_shared);
}
