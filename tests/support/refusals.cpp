#include "refusals.hpp"

#include "support.hpp"
#include "watched_calls.hpp"

#include <boost/core/demangle.hpp>
#include <boost/system/error_code.hpp>

#include <regex>
#include <typeinfo>

namespace test_support {
namespace {

std::string told(const std::exception& e) {
  static const std::regex qualified("(.*::)?(\\w+)>*"), code("(: |^)[^:]* \\[system:1816.*\\]");
  const std::string type = std::regex_replace(boost::core::demangle(typeid(e).name()), qualified, "$2");
  return type + ": " + std::regex_replace(e.what(), code, "!");
}

std::string run(watched_calls& calls, const watched_operation& operate, const planned_fault& plan = {}) {
  calls.begin(plan);
  calls.resume();
  std::string outcome;
  try {
    outcome = operate();
  } catch (const std::exception& e) {
    calls.suspend();
    outcome = told(e);
  }
  calls.suspend();
  EXPECT_EQ(calls.bad_closes(), 0) << "closes what is not open";
  return outcome;
}

// Refuses the first `count` calls of one function in turn.
std::string refuse_calls(watched_calls& calls, const seen_function& function,
                         const std::function<watched_operation()>& prepare) {
  const bool is_new = function.name == "new";
  const auto kind = is_new ? planned_fault::kind::allocation : planned_fault::kind::call;
  std::vector<std::pair<std::string, int>> outcomes;
  EXPECT_TRUE(loses_no_handle([&] {
    outcomes.clear();
    for (int nth = 1; nth <= function.calls; ++nth) {
      const std::string outcome = run(calls, prepare(), {kind, function.name, nth});
      if (outcomes.empty() || outcomes.back().first != outcome) {
        outcomes.emplace_back(outcome, 0);
      }
      ++outcomes.back().second;
    }
  })) << function.name;
  std::string all;
  for (const auto& [outcome, in_a_row] : outcomes) {
    const bool counted = in_a_row != 1 && !is_new;
    all += (all.empty() ? "" : " | ") + (counted ? std::to_string(in_a_row) + " x " : "") + outcome;
  }
  return all;
}

}  // namespace

refusal_outcomes refuse_each_call(const std::function<watched_operation()>& prepare, const char* module) {
  watched_calls calls;
  calls.add_system_calls(module);
  calls.add_operator_new(module);
  run(calls, prepare());  // Something may be made once, at first.
  const std::string normal = run(calls, prepare());
  refusal_outcomes outcomes;
  for (const seen_function& function : calls.functions()) {
    const std::string outcome = refuse_calls(calls, function, prepare);
    if (outcome != normal && outcome != std::to_string(function.calls) + " x " + normal) {
      outcomes[function.name] = outcome;
    }
    EXPECT_EQ(run(calls, prepare()), normal) << "after refusals of " << function.name;
  }
  return outcomes;
}

}  // namespace test_support
