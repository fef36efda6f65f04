#include "row.hpp"

#include <chrono>
#include <exception>
#include <memory>
#include <stdexcept>
#include <utility>

// What the linker puts in the place of benchmark::SleepForMilliseconds. Only the guess at the frequency calls it.
void no_sleep(int milliseconds) asm("__wrap__ZN9benchmark20SleepForMillisecondsEi");
void no_sleep(int) {}

namespace bench {
namespace {

// A contender, and another one that must produce the same.
struct row {
  contender one;
  contender other;
  std::uint64_t expected_size = 0;
  bool compared = false;
};

product once(const contender& which, product::bytes treatment) {
  if (which.prepare) {
    which.prepare();
  }
  product result(treatment);
  which.run(result);
  return result;
}

void check_same(const product& one, const product& other) {
  if (one.size() == 0) {
    throw std::runtime_error("the contenders produced nothing");
  }
  if (one.text() != other.text()) {
    throw std::runtime_error("the contenders' outputs differ (" + std::to_string(one.size()) + " and " +
                             std::to_string(other.size()) + " bytes)");
  }
}

// Runs once in a process, although the library calls a benchmark several times to find its number of iterations.
void compare(row& pair) {
  if (pair.compared) {
    return;
  }
  const product one = once(pair.one, product::bytes::kept);
  check_same(one, once(pair.other, product::bytes::kept));
  pair.expected_size = one.size();
  pair.compared = true;
}

void run_timed(benchmark::State& state, const contender& which, std::uint64_t expected_size) {
  using clock = std::chrono::steady_clock;
  for (auto _ : state) {
    if (which.prepare) {
      which.prepare();
    }
    product result(product::bytes::counted);
    const auto start = clock::now();
    which.run(result);
    const std::chrono::duration<double> elapsed = clock::now() - start;
    if (result.size() != expected_size) {
      throw std::runtime_error("a timed run produced " + std::to_string(result.size()) + " bytes instead of " +
                               std::to_string(expected_size));
    }
    state.SetIterationTime(elapsed.count());
  }
}

void measure(benchmark::State& state, row& pair, const contender& which) {
  try {
    compare(pair);
    run_timed(state, which, pair.expected_size);
  } catch (const std::exception& failure) {
    state.SkipWithError(failure.what());
  }
}

void count(benchmark::State& state, const byte_count& which, const contender& expected) {
  try {
    for (auto _ : state) {
      product result(product::bytes::kept);
      state.counters["bytes"] = static_cast<double>(which(result));
      check_same(result, once(expected, product::bytes::kept));
    }
  } catch (const std::exception& failure) {
    state.SkipWithError(failure.what());
  }
}

void add_timed(const std::string& name, const std::shared_ptr<row>& pair, contender row::* which) {
  // Real time, taken by hand: the library's own way to leave out a preparation costs a system call within the time.
  auto* const registered = benchmark::RegisterBenchmark(name.c_str(), [pair, which](benchmark::State& state) {
                             measure(state, *pair, (*pair).*which);
                           })->UseManualTime();
  if (const int runs = ((*pair).*which).runs) {
    registered->Iterations(runs);
  }
}

void add_counted(const std::string& name, byte_count which, contender expected) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    count(state, which, expected);
  })->Iterations(1);
}

}  // namespace

void add_row(const std::string& name, contender ours, contender peer) {
  const auto pair = std::make_shared<row>(row{std::move(ours), std::move(peer)});
  add_timed(name + "/ours", pair, &row::one);
  add_timed(name + "/peer", pair, &row::other);
}

void add_separate_row(const std::string& name, contender ours, contender peer, contender expected) {
  add_timed(name + "/ours", std::make_shared<row>(row{std::move(ours), expected}), &row::one);
  add_timed(name + "/peer", std::make_shared<row>(row{std::move(peer), expected}), &row::one);
}

void add_byte_row(const std::string& name, byte_count ours, byte_count peer, contender expected) {
  add_counted(name + "/ours", std::move(ours), expected);
  add_counted(name + "/peer", std::move(peer), expected);
}

int run(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace bench
