#include "row.hpp"

#include <chrono>
#include <exception>
#include <memory>
#include <stdexcept>
#include <utility>

namespace bench {
namespace {

struct row {
  contender ours;
  contender peer;
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

// Runs once in a process, although the library calls a benchmark several times to find its number of iterations.
void compare(row& pair) {
  if (pair.compared) {
    return;
  }
  const product ours = once(pair.ours, product::bytes::kept);
  const product peer = once(pair.peer, product::bytes::kept);
  if (ours.size() == 0) {
    throw std::runtime_error("the contenders produced nothing");
  }
  if (ours.text() != peer.text()) {
    throw std::runtime_error("the contenders' outputs differ (" + std::to_string(ours.size()) + " and " +
                             std::to_string(peer.size()) + " bytes)");
  }
  pair.expected_size = ours.size();
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

}  // namespace

void add_row(const std::string& name, contender ours, contender peer) {
  const auto pair = std::make_shared<row>(row{std::move(ours), std::move(peer)});
  // Real time, taken by hand: the library's own way to leave out a preparation costs a system call within the time.
  benchmark::RegisterBenchmark((name + "/ours").c_str(), [pair](benchmark::State& state) {
    measure(state, *pair, pair->ours);
  })->UseManualTime();
  benchmark::RegisterBenchmark((name + "/peer").c_str(), [pair](benchmark::State& state) {
    measure(state, *pair, pair->peer);
  })->UseManualTime();
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
