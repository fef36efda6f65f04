// A row of the sweep of faults: an operation, and what it keeps when something fails inside it.
#pragma once

#include <fl/process/context.hpp>

#include "watched_calls.hpp"

#include <string>
#include <vector>

namespace faults {

/// One run of an operation.
class trial {
 public:
  trial(test_support::watched_calls& calls, bool refuses_all) : calls_(calls), refuses_all_(refuses_all) {}

  /// Runs what faults may come into. Whether it came to its end: an exception is kept as the outcome.
  template <class Action>
  bool act(Action&& action) {
    calls_.resume();
    try {
      action();
      calls_.suspend();
      return true;
    } catch (...) {
      calls_.suspend();
      note_exception();
      return false;
    }
  }
  /// The same, after which what `look` returns is as it was before unless the action came to its end.
  template <class Look, class Action>
  bool act_or_nothing(Look look, Action&& action) {
    const auto before = look();
    const bool done = act(action);
    expect(done || look() == before, "a failure changed the object");
    return done;
  }
  /// Whether the fault goes on until the end, so that nothing can be put right.
  bool refuses_all() const { return refuses_all_; }
  /// What is to be seen, the same in each run that fails nowhere.
  void see(const std::string& seen) { seen_ += seen + ";"; }
  /// A promise that holds whatever fails.
  void expect(bool kept, std::string_view promise);

  /// "done" and what was seen, or the first exception with its type and text.
  std::string outcome() const { return failure_.empty() ? "done " + seen_ : failure_; }
  bool is_bad_alloc() const { return is_bad_alloc_; }
  const std::string& broken() const { return broken_; }

 private:
  void note_exception();

  test_support::watched_calls& calls_;
  const bool refuses_all_;
  std::string seen_, failure_, broken_;
  bool is_bad_alloc_ = false;
};

struct operation {
  const char* name;  ///< as in tools/operations.tsv, which says what of the interface it covers
  void (*run)(trial&);
  std::string allowed = {};  ///< a pattern for outcomes that the general rule does not allow (see faults.cpp)
  bool keeps_more = false;   ///< each run leaves something for good
  const char* spares = "";   ///< a function that is not refused, for the reason beside the row
};

/// With one variable, whose value does not fit into a string by itself.
foundation::core::process::context small_context();

/// Before anything is watched: answers what Wine 8 does not, the groups of processors that this process is in.
void begin_system_operations();

// Names that begin with "none: " are of operations that make no call.
std::vector<operation> value_operations();
std::vector<operation> failure_operations();
std::vector<operation> stream_operations();
std::vector<operation> process_operations();
std::vector<operation> system_operations();
std::vector<operation> companion_operations();
std::vector<operation> kit_operations();

}  // namespace faults
