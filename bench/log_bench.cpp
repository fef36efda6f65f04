// What logging costs while it is off: 10,000 records of four parts each, and 10,000 traced scopes, against calls of an
// inlined function that does nothing with the same arguments.
//
// The peer's loop is nothing but its counter; what is left of ours beside that is the load of the logger's word, its
// test and the branch.

#include <foundation_log/logger.hpp>
#include <foundation_log/scope_trace.hpp>

#include "row.hpp"

#include <string>

namespace {

namespace severity = foundation::log::severity;

foundation::log::basic_diagnostic_logger<char> logger("bench");

constexpr int times = 10000;

// What a record is made of in the product: literals, a number and a text. The optimiser must not know these two.
std::string name = "a name that is longer than what a string holds by itself";

template <class Call>
bench::contender repeat(Call call) {
  return {[call](bench::product& result) {
    for (int i = 0; i != times; ++i) {
      int index = i;
      benchmark::DoNotOptimize(index);
      call(index);
    }
    result.add_value(times);
  }};
}

template <class... Parts>
void nothing(const Parts&...) {}

}  // namespace

int main(int argc, char** argv) {
  logger.level(0);
  bench::add_row("disabled_record_vs_empty_call",
                 repeat([](int index) { logger.log(severity::note, " index=", index, " name=", name); }),
                 repeat([](int index) { nothing(severity::note, " index=", index, " name=", name); }));
  bench::add_row("disabled_trace_vs_empty_call",
                 repeat([](int) { const foundation::log::scope_trace trace(logger, __PRETTY_FUNCTION__); }),
                 repeat([](int) { nothing(logger, __PRETTY_FUNCTION__); }));
  bench::add_row("disabled_result_vs_empty_call", repeat([](int index) {
                   foundation::log::scope_trace trace(logger, __PRETTY_FUNCTION__);
                   trace.result("index", index);
                 }),
                 repeat([](int index) { nothing(logger, __PRETTY_FUNCTION__, "index", index); }));
  return bench::run(argc, argv);
}
