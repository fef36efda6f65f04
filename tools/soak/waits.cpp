// soak_waits [COUNT]: background waits that are registered, answered and given up by several threads at once, of
// reapers that are destroyed and of the library's own, which `set_implementation_qos` replaces. Events stand for the
// children: they end before, while or after they are waited for.
//
// Wine 8 begins a callback now and then after UnregisterWaitEx has waited for all of them, which a loop of the bare
// calls shows as well (2 of 119,348). A reaper of this program may be gone by then: such a run ends with an "Invalid
// argument" of its mutex in handleProcessExit, seen once in some 170 runs of 10,000 waits, and is to be repeated.
#include <fl/process/testing.hpp>

#include "children.hpp"
#include "measure.hpp"
#include "process/child/process_reaper_instance.hpp"
#include "random_numbers.hpp"

#include <thread>

namespace {

namespace process = foundation::core::process;
using foundation::core::sysdep::windows::exit_status_promise;
using foundation::core::sysdep::windows::process_reaper;
using foundation::core::sysdep::windows::process_reaper_instance;
using test_support::random_numbers;

constexpr std::size_t waits_of_round = 50;
constexpr std::size_t registering_threads = 3;
constexpr DWORD code = 7;

enum class end { before, meanwhile, at_the_last_cancellation, afterwards };

struct wait {
  HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  end when{};
  boost::shared_future<process::exit_status_variant> status;
  boost::future<void> continued;
  std::atomic<unsigned> kept{0};
};

struct totals {
  std::size_t waits = 0, answered = 0, given_up = 0, cancellations = 0;
};

/// Some waits of one reaper, which has been cancelled at the end.
class round {
 public:
  explicit round(random_numbers& random) : waits_(waits_of_round) {
    for (wait& each : waits_) {
      each.when = static_cast<end>(random.below(4));
    }
    if (random.chance(50)) {
      own_.emplace();
    }
    for (std::uint64_t more = random.below(4); more != 0; --more) {
      moments_.push_back(random.below(waits_of_round));
    }
    std::ranges::sort(moments_);
  }

  void run(totals& sums) {
    {
      std::vector<std::jthread> threads;
      for (std::size_t first = 0; first != registering_threads; ++first) {
        threads.emplace_back([=, this] { register_each(first); });
      }
      threads.emplace_back([this] { set_events(end::meanwhile); });
      threads.emplace_back([this] { cancel_at_moments(); });
    }
    cancel_for_good();
    set_events(end::afterwards);
    check(sums);
    sums.waits += waits_.size();
    sums.cancellations += moments_.size() + 1;
  }

 private:
  void register_each(std::size_t first) {
    for (std::size_t place = first; place < waits_.size(); place += registering_threads) {
      wait& own = waits_[place];
      if (own.when == end::before) {
        ::SetEvent(own.event);
      }
      exit_status_promise promise;
      own.status = promise.get_future().share();
      own.continued = own.status.then(boost::launch::sync, [this, &own](auto) {
        ++own.kept;
        soak::expect(!cancelled_, "no callback comes after the cancellation has returned");
      });
      HANDLE duplicate = nullptr;
      ::DuplicateHandle(::GetCurrentProcess(), own.event, ::GetCurrentProcess(), &duplicate, 0, FALSE,
                        DUPLICATE_SAME_ACCESS);
      if (own_) {
        own_->async_wait_on(duplicate, std::move(promise));
      } else {
        process_reaper_instance()->async_wait_on(duplicate, std::move(promise));
      }
      ++registered_;
    }
  }

  void set_events(end when) {
    for (std::size_t place = 0; place != waits_.size(); ++place) {
      while (when == end::meanwhile && registered_ + 4 < place) {
        std::this_thread::yield();
      }
      if (waits_[place].when == when) {
        ::SetEvent(waits_[place].event);
      }
    }
  }

  void cancel_at_moments() {
    for (const std::size_t moment : moments_) {
      while (registered_ < moment) {
        std::this_thread::yield();
      }
      if (own_) {
        own_->give_up_waits();
      } else {
        replace();
      }
    }
  }

  void cancel_for_good() {
    const std::jthread ending([this] { set_events(end::at_the_last_cancellation); });
    if (own_) {
      own_.reset();
    } else {
      replace();
    }
    cancelled_ = true;
  }

  static void replace() {
    static std::atomic<std::uint32_t> next{0};
    process::testing::set_implementation_qos(process::implementation_qos{++next});
    process::testing::get_implementation_qos();
  }

  void check(totals& sums) {
    for (wait& each : waits_) {
      soak::expect(each.status.is_ready() && each.kept == 1, "each promise is kept once when the wait is cancelled");
      if (!each.status.is_ready()) {
        continue;
      }
      try {
        soak::expect(each.status.get() == process::exit_status_variant(process::exited{code, code}),
                     "the status is right");
        soak::expect(each.when != end::afterwards, "only a child that has ended has a status");
        ++sums.answered;
      } catch (const boost::broken_promise&) {
        ++sums.given_up;
      }
      ::CloseHandle(each.event);
    }
  }

  std::vector<wait> waits_;
  std::optional<process_reaper> own_;  ///< without: that of the library
  std::vector<std::size_t> moments_;   ///< numbers of registrations, at which all are cancelled
  std::atomic<std::size_t> registered_{0};
  std::atomic<bool> cancelled_{false};
};

void soak_waits(const std::vector<std::string>& arguments) {
  const std::size_t rounds = soak::number_or(arguments, 0, 10'000) / waits_of_round;
  const test_support::injected<BOOL(WINAPI*)(HANDLE, DWORD*)> read_code(nullptr, "GetExitCodeProcess",
                                                                        [](auto, HANDLE, DWORD* to) {
                                                                          *to = code;
                                                                          return TRUE;
                                                                        });
  const soak::stopwatch watch;
  totals sums;
  soak::holdings warm{};
  soak::print_heads(soak::with_holdings({"waits", "seconds", "answered", "given up", "cancellations"}));
  for (std::size_t number = 1; number <= rounds; ++number) {
    random_numbers random(number);
    round(random).run(sums);
    test_support::tell_progress();
    if (number % std::max<std::size_t>(rounds / 10, 1) == 0) {
      const soak::holdings now = soak::measure();
      warm = warm.handles == 0 ? now : warm;
      soak::print_row(
          soak::with_holdings({soak::text(sums.waits), soak::text(watch.seconds(), 0), soak::text(sums.answered),
                               soak::text(sums.given_up), soak::text(sums.cancellations)},
                              now));
    }
  }
  soak::expect_flat(warm, soak::measure());
}

}  // namespace

int main(int count, char** arguments) {
  return soak::run(count, arguments, 60, soak_waits);
}
