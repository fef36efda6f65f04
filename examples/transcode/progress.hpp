// A line on standard error that shows how far long work is. Thread safety: none.
#pragma once

#include <chrono>
#include <cstdint>

class progress {
 public:
  /// `total`: bytes to do, or 0 if nobody knows.
  explicit progress(std::uint64_t total);
  /// Ends the line, if there is one.
  ~progress();
  progress(const progress&) = delete;
  progress& operator=(const progress&) = delete;

  /// Shows that so many bytes more are done: nothing in the first second, and then twice a second at most.
  void add(std::uint64_t bytes);

 private:
  std::uint64_t total_;                         // bytes; 0: unknown
  std::uint64_t done_ = 0;                      // bytes
  std::chrono::steady_clock::time_point next_;  // when to write again
  bool shown_ = false;                          // a line has been begun
};
