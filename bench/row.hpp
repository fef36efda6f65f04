// The frame of every benchmark: a row compares two contenders, ours and a peer, that do the same work.
//
// Before a contender is timed, both run once and what they produced is compared byte by byte; while it is timed, the
// size of each run's product is compared. A difference or an exception is an error of the benchmark, so that a failed
// run cannot look fast. Not for several threads: a contender that needs them starts and joins its own.
//
// Contenders that would disturb each other, by living in one heap for instance, have a separate row: then a process
// runs only one of them, and what it produced is compared with what the row expects.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace bench {

/// What one run of a contender produced. Timed runs only count its bytes; a run that is compared keeps them.
class product {
 public:
  enum class bytes { counted, kept };

  explicit product(bytes treatment) : treatment_(treatment) {}

  /// Adds bytes in the order in which they were produced; how they are cut into pieces does not matter.
  void add(std::string_view piece) {
    // The optimiser must assume that somebody looks at the bytes.
    benchmark::DoNotOptimize(piece.data());
    benchmark::ClobberMemory();
    size_ += piece.size();
    if (treatment_ == bytes::kept) {
      text_.append(piece);
    }
  }

  /// Adds a line, given without its end: where lines end does matter.
  void add_line(std::string_view line) {
    add(line);
    add("\n");
  }

  /// Adds the bytes of a plain value.
  template <class Value>
  void add_value(const Value& value) {
    add({reinterpret_cast<const char*>(&value), sizeof value});
  }

  /// Bytes added.
  std::uint64_t size() const { return size_; }
  /// The bytes added; empty unless they are kept.
  const std::string& text() const { return text_; }

 private:
  bytes treatment_;
  std::uint64_t size_ = 0;
  std::string text_;
};

/// One side of a row.
struct contender {
  /// The work that is timed.
  std::function<void(product&)> run;
  /// What must stand before each run and is not timed; may be empty. A row has it on both sides or on neither.
  std::function<void()> prepare = {};
  /// How often a process runs it, where preparing takes far longer than the work; 0 for as often as the time allows.
  int runs = 0;
};

/// Registers NAME/ours and NAME/peer.
void add_row(const std::string& name, contender ours, contender peer);

/// The same for contenders that never run in one process, if each benchmark is given a process of its own, as
/// tools/bench does. `expected` produces what both must produce, and uses nothing of either.
void add_separate_row(const std::string& name, contender ours, contender peer, contender expected);

/// What a row counts instead of time: runs once in a process and returns a number of bytes.
using byte_count = std::function<std::uint64_t(product&)>;

/// A separate row whose figure is bytes. Its unit in goals.tsv says so.
void add_byte_row(const std::string& name, byte_count ours, byte_count peer, contender expected);

/// Runs what the arguments ask for; returns the exit code of the program.
int run(int argc, char** argv);

}  // namespace bench
